#ifndef BIZ_REPORT_STYLE_H
#define BIZ_REPORT_STYLE_H

#include <QtCore/QString>

#include <history/history.h>

namespace biz::report {

/**
 * How commands are drawn by what became of them. Each look has a colour that people with any kind of
 * colour blindness tell from the others, and a pattern of its own.
 */
enum class Look {
    Answered,
    Ended,       ///< cleared, skipped, stopped...: the host itself wanted it
    Open,        ///< not ended when the log ends
    Released,    ///< sent without waiting, and its wait passed without a reply
    Unreachable, ///< the link was down
    GivenUp,
};
constexpr Look looks[] = {Look::Answered, Look::Ended, Look::Open, Look::Released, Look::Unreachable, Look::GivenUp};

Look lookOf(const history::Command &command);
const char *classOf(Look look);

/** "answered", "given up": in a legend and under a pointer. */
QString nameOf(Look look);

/** The style sheet of the page, for light, dark and paper. */
QString styleSheet();

/** The patterns that all drawings of the page share. */
QString patterns();

} // namespace biz::report

#endif
