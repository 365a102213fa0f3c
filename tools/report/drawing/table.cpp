#include <report/drawing/table.h>

#include <report/drawing/html.h>

namespace biz::report {

namespace {

bool isNumber(const QString &title)
{
    return title.startsWith(QLatin1Char('#'));
}

} // namespace

Table::Table(const QStringList &titles)
    : m_titles(titles)
{
}

void Table::addRow(const QStringList &cells)
{
    QString row;
    for (int i = 0; i < cells.size(); ++i) {
        row += isNumber(m_titles.at(i)) ? wrapped("td", "n", cells.at(i)) : wrapped("td", cells.at(i));
    }
    m_rows.append(wrapped("tr", row));
}

QString Table::markup(int mostRows, const QString &whatRowsAre) const
{
    if (m_rows.isEmpty()) {
        return {};
    }
    QString head;
    for (const QString &title : m_titles) {
        head += isNumber(title) ? QStringLiteral("<th scope=\"col\" class=\"n\">%1</th>").arg(escaped(title.mid(1)))
                                : QStringLiteral("<th scope=\"col\">%1</th>").arg(escaped(title));
    }
    const QString body = QStringList(m_rows.mid(0, mostRows)).join(QString());
    QString table = wrapped("table", wrapped("thead", wrapped("tr", head)) + wrapped("tbody", body));
    if (m_rows.size() > mostRows) {
        table += element("p", "quiet",
                         QStringLiteral("The first %1 of %2 %3 are listed.")
                             .arg(QString::number(mostRows), QString::number(m_rows.size()), whatRowsAre));
    }
    return wrapped("div", "scroll", table);
}

} // namespace biz::report
