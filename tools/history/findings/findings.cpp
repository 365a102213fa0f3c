#include <history/findings/findings.h>

#include <algorithm>
#include <map>

#include <history/words.h>

namespace biz::history {

namespace {

using Kind = Finding::Kind;
using Severity = Finding::Severity;

/** Beyond these a page would be a list again; what is left out is counted. */
constexpr std::size_t mostOfOneKind = 5;

/** As many late or repeated commands, of a hundred, make a device slow. */
constexpr quint64 slowPercent = 10;

Finding finding(Kind kind, Severity severity, int device, const QString &headline, const QString &sentence,
                const QString &advice = {})
{
    Finding made;
    made.kind = kind;
    made.severity = severity;
    made.device = device;
    made.headline = headline;
    made.sentence = sentence;
    made.advice = advice;
    return made;
}

QString commandsText(quint64 count)
{
    return countText(count, "command", "commands");
}

/** Looks through one device. */
class DeviceFindings
{
public:
    DeviceFindings(const History &history, int place, std::vector<Finding> &found)
        : m_device(history.devices[static_cast<std::size_t>(place)])
        , m_place(place)
        , m_tally(tallyOf(m_device))
        , m_found(found)
    {
    }

    void look()
    {
        lookForLostLink();
        lookForSlowness();
        lookForSilence();
        lookForRefusals();
        lookForStrays();
    }

private:
    Finding &add(Kind kind, Severity severity, const QString &headline, const QString &sentence,
                 const QString &advice = {})
    {
        m_found.push_back(finding(kind, severity, m_place, headline, sentence, advice));
        return m_found.back();
    }

    void lookForLostLink();
    void tellOutage(const LinkSpan &span);
    quint64 unreachableWithin(const LinkSpan &span) const;
    void lookForSlowness();
    QString slownessAdvice() const;
    void lookForSilence();
    bool neverReplied() const;
    void tellSilence(const Silence &silence);
    void tellBriefSilences(quint64 commands);
    void lookForRefusals();
    bool lookForWrongModel();
    void tellRefusal(const Refusal &refusal);
    void lookForStrays();

