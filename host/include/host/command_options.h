#ifndef BIZ_HOST_COMMAND_OPTIONS_H
#define BIZ_HOST_COMMAND_OPTIONS_H

#include <chrono>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <host/host_export.h>
#include <model/model_protocoldata.h>

namespace biz::host {

/** How a command may be treated while it waits. The defaults ask for nothing special. */
struct CommandOptions
{
    /**
     * How long the command is worth sending, counted from enqueue(); 0: without limit, less: it is too late
     * already. It is tested when the first copy is to be written: a resend is written however late it is.
     */
    std::chrono::milliseconds validFor{0};

    /**
     * Of the commands with the same key only the newest waits: it takes the place of the one before
     * it, which ends as `Superseded`. What has been handed to the channel is never touched. Empty:
     * no key. On the OSD channel each device has keys of its own.
     */
    QString replaceKey;

    /** Urgent commands leave before all that are not, in order among themselves. */
    bool urgent = false;

    /** The application's own name of the command, for event logs; empty: none. The host makes nothing of it. */
    QString id;
};

/**
 * A command of the device channel by its code and sub-code, everything else empty; its wait is the
 * host's default.
 */
BIZ_HOST_EXPORT model_Protocoldata makeCommand(quint8 code, quint8 subCode, const QByteArray &payload = QByteArray());

} // namespace biz::host

#endif
