#include <report/tables.h>

#include <algorithm>

#include <common/hex.h>
#include <history/findings/findings.h>
#include <history/words.h>
#include <report/drawing/html.h>
#include <report/drawing/table.h>

namespace biz::report {

namespace {

using history::Device;
using history::History;
using history::Refusal;
using history::WaitAdvice;

constexpr int mostRows = 300;
constexpr int mostRefusals = 100;
constexpr int mostRuns = 50;

QString number(quint64 count)
{
    return count == 0 ? QStringLiteral("–") : history::countText(count);
}

QString millisecondsOr(double ms)
{
    return ms < 0.0 ? QStringLiteral("–") : history::durationText(ms);
}

QString hexByte(char byte)
{
    return tools::hexText(QByteArray(1, byte));
}

/** The head, with the bytes marked that the broken clause is about. */
QString markedHead(const Refusal &refusal)
{
    QStringList bytes;
    for (int i = 0; i < refusal.head.size(); ++i) {
        const QString byte = hexByte(refusal.head.at(i));
        bytes << (refusal.brokenHeadBytes.contains(i) ? QStringLiteral("<mark>%1</mark>").arg(byte) : byte);
    }
    return QStringLiteral("<code>%1</code>").arg(bytes.join(QLatin1Char(' ')));
}

QString payloadText(const Refusal &refusal)
{
    constexpr int shownBytes = 8;
    const QString size = history::countText(static_cast<quint64>(refusal.data.size()), "byte", "bytes");
    const QString first = tools::hexText(refusal.data.left(shownBytes)) +
                          (refusal.data.size() > shownBytes ? QStringLiteral(" …") : QString());
    return QStringLiteral("%1%2").arg(refusal.brokenPayload ? QStringLiteral("<mark>%1</mark>").arg(size) : size,
                                      refusal.data.isEmpty() ? QString()
                                                             : QStringLiteral("<br><code>%1</code>").arg(first));
}

/** "2026-11-22". */
QString dayText(double ms)
{
    constexpr int size = 10;
    return history::momentText(ms).left(size);
}

/** The head of the page tells the day of a log that has only one. */
QString whenText(const Refusal &refusal, bool isOneDay)
{
    const auto text = [isOneDay](double ms) {
        return isOneDay ? history::clockText(ms) : dayText(ms) + QLatin1Char(' ') + history::clockText(ms);
    };
    const QString first = text(refusal.firstMs);
    const QString last = text(refusal.lastMs);
    return first == last ? first : QStringLiteral("%1 to %2").arg(first, last);
}

QString verdictText(const WaitAdvice &advice)
{
    switch (advice.verdict) {
    case WaitAdvice::Verdict::Enough:
        return QStringLiteral("✔ enough");
    case WaitAdvice::Verdict::Tight:
        return QStringLiteral("▲ tight: %1 ms would leave room").arg(advice.advisedMs);
    case WaitAdvice::Verdict::TooShort:
        return QStringLiteral("✖ too short: set it to <b>%1 ms</b>").arg(advice.advisedMs);
    }
    Q_UNREACHABLE();
}

void addDevice(Table &table, const Device &device)
{
    const history::Tally tally = history::tallyOf(device);
    std::vector<double> responses;
    for (const history::Command &command : device.commands) {
        if (command.isAnswered()) {
            responses.push_back(command.responseMs());
        }
    }
    std::sort(responses.begin(), responses.end());
    const double median = responses.empty() ? -1.0 : responses[responses.size() / 2];
    const double longest = responses.empty() ? -1.0 : responses.back();
    table.addRow({escaped(device.title), number(tally.commands), number(tally.answered), number(tally.resent),
                  number(tally.givenUp), number(tally.unreachable), number(tally.others + tally.notEnded),
                  number(device.refusedReplies), number(tally.late), number(tally.duplicate), millisecondsOr(median),
                  millisecondsOr(longest)});
}

} // namespace

QString refusalTable(const History &history)
{
    Table table({QStringLiteral("Command"), QStringLiteral("#Replies"), QStringLiteral("First reply: head"),
                 QStringLiteral("Payload"), QStringLiteral("What is wrong, and the whole rule"),
                 QStringLiteral("When")});
    const bool isOneDay = dayText(history.fromMs) == dayText(history.toMs);
    for (const Device &device : history.devices) {
        std::vector<const Refusal *> refusals;
        for (const Refusal &refusal : device.refusals) {
            refusals.push_back(&refusal);
        }
        std::stable_sort(refusals.begin(), refusals.end(),
                         [](const Refusal *a, const Refusal *b) { return a->count > b->count; });
        for (const Refusal *refusal : refusals) {
            QString command = wrapped("b", escaped(refusal->codes));
            if (history.devices.size() > 1) {
                command += QStringLiteral("<br>") + escaped(device.title);
            }
            table.addRow({command, number(refusal->count), markedHead(*refusal), payloadText(*refusal),
                          QStringLiteral("<b>%1</b><br>%2").arg(escaped(refusal->broken), escaped(refusal->rule)),
                          escaped(whenText(*refusal, isOneDay))});
        }
    }
    return table.markup(mostRefusals, QStringLiteral("refused kinds of replies"));
}

QString waitTable(const History &history)
{
    Table table({QStringLiteral("Device"), QStringLiteral("#Wait"), QStringLiteral("#Time that it leaves"),
                 QStringLiteral("#Replies"), QStringLiteral("#Median"), QStringLiteral("#99 of 100 within"),
                 QStringLiteral("#Longest"), QStringLiteral("Advice")});
    for (const Device &device : history.devices) {
        for (const WaitAdvice &advice : history::waitAdviceOf(device)) {
            table.addRow({escaped(device.title), QStringLiteral("%1 ms").arg(advice.waitMs),
                          history::durationText(advice.usableMs), number(advice.replies),
                          history::durationText(advice.medianMs), history::durationText(advice.p99Ms),
                          history::durationText(advice.longestMs), verdictText(advice)});
        }
    }
    return table.markup(mostRows, QStringLiteral("waits"));
}

QString deviceTable(const History &history)
{
    Table table({QStringLiteral("Device"), QStringLiteral("#Commands"), QStringLiteral("#Answered"),
                 QStringLiteral("#Sent again"), QStringLiteral("#Given up"), QStringLiteral("#Link down"),
                 QStringLiteral("#Ended by host, or open"), QStringLiteral("#Refused replies"), QStringLiteral("#Late"),
                 QStringLiteral("#Came twice"), QStringLiteral("#Median"), QStringLiteral("#Longest")});
    for (const Device &device : history.devices) {
        addDevice(table, device);
    }
    return table.markup(mostRows, QStringLiteral("devices"));
}

QString runTable(const History &history)
{
    Table table({QStringLiteral("Began"), QStringLiteral("#Took"), QStringLiteral("Channel"), QStringLiteral("Link"),
                 QStringLiteral("Model"), QStringLiteral("End"), QStringLiteral("Versions"), QStringLiteral("File")});
    for (const history::Run &run : history.runs) {
        const QString channel = run.isOfDevice
                                    ? (run.isPipelined ? QStringLiteral("device, pipelined") : QStringLiteral("device"))
                                    : QStringLiteral("OSD");
        const QString end = !run.problem.isEmpty()
                                ? QStringLiteral("broken off")
                                : (run.isComplete ? QStringLiteral("complete") : QStringLiteral("not in the log"));
        QStringList versions{run.tool};
        if (!run.library.isEmpty()) {
            versions << QStringLiteral("library ") + run.library;
        }
        versions << run.environment;
        versions.removeAll(QString());
        table.addRow({escaped(history::momentText(run.fromMs)), history::durationText(run.toMs - run.fromMs), channel,
                      escaped(run.link), run.model.isEmpty() ? QStringLiteral("–") : escaped(run.model), end,
                      versions.isEmpty() ? QStringLiteral("–") : escaped(versions.join(QStringLiteral(", "))),
                      escaped(run.file)});
    }
    return table.markup(mostRuns, QStringLiteral("runs"));
}

QString sourceTable(const History &history)
{
    Table table(
        {QStringLiteral("File"), QStringLiteral("Kind"), QStringLiteral("#Lines"), QStringLiteral("Not understood")});
    for (const history::Source &source : history.sources) {
        const QString bad = source.notUnderstood == 0
                                ? QStringLiteral("–")
                                : QStringLiteral("%1, the first is line %2")
                                      .arg(history::countText(source.notUnderstood, "line", "lines"),
                                           QString::number(source.firstNotUnderstood));
        table.addRow({escaped(source.name), source.kind, number(source.lines), bad});
    }
    return table.markup(mostRows, QStringLiteral("files"));
}

} // namespace biz::report
