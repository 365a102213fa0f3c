#include <biz_console/recording/recording_compare.h>

#include <common/hex.h>

#include <algorithm>

namespace biz::console {

namespace {

/** The beginning of a list, as long as a recording tells of it that was cut off. */
QStringList upToTheCut(const QStringList &replayed, const QStringList &recorded, bool isCutOff)
{
    return isCutOff ? QStringList(replayed.mid(0, recorded.size())) : replayed;
}

/** Two lists, from the first entry on in which they differ. */
QStringList listDifferences(const QString &what, const QStringList &recorded, const QStringList &replayed)
{
    const auto [first, second] = std::mismatch(recorded.begin(), recorded.end(), replayed.begin(), replayed.end());
    if (first == recorded.end() && second == replayed.end()) {
        return {};
    }
    QStringList lines{what};
    const auto append = [&lines](const QString &title, auto from, auto end) {
        for (auto entry = from; entry != end; ++entry) {
            lines.append(QStringLiteral("    %1: %2").arg(title, *entry));
        }
        if (from == end) {
            lines.append(QStringLiteral("    %1: nothing more").arg(title));
        }
    };
    append(QStringLiteral("recorded"), first, recorded.end());
    append(QStringLiteral("replayed"), second, replayed.end());
    return lines;
}

/** The first write that differs: those behind it differ as a consequence, as a rule. */
QStringList writeDifferences(const Recording &recorded, const Recording &replayed)
{
    const bool isCutOff = recorded.cutInLine > 0;
    const auto writes = isCutOff ? recorded.writes.size() : std::max(recorded.writes.size(), replayed.writes.size());
    for (int i = 0; i < writes; ++i) {
        if (recorded.writes.value(i) != replayed.writes.value(i)) {
            const auto text = [i](const Recording &recording) {
                return i < recording.writes.size() ? tools::hexText(recording.writes.at(i)) : QStringLiteral("none");
            };
            return {QStringLiteral("bytes of write %1").arg(i + 1), QStringLiteral("    recorded: ") + text(recorded),
                    QStringLiteral("    replayed: ") + text(replayed)};
        }
    }
    return {};
}

/** Between two OSD devices there is no order that would be the same twice. */
QStringList straysOf(const Recording &recording)
{
    QStringList strays = recording.strays;
    if (!recording.isOfDevice) {
        strays.sort();
    }
    return strays;
}

} // namespace

QStringList differences(const Recording &recorded, const Recording &replayed)
{
    const bool isCutOff = recorded.cutInLine > 0;
    QStringList lines;
    for (int i = 0; i < recorded.commands.size(); ++i) {
        const RecordedCommand &command = recorded.commands.at(i);
        const QStringList happenings = upToTheCut(replayed.commands.value(i).happenings, command.happenings, isCutOff);
        lines +=
            listDifferences(QStringLiteral("%1, given in line %2").arg(command.name, QString::number(command.line)),
                            command.happenings, happenings);
    }
    const QStringList strays = upToTheCut(straysOf(replayed), straysOf(recorded), isCutOff);
    lines += listDifferences(QStringLiteral("what belongs to no command"), straysOf(recorded), strays);
    return lines + writeDifferences(recorded, replayed);
}

} // namespace biz::console