    const Device &m_device;
    int m_place;
    Tally m_tally;
    bool m_isSlow = false;
    std::vector<Finding> &m_found;
};

quint64 DeviceFindings::unreachableWithin(const LinkSpan &span) const
{
    return static_cast<quint64>(
        std::count_if(m_device.commands.begin(), m_device.commands.end(), [&span](const Command &command) {
            return command.hasEnded && command.outcome == host::Outcome::Unreachable && command.endMs >= span.fromMs &&
                   command.endMs <= span.toMs;
        }));
}

void DeviceFindings::tellOutage(const LinkSpan &span)
{
    const quint64 commands = unreachableWithin(span);
    QString sentence = QStringLiteral("The link to %1 was lost for %2 from %3")
                           .arg(m_device.title, durationText(span.toMs - span.fromMs), clockText(span.fromMs));
    if (!span.reason.isEmpty()) {
        sentence += QStringLiteral(" (%1)").arg(span.reason);
    }
    if (commands > 0) {
        sentence += QStringLiteral("; %1 got no reply").arg(commandsText(commands));
    }
    Finding &outage = add(Kind::LinkLost, Severity::Fault, QStringLiteral("Link lost"), sentence + QLatin1Char('.'),
                          QStringLiteral("Look at the device's power and its cable or network first: the other side "
                                         "was not there."));
    outage.fromMs = span.fromMs;
    outage.toMs = span.toMs;
}

void DeviceFindings::lookForLostLink()
{
    std::vector<LinkSpan> outages;
    bool wasUp = false;
    bool wasTried = false;
    for (const LinkSpan &span : m_device.link) {
        wasUp = wasUp || span.state == host::LinkState::Up;
        wasTried = wasTried || span.state != host::LinkState::Closed;
        if (span.state != host::LinkState::Lost) {
            continue;
        }
        const bool goesOn = !outages.empty() && outages.back().toMs >= span.fromMs;
        if (goesOn) {
            outages.back().toMs = span.toMs;
        } else {
            outages.push_back(span);
        }
    }
    const std::size_t told = std::min(outages.size(), mostOfOneKind);
    std::stable_sort(outages.begin(), outages.end(),
                     [](const LinkSpan &a, const LinkSpan &b) { return a.toMs - a.fromMs > b.toMs - b.fromMs; });
    for (std::size_t i = 0; i < told; ++i) {
        tellOutage(outages[i]);
    }
    if (told < outages.size()) {
        add(Kind::LinkLost, Severity::Warning, QStringLiteral("Link lost"),
            QStringLiteral("The link to %1 was lost %2 more times, each time for less than that.")
                .arg(m_device.title, countText(outages.size() - told)));
    }
    if (wasTried && !wasUp) {
        add(Kind::LinkLost, Severity::Fault, QStringLiteral("Never connected"),
            QStringLiteral("The link to %1 was never open.").arg(m_device.title),
            QStringLiteral("Look at the address first, then at the device's power."));
    }
}

// The wait that is advised is the longest that any of the device's commands needs.
QString DeviceFindings::slownessAdvice() const
{
    int advisedMs = 0;
    for (const WaitAdvice &advice : waitAdviceOf(m_device)) {
        advisedMs = std::max(advisedMs, advice.verdict == WaitAdvice::Verdict::Enough ? 0 : advice.advisedMs);
    }
    return advisedMs == 0 ? QString()
                          : QStringLiteral("Give commands a wait (iWaitTime) of %1 ms or more; “Waits” below says why.")
                                .arg(advisedMs);
}

void DeviceFindings::lookForSlowness()
{
    std::vector<double> tooLate;
    quint64 repeated = 0;
    quint64 wasted = 0;
    int waitMs = -1;
    for (const Command &command : m_device.commands) {
        const bool isRepeated = command.isAnswered() && command.resentMs >= 0.0 && command.rejections == 0;
        const bool isWasted = command.isGivenUp() && command.lateAfterMs >= 0.0F;
        repeated += isRepeated ? 1 : 0;
        wasted += isWasted ? 1 : 0;
        if (isRepeated || isWasted) {
            tooLate.push_back(command.responseMs());
            waitMs = std::max(waitMs, command.waitMs);
        }
    }
    if (tooLate.empty() || tooLate.size() * 100 < m_tally.commands * slowPercent) {
        return;
    }
    std::sort(tooLate.begin(), tooLate.end());
    QStringList parts;
    if (wasted > 0) {
        parts << QStringLiteral("replies to %1 came after these had been given up").arg(commandsText(wasted));
    }
    if (repeated > 0) {
        parts << QStringLiteral("%1 had to be sent twice").arg(commandsText(repeated));
    }
    const QString allowed = waitMs < 0
                                ? QString()
                                : QStringLiteral(", where a wait of %1 ms allows %2")
                                      .arg(QString::number(waitMs), durationText(usableWaitMs(m_device, waitMs)));
    add(Kind::Slow, Severity::Fault, QStringLiteral("Too slow"),
        QStringLiteral("%1 replies, but too slowly: %2. Such a reply typically took %3%4.")
            .arg(m_device.title, parts.join(QStringLiteral(", ")), durationText(tooLate[tooLate.size() / 2]), allowed),
        slownessAdvice());
    m_isSlow = true;
}

/** Neither to the commands that are held nor to those that are not. */
bool DeviceFindings::neverReplied() const
{
    const Tally &earlier = m_device.forgotten;
    return m_tally.answered == 0 && m_device.incidents.empty() && m_device.refusedReplies == 0 &&
           earlier.answered + earlier.late + earlier.duplicate + earlier.foreign == 0;
}

void DeviceFindings::tellSilence(const Silence &silence)
{
    QString sentence;
    const QString afterwards = silence.isOver ? QStringLiteral(", then it replied again")
                                              : QStringLiteral(", and nothing was heard of it afterwards");
    if (silence.isOlderThanLog) {
        const QString givenUp =
            silence.givenUp == 0 ? QString() : QStringLiteral(": %1 given up since").arg(commandsText(silence.givenUp));
        sentence = QStringLiteral("%1 had been silent since %2, before this log began%3%4.")
                       .arg(m_device.title, clockText(silence.fromMs), givenUp, afterwards);
    } else if (neverReplied()) {
        sentence = QStringLiteral("%1 never replied: %2 given up in %3 from %4.")
                       .arg(m_device.title, commandsText(silence.givenUp), durationText(silence.toMs - silence.fromMs),
                            clockText(silence.fromMs));
    } else {
        sentence = QStringLiteral("%1 was silent for %2 from %3: %4 given up%5.")
                       .arg(m_device.title, durationText(silence.toMs - silence.fromMs), clockText(silence.fromMs),
                            commandsText(silence.givenUp), afterwards);
    }
    Finding &told = add(Kind::Silence, Severity::Fault, QStringLiteral("Silent"), sentence,
                        m_device.isOfDevice
                            ? QStringLiteral("The line was open all the time: look at the device itself, not at the "
                                             "cable.")
                            : QStringLiteral("Look at this device's power, its cable and its address."));
    told.fromMs = silence.fromMs;
    told.toMs = silence.toMs;
}

// One lost reply is no silence; that of a slow device may have come after the end of the log.
void DeviceFindings::tellBriefSilences(quint64 commands)
{
    if (commands > 0 && !m_isSlow) {
        add(Kind::Silence, Severity::Warning, QStringLiteral("Given up"),
            QStringLiteral("%1 left %2 without any reply, each time a single one.")
                .arg(m_device.title, commandsText(commands)));
    }
}

void DeviceFindings::lookForSilence()
{
    constexpr quint64 fewestCommands = 2;
    std::vector<Silence> silences = silencesOf(m_device);
    const auto firstBrief = std::stable_partition(silences.begin(), silences.end(), [this](const Silence &silence) {
        return silence.isOlderThanLog || silence.givenUp >= fewestCommands || neverReplied();
    });
    tellBriefSilences(static_cast<quint64>(silences.end() - firstBrief));
    silences.erase(firstBrief, silences.end());
    std::stable_sort(silences.begin(), silences.end(),
                     [](const Silence &a, const Silence &b) { return a.toMs - a.fromMs > b.toMs - b.fromMs; });
    const std::size_t told = std::min(silences.size(), mostOfOneKind);
    for (std::size_t i = 0; i < told; ++i) {
        tellSilence(silences[i]);
    }
    if (told < silences.size()) {
        add(Kind::Silence, Severity::Warning, QStringLiteral("Silent"),
            QStringLiteral("%1 was silent %2 more times, each time for less than that.")
                .arg(m_device.title, countText(silences.size() - told)));
    }
}

bool DeviceFindings::lookForWrongModel()
{
    const QString better = betterModelOf(m_device);
    if (better.isEmpty()) {
        return false;
    }
    add(Kind::WrongModel, Severity::Fault, QStringLiteral("Wrong model"),
        QStringLiteral(
            "The wrong model is probably set for %1: %2 refused since they break the rules of the %3, but all of "
            "them obey those of the %4.")
            .arg(m_device.title, countText(m_device.refusedReplies, "reply was", "replies were"),
                 m_device.model.isEmpty() ? QStringLiteral("set model") : m_device.model, better),
        QStringLiteral("Set the model to %1 and try again.").arg(better));
    return true;
}

void DeviceFindings::tellRefusal(const Refusal &refusal)
{
    const QString first = clockText(refusal.firstMs);
    const QString last = clockText(refusal.lastMs);
    const QString span =
        first == last ? QStringLiteral("at %1").arg(first) : QStringLiteral("from %1 to %2").arg(first, last);
    Finding &told =
        add(Kind::Refusals, Severity::Fault, QStringLiteral("%1 refused").arg(refusal.codes),
            QStringLiteral("%1 of %2 refused: %3 (%4, %5).")
                .arg(countText(refusal.count, "reply", "replies"), refusal.codes, refusal.broken, m_device.title, span),
            QStringLiteral("“Refused replies” below shows the bytes and the whole rule."));
    told.fromMs = refusal.firstMs;
    told.toMs = refusal.lastMs;
}

void DeviceFindings::lookForRefusals()
{
    if (m_device.refusals.empty() || lookForWrongModel()) {
        return;
    }
    std::vector<const Refusal *> refusals;
    for (const Refusal &refusal : m_device.refusals) {
        refusals.push_back(&refusal);
    }
    std::stable_sort(refusals.begin(), refusals.end(),
                     [](const Refusal *a, const Refusal *b) { return a->count > b->count; });
    const std::size_t told = std::min(refusals.size(), mostOfOneKind);
    for (std::size_t i = 0; i < told; ++i) {
        tellRefusal(*refusals[i]);
    }
    if (told < refusals.size()) {
        add(Kind::Refusals, Severity::Fault, QStringLiteral("Refused"),
            QStringLiteral("Replies of %1 broke %2 more clauses; “Refused replies” lists them.")
                .arg(m_device.title, countText(refusals.size() - told)));
    }
}

void DeviceFindings::lookForStrays()
{
    if (m_tally.foreign > 0) {
        add(Kind::Strays, Severity::Warning, QStringLiteral("Stray replies"),
            QStringLiteral("%1 of %2 belonged to no command that was given.")
                .arg(countText(m_tally.foreign, "reply", "replies"), m_device.title),
            QStringLiteral("Is another program connected to the device?"));
    }
    const std::size_t told = std::min(m_device.troubles.size(), mostOfOneKind);
    for (std::size_t i = 0; i < told; ++i) {
        const Trouble &trouble = m_device.troubles[i];
        add(Kind::Strays, Severity::Warning, QStringLiteral("Line trouble"),
            QStringLiteral("%1: %2, %3, first at %4.")
                .arg(m_device.title, trouble.text, countText(trouble.count, "time", "times"),
                     clockText(trouble.firstMs)));
    }
}

void lookAtRuns(const History &history, std::vector<Finding> &found)
{
    std::size_t told = 0;
    for (const Run &run : history.runs) {
        if (told >= mostOfOneKind) {
            return;
        }
        if (run.lostLines > 0) {
            ++told;
            found.push_back(finding(Kind::Cut, Severity::Warning, -1, QStringLiteral("Lines missing"),
                                    QStringLiteral("%1 of the log could not be written, so what follows is not all "
                                                   "that happened.")
                                        .arg(countText(run.lostLines, "line", "lines"))));
        }
        if (!run.problem.isEmpty()) {
            ++told;
            found.push_back(
                finding(Kind::EndedEarly, Severity::Fault, -1, QStringLiteral("Broken off"),
                        QStringLiteral("The run was broken off at %1: %2.").arg(clockText(run.toMs), run.problem)));
        } else if (!run.isComplete) {
            ++told;
            found.push_back(finding(Kind::Cut, Severity::Note, -1, QStringLiteral("No end"),
                                    QStringLiteral("The log of the run that began at %1 has no end: the program was "
                                                   "still running, or it crashed.")
                                        .arg(clockText(run.fromMs))));
        }
    }
}

/** The last line of a log is torn where its program was killed; more than one means that the file is not what it was.
 */
void lookAtSources(const History &history, std::vector<Finding> &found)
{
    std::size_t told = 0;
    for (const Source &source : history.sources) {
        if (source.notUnderstood > 1 && told++ < mostOfOneKind) {
            found.push_back(finding(Kind::Cut, Severity::Warning, -1, QStringLiteral("Lines not understood"),
                                    QStringLiteral("%1 of %2, the first of them line %3, were not understood: what "
                                                   "follows is not all that happened.")
                                        .arg(countText(source.notUnderstood, "line", "lines"), source.name,
                                             QString::number(source.firstNotUnderstood))));
        }
    }
}

/** A log may begin later than its host, and a monitor keeps the last commands only. */
void lookForEarlierCommands(const History &history, std::vector<Finding> &found)
{
    Tally earlier;
    for (const Device &device : history.devices) {
        earlier += device.forgotten;
    }
    if (earlier.commands == 0) {
        return;
    }
    found.push_back(finding(Kind::Cut, Severity::Note, -1, QStringLiteral("Earlier"),
                            QStringLiteral("%1 came before what stands here: %2 answered, %3 not.")
                                .arg(commandsText(earlier.commands), countText(earlier.answered),
                                     countText(earlier.givenUp + earlier.unreachable))));
}

Finding countOf(const History &history, bool allWell)
{
    Tally all;
    for (const Device &device : history.devices) {
        all += tallyOf(device);
    }
    const bool areAllAnswered = all.commands > 0 && all.answered == all.commands;
    QStringList parts{areAllAnswered ? QStringLiteral("all of %1 answered").arg(commandsText(all.commands))
                                     : QStringLiteral("%1 of %2 answered")
                                           .arg(all.answered == 0 ? QStringLiteral("none") : countText(all.answered),
                                                commandsText(all.commands))};
    const auto append = [&parts](quint64 count, const char *what) {
        if (count > 0) {
            parts << countText(count) + QLatin1Char(' ') + QString::fromLatin1(what);
        }
    };
    append(all.givenUp, "given up");
    append(all.unreachable, "without reply since the link was down");
    append(all.others, "ended by the host itself");
    append(all.notEnded, "not ended when the log ends");
    QString sentence =
        all.commands == 0 ? QStringLiteral("there are no commands in these files") : parts.join(QStringLiteral(", "));
    sentence.replace(0, 1, sentence.at(0).toUpper());
    const bool isGood = allWell && areAllAnswered;
    return finding(isGood ? Kind::AllWell : Kind::Count, isGood ? Severity::Good : Severity::Note, -1,
                   isGood ? QStringLiteral("All well") : QStringLiteral("In all"), sentence + QLatin1Char('.'));
}

/** Many devices may have the same fault: the first ones are told one by one, the others together. */
void gather(std::vector<Finding> &found, const History &history)
{
    constexpr int mostTold = 6;
    constexpr int mostNamed = 20;
    std::map<std::pair<Kind, Severity>, QStringList> others;
    std::map<std::pair<Kind, Severity>, int> told;
    std::vector<Finding> kept;
    for (const Finding &finding : found) {
        const std::pair<Kind, Severity> kind{finding.kind, finding.severity};
        if (finding.device < 0 || ++told[kind] <= mostTold) {
            kept.push_back(finding);
            continue;
        }
        const QString &title = history.devices[static_cast<std::size_t>(finding.device)].title;
        others[kind] += QStringLiteral("%1 (%2)").arg(title, finding.headline.toLower());
        Finding silent = finding;
        silent.sentence.clear();
        kept.push_back(silent);
    }
    for (const auto &[kind, titles] : others) {
        const QString rest =
            titles.size() > mostNamed ? QStringLiteral(" and %1 more").arg(titles.size() - mostNamed) : QString();
        kept.push_back(finding(kind.first, kind.second, -1, QStringLiteral("The same"),
                               QStringLiteral("The same holds for %1%2.")
                                   .arg(QStringList(titles.mid(0, mostNamed)).join(QStringLiteral(", ")), rest)));
    }
    found = kept;
}

} // namespace

std::vector<Finding> findingsOf(const History &history)
{
    std::vector<Finding> found;
    for (std::size_t place = 0; place < history.devices.size(); ++place) {
        DeviceFindings(history, static_cast<int>(place), found).look();
    }
    gather(found, history);
    lookAtRuns(history, found);
    lookAtSources(history, found);
    lookForEarlierCommands(history, found);
    std::stable_sort(found.begin(), found.end(),
                     [](const Finding &a, const Finding &b) { return a.severity < b.severity; });
    const bool allWell = found.empty() || found.front().severity >= Severity::Note;
    const Finding count = countOf(history, allWell);
    // Where nothing is wrong, that is what a reader wants to know first.
    found.insert(allWell ? found.begin() : found.end(), count);
    return found;
}

} // namespace biz::history
