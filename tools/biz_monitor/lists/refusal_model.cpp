#include <biz_monitor/lists/refusal_model.h>

#include <algorithm>

#include <common/hex.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

constexpr int shownPayload = 32;

QString marked(const QString &text, const QString &colour)
{
    return QStringLiteral("<b style=\"background-color:%1\">[%2]</b>").arg(colour, text);
}

QString headMarkup(const history::Refusal &refusal, const QString &colour)
{
    QStringList bytes;
    for (int i = 0; i < refusal.head.size(); ++i) {
        const QString byte = tools::hexText(refusal.head.mid(i, 1));
        bytes << (refusal.brokenHeadBytes.contains(i) ? marked(byte, colour) : byte);
    }
    return bytes.join(QLatin1Char(' '));
}

QString payloadMarkup(const history::Refusal &refusal, const QString &colour)
{
    const QString size = history::countText(static_cast<quint64>(refusal.data.size()), "byte", "bytes");
    const QString bytes = tools::hexText(refusal.data.left(shownPayload)) +
                          (refusal.data.size() > shownPayload ? QStringLiteral(" …") : QString());
    return QStringLiteral("%1<br><code>%2</code>").arg(refusal.brokenPayload ? marked(size, colour) : size, bytes);
}

QString spanText(const history::Refusal &refusal)
{
    constexpr int daySize = 10;
    const QString first = history::momentText(refusal.firstMs);
    const QString last = history::momentText(refusal.lastMs);
    return QStringLiteral("%1 to %2")
        .arg(first, first.left(daySize) == last.left(daySize) ? last.mid(daySize + 1) : last);
}

} // namespace

QString refusalMarkup(const history::Refusal &refusal, const QString &markColour)
{
    const auto row = [](const char *title, const QString &content) {
        return QStringLiteral("<tr><td style=\"padding-right:12px\">%1</td><td>%2</td></tr>")
            .arg(QString::fromLatin1(title), content);
    };
    const QString rows = row("Wrong", QStringLiteral("<b>%1</b>").arg(refusal.broken.toHtmlEscaped())) +
                         row("Rule", refusal.rule.toHtmlEscaped()) +
                         row("Head", QStringLiteral("<code>%1</code>").arg(headMarkup(refusal, markColour))) +
                         row("Payload", payloadMarkup(refusal, markColour)) +
                         row("Seen", QStringLiteral("%1; the bytes are those of the first").arg(spanText(refusal)));
    const QString note = refusal.isAcceptedNow
                             ? QStringLiteral("<p>The rules of this version find nothing wrong with it.</p>")
                             : QString();
    return QStringLiteral("<table>%1</table>%2").arg(rows, note);
}

RefusalModel::RefusalModel(QObject *parent)
    : SnapshotModel({QStringLiteral("Last seen"), QStringLiteral("Replies"), QStringLiteral("Command"),
                     QStringLiteral("What is wrong")},
                    Replies, parent)
{
}

void RefusalModel::show(const history::Device *device)
{
    std::vector<history::Refusal> refusals = device == nullptr ? std::vector<history::Refusal>() : device->refusals;
    std::stable_sort(refusals.begin(), refusals.end(),
                     [](const history::Refusal &a, const history::Refusal &b) { return a.lastMs > b.lastMs; });
    replaceRows(static_cast<int>(refusals.size()), [&] { m_refusals = std::move(refusals); });
}

QString RefusalModel::text(int row, int column) const
{
    const history::Refusal &shown = refusal(row);
    switch (static_cast<Column>(column)) {
    case LastSeen:
        return history::clockText(shown.lastMs);
    case Replies:
        return history::countText(shown.count);
    case Command:
        return shown.codes;
    case Broken:
        return shown.broken;
    case ColumnCount:
        break;
    }
    return {};
}

/** The clause that the replies broke. */
QString RefusalModel::key(int row) const
{
    const history::Refusal &shown = refusal(row);
    return QStringList{shown.codes, shown.rule, shown.broken}.join(QLatin1Char('\n'));
}

} // namespace biz::monitor
