#ifndef BIZ_SIMULATOR_QUIT_SIGNALS_H
#define BIZ_SIMULATOR_QUIT_SIGNALS_H

#include <QtCore/QObject>

namespace biz::simulator {

/** Turns SIGINT and SIGTERM into an orderly end of the application's event loop. */
bool quitOnSignals(QObject *parent);

} // namespace biz::simulator

#endif
