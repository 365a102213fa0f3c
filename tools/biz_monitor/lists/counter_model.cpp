#include <biz_monitor/lists/counter_model.h>

#include <history/words.h>

namespace biz::monitor {

namespace {

QString durationOr(double ms)
{
    return ms < 0.0 ? QStringLiteral("–") : history::durationText(ms);
}

} // namespace

CounterModel::CounterModel(QObject *parent)
    : SnapshotModel({QStringLiteral("What"), QStringLiteral("How many")}, 1, parent)
{
}

void CounterModel::show(const Glance &glance)
{
    const history::Tally &tally = glance.tally;
    const auto count = [](const char *title, quint64 value) {
        return Row{QString::fromLatin1(title), history::countText(value)};
    };
    std::vector<Row> rows{
        count("Commands", tally.commands),
        count("Answered", tally.answered),
        count("Sent again", tally.resent),
        count("Given up", tally.givenUp),
        count("Link was down", tally.unreachable),
        count("Ended by the host", tally.others),
        count("Not ended", tally.notEnded),
        count("Replies refused", glance.refused),
        count("Replies late", tally.late),
        count("Replies twice", tally.duplicate),
        count("Replies to nothing", tally.foreign),
        {QStringLiteral("Median of the last round trips"), durationOr(glance.medianMs)},
        {QStringLiteral("Longest of the last round trips"), durationOr(glance.longestMs)},
    };
    replaceRows(static_cast<int>(rows.size()), [&] { m_rows = std::move(rows); });
}

QString CounterModel::text(int row, int column) const
{
    const Row &shown = m_rows[static_cast<std::size_t>(row)];
    return column == 0 ? shown.title : shown.value;
}

} // namespace biz::monitor
