#ifndef BIZ_HOST_SERVE_REQUEST_P_H
#define BIZ_HOST_SERVE_REQUEST_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <host/command_options.h>
#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

namespace biz::host {

/** What one line of the input asks for. */
struct Request
{
    enum class Do {
        Command,
        Cancel,
        Clear,
        Counters,
        Stop,
    };

    Do what = Do::Stop;
    QString id;                ///< of a command, and of a cancel
    model_Protocoldata device; ///< of a command to a device
    model_OsdParam osd;        ///< of a command to an OSD device
    CommandOptions options;    ///< of a command
};

/** Whose commands a line may hold. */
enum class ServedChannel {
    Device,
    Osd,
};

/** A request, or why the line is none. */
struct ReadRequest
{
    Request request;
    QString problem; ///< what was expected; empty when the request is good
    QString id;      ///< as far as the line has one, so that its sender knows which is meant
};

/** The longest id and replace key that are taken, in characters. */
constexpr int longestRequestId = 128;

/** The longest wait and validity that are taken, in milliseconds: an hour. */
constexpr int longestRequestMs = 3'600'000;

/** Reads one line strictly: whatever is missing, unknown or out of bounds makes it none. */
ReadRequest readRequest(const QByteArray &line, ServedChannel channel);

/**
 * The same of a message that was sent to one device: it names no `device`, and without `do` it is a command. An OSD
 * command is for `osdDevice`.
 */
ReadRequest readMessage(const QByteArray &json, ServedChannel channel, const QString &osdDevice);

} // namespace biz::host

#endif
