#ifndef BIZ_TESTKIT_FINDING_H
#define BIZ_TESTKIT_FINDING_H

#include <QtCore/QString>

namespace biz::testkit {

/** Whether something was as expected, and a sentence about what was found instead. */
struct Finding
{
    bool holds = true;
    QString text; ///< empty when it holds

    explicit operator bool() const { return holds; }
};

} // namespace biz::testkit

#endif
