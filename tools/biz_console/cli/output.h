#ifndef BIZ_CONSOLE_OUTPUT_H
#define BIZ_CONSOLE_OUTPUT_H

#include <QtCore/QTextStream>

namespace biz::console {

/** Where a command writes. */
struct Output
{
    QTextStream &out;
    QTextStream &err;
    bool outIsTerminal;
};

} // namespace biz::console

#endif
