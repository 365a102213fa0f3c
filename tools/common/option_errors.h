#ifndef BIZ_TOOLS_OPTION_ERRORS_H
#define BIZ_TOOLS_OPTION_ERRORS_H

#include <QtCore/QCommandLineParser>

namespace biz::tools {

/** What is wrong with arguments that the parser refused, and for an unknown option which one was meant. */
QString optionError(const QCommandLineParser &parser, const QStringList &arguments);

} // namespace biz::tools

#endif
