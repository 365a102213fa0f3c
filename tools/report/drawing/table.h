#ifndef BIZ_REPORT_TABLE_H
#define BIZ_REPORT_TABLE_H

#include <QtCore/QStringList>

namespace biz::report {

/** A table in the making; columns whose title begins with '#' hold numbers. */
class Table
{
public:
    explicit Table(const QStringList &titles);

    /** Cells of markup. */
    void addRow(const QStringList &cells);

    /** Only the first `mostRows` rows are shown; a line says so. Empty without rows. */
    QString markup(int mostRows, const QString &whatRowsAre) const;

private:
    QStringList m_titles;
    QStringList m_rows;
};

} // namespace biz::report

#endif
