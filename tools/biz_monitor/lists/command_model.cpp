#include <biz_monitor/lists/command_model.h>

#include <algorithm>

#include <history/words.h>

namespace biz::monitor {

namespace {

using history::Command;

QString endText(const Command &command)
{
    if (!command.hasEnded) {
        return command.sentMs < 0.0 ? QStringLiteral("waits") : QStringLiteral("in flight");
    }
    QString text = host::outcomeName(command.outcome);
    if (command.resentMs >= 0.0) {
        text += QStringLiteral(", sent again");
    }
    if (command.rejections > 0) {
        text += QStringLiteral(", %1 refused").arg(command.rejections);
    }
    return text;
}

} // namespace

CommandModel::CommandModel(QObject *parent)
    : SnapshotModel({QStringLiteral("Given"), QStringLiteral("Command"), QStringLiteral("What became of it"),
                     QStringLiteral("Reply after")},
                    RoundTrip, parent)
{
}

void CommandModel::show(const history::History *history, const history::Device *device)
{
    std::vector<Command> commands;
    if (device != nullptr) {
        const auto count = std::min<std::size_t>(device->commands.size(), mostRows);
        commands.assign(device->commands.rbegin(), device->commands.rbegin() + static_cast<std::ptrdiff_t>(count));
        m_names = history->names;
    }
    int open = device == nullptr ? 0 : device->openCommands;
    const auto isLost = [&open](const Command &command) {
        return !command.hasEnded && open-- <= 0;
    };
    m_firstLost = static_cast<int>(std::find_if(commands.begin(), commands.end(), isLost) - commands.begin());
    replaceRows(static_cast<int>(commands.size()), [&] { m_commands = std::move(commands); });
}

QString CommandModel::text(int row, int column) const
{
    const Command &command = m_commands[static_cast<std::size_t>(row)];
    switch (static_cast<Column>(column)) {
    case Given:
        return history::momentText(command.beginMs());
    case Name:
        return m_names.value(command.name);
    case End:
        return !command.hasEnded && row >= m_firstLost ? QStringLiteral("not in the log") : endText(command);
    case RoundTrip:
        return command.responseMs() < 0.0 ? QStringLiteral("–") : history::durationText(command.responseMs());
    case ColumnCount:
        break;
    }
    return {};
}

/** The ticket, which is of one run. */
QString CommandModel::key(int row) const
{
    const Command &command = m_commands[static_cast<std::size_t>(row)];
    return QStringLiteral("%1 %2").arg(command.ticket).arg(command.beginMs(), 0, 'f');
}

} // namespace biz::monitor
