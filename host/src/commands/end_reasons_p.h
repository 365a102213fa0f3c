#ifndef BIZ_HOST_END_REASONS_P_H
#define BIZ_HOST_END_REASONS_P_H

#include <QtCore/QString>

/** The sentences that say why a command ended, where both channels end commands so. */
namespace biz::host {

/** Why commands end that have nothing wrong with themselves. */
struct EndReason
{
    QString whenSent;
    QString whenWaiting;
};

inline EndReason stoppedReason()
{
    return {QStringLiteral("the host was stopped while its reply was awaited"),
            QStringLiteral("the host was stopped before it was sent")};
}

inline QString expiredReason()
{
    return QStringLiteral("the time for which it was valid had passed before it could be sent");
}

inline EndReason cancelledReason()
{
    return {QStringLiteral("it was cancelled after it had been sent"),
            QStringLiteral("it was cancelled before it was sent")};
}

inline QString answeredReason(double roundTripMs, int attempts)
{
    return QStringLiteral("its reply came %1 ms after it was %2")
        .arg(QString::number(roundTripMs, 'f', 1), attempts > 1 ? QStringLiteral("resent") : QStringLiteral("sent"));
}

/** What happened, and what is known to have gone wrong before. */
inline QString gaveUpReason(const QString &what, const QString &lastProblem)
{
    return lastProblem.isEmpty() ? what : what + QStringLiteral("; ") + lastProblem;
}

} // namespace biz::host

#endif
