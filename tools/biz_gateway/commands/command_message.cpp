#include <biz_gateway/commands/command_message.h>

#include <algorithm>

#include <QtCore/QCryptographicHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <host/device_fleet.h>

namespace biz::gateway {

namespace {

constexpr qint64 millisecondsPerSecond = 1000;

host::ServedChannel servedChannel(Channel channel)
{
    switch (channel) {
    case Channel::Device:
        return host::ServedChannel::Device;
    case Channel::Osd:
        return host::ServedChannel::Osd;
    }
    return host::ServedChannel::Device;
}

template<std::size_t size>
QString hexOf(const unsigned char (&bytes)[size])
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(bytes), size).toHex());
}

QString hexOf(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

/** How long a message lives is not part of it: what is left of it is less each time that it is sent. */
QByteArray digestOf(const host::Request &request, const Address &address)
{
    const host::CommandOptions &options = request.options;
    QJsonArray all{addressText(address), options.replaceKey, options.urgent,
                   static_cast<double>(options.validFor.count())};
    switch (address.channel) {
    case Channel::Device:
        all.append(hexOf(request.device.ucHead));
        all.append(hexOf(request.device.baData));
        all.append(request.device.iWaitTime);
        break;
    case Channel::Osd:
        all.append(hexOf(request.osd.ucOsdHead));
        all.append(hexOf(request.osd.baData));
        all.append(request.osd.iWaitTime);
        all.append(request.osd.qsOsdText);
        all.append(static_cast<int>(request.osd.ucOsdFlag));
        break;
    }
    return QCryptographicHash::hash(QJsonDocument(all).toJson(QJsonDocument::Compact), QCryptographicHash::Sha256);
}

/**
 * A command is worth sending as long as its message lives, unless it says less itself; and no longer than a command can
 * say: devices take no more.
 */
void shorten(std::chrono::milliseconds *validFor, quint32 expiresInS)
{
    // A message whose time is over is not delivered; 0 would be without limit.
    const std::chrono::milliseconds lives(
        std::clamp<qint64>(expiresInS * millisecondsPerSecond, 1, host::DeviceFleet::longestMs));
    *validFor = validFor->count() == 0 ? lives : std::min(*validFor, lives);
}

bool isForGateways(host::Request::Do what)
{
    switch (what) {
    case host::Request::Do::Command:
    case host::Request::Do::Cancel:
        return true;
    case host::Request::Do::Clear:
    case host::Request::Do::Counters:
    case host::Request::Do::Stop:
        break;
    }
    return false;
}

} // namespace

CommandMessage readCommandMessage(const Message &message, const Address &address)
{
    const QString osdDevice = address.channel == Channel::Osd ? address.name : QString();
    host::ReadRequest read = host::readMessage(message.payload, servedChannel(address.channel), osdDevice);
    CommandMessage command;
    command.id = read.id;
    command.problem = read.problem;
    if (command.problem.isEmpty() && !isForGateways(read.request.what)) {
        command.problem = QStringLiteral("do: one of command, cancel expected");
    }
    if (command.problem.isEmpty()) {
        command.digest = digestOf(read.request, address);
        if (message.expiresInS) {
            shorten(&read.request.options.validFor, *message.expiresInS);
        }
    }
    command.request = read.request;
    return command;
}

} // namespace biz::gateway
