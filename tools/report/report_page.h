#ifndef BIZ_REPORT_REPORT_PAGE_H
#define BIZ_REPORT_REPORT_PAGE_H

#include <vector>

#include <QtCore/QByteArray>

#include <history/findings/findings.h>

namespace biz::report {

/** What made a report, as it stands at its end. */
struct Maker
{
    QString tool; ///< "biz_console 1.0.0"
    double atMs = 0.0;
};

/**
 * One page in UTF-8 that needs nothing else: no script, and nothing that a browser would ask a network
 * for. A history of any length makes a page of bounded size; what is thinned or left out, it says.
 */
QByteArray reportPage(const history::History &history, const std::vector<history::Finding> &findings,
                      const Maker &maker);

} // namespace biz::report

#endif
