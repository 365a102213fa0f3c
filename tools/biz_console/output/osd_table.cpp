#include <biz_console/output/osd_table.h>

#include <algorithm>
#include <vector>

#include <common/units.h>

namespace biz::console {

namespace {

constexpr int deviceWidth = 24;
constexpr int numberWidth = 10;
constexpr int timeWidth = 12;

QString number(quint64 value)
{
    return QString::number(value).rightJustified(numberWidth);
}

QString text(const char *name, int width)
{
    return QString::fromLatin1(name).rightJustified(width);
}

QString headLine()
{
    return QStringLiteral("device").leftJustified(deviceWidth) + text("sent", numberWidth) +
           text("answered", numberWidth) + text("timed out", numberWidth) + text("waiting", numberWidth) +
           text("median", timeWidth) + text("maximum", timeWidth);
}

QString rowLine(const OsdDeviceTotals &row)
{
    return row.device.leftJustified(deviceWidth) + number(row.sent) + number(row.answered) + number(row.timedOut) +
           number(static_cast<quint64>(row.waiting)) + tools::millisecondsText(row.medianMs).rightJustified(timeWidth) +
           tools::millisecondsText(row.maximumMs).rightJustified(timeWidth);
}

/** The row of devices of which every command was answered. */
class SharedRow
{
public:
    void add(const OsdDeviceTotals &row)
    {
        m_sum.sent += row.sent;
        m_sum.answered += row.answered;
        m_sum.maximumMs = std::max(m_sum.maximumMs, row.maximumMs);
        m_medians.push_back(row.medianMs);
    }

    bool isEmpty() const { return m_medians.empty(); }

    QString line()
    {
        const auto middle = m_medians.begin() + static_cast<std::ptrdiff_t>(m_medians.size() / 2);
        std::nth_element(m_medians.begin(), middle, m_medians.end());
        m_sum.medianMs = *middle;
        m_sum.device = QStringLiteral("%1 answering devices").arg(m_medians.size());
        return rowLine(m_sum);
    }

private:
    OsdDeviceTotals m_sum;
    std::vector<double> m_medians;
};

} // namespace

QStringList osdTable(const QVector<OsdDeviceTotals> &rows, bool showAll)
{
    const bool showEach = showAll || rows.size() <= devicesShownEach;
    QStringList lines{headLine()};
    SharedRow others;
    for (const OsdDeviceTotals &row : rows) {
        if (showEach || !row.allAnswered()) {
            lines.append(rowLine(row));
        } else {
            others.add(row);
        }
    }
    if (!others.isEmpty()) {
        lines.append(others.line());
    }
    return lines;
}

} // namespace biz::console
