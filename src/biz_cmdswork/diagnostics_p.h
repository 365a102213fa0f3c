#ifndef BIZ_DIAGNOSTICS_P_H
#define BIZ_DIAGNOSTICS_P_H

#include <QtCore/QDebug>
#include <QtCore/QString>

/**
 * The channel's debug messages. Text and form are what hosts look for in their logs: a
 * QString is printed in quotes by the debug stream, a literal plain.
 */
namespace biz::diagnostics {

inline void timedOut(int timeoutCount)
{
    qDebug() << QStringLiteral("Timeout watchdog resend! iTimeoutCount:%1").arg(timeoutCount);
}

inline void gaveUp()
{
    qDebug() << "Resend stop";
}

inline void clearingQueue()
{
    qDebug() << "biz_CMDSWork::clearQueue()";
}

inline void queueCleared()
{
    qDebug() << QStringLiteral("Clear QueueHexCmd!");
}

/** Deliberate: names A2 for every model that shares the rule. */
inline void bufferReplyRefused()
{
    qDebug() << "A2 0xf1, 0x05 buff error!";
}

} // namespace biz::diagnostics

#endif
