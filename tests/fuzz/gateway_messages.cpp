// What any client of a broker may send to a gateway: a message is a command, a cancel, or explained, and what tells a
// repeat from another command depends on the command alone.

#include "fuzz_target.h"

#include <biz_gateway/commands/command_message.h>

namespace {

using namespace biz::gateway;
using biz::fuzz::require;
using biz::host::Request;

void readFor(const Address &address, const QByteArray &payload)
{
    Message message;
    message.payload = payload;
    message.payloadSize = payload.size();
    const CommandMessage command = readCommandMessage(message, address);
    require(command.id.size() <= biz::host::longestRequestId, "an id is bounded");
    message.expiresInS = 1;
    const CommandMessage soonOver = readCommandMessage(message, address);
    require(soonOver.problem == command.problem, "how long a message lives makes it no worse");
    require(soonOver.digest == command.digest, "nor another command");
    if (!command.problem.isEmpty()) {
        return;
    }
    require(!command.request.id.isEmpty(), "what is obeyed has an id");
    require(!command.digest.isEmpty(), "and a digest");
    require(command.request.what == Request::Do::Command || command.request.what == Request::Do::Cancel,
            "a client stops and clears nothing");
    require(soonOver.request.options.validFor.count() > 0, "what expires does not last for ever");
    require(command.request.osd.qsIp == (address.channel == Channel::Osd && command.request.what == Request::Do::Command
                                             ? address.name
                                             : QString()),
            "the topic alone says which device");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray payload(reinterpret_cast<const char *>(data), static_cast<int>(size));
    readFor({Channel::Device, QStringLiteral("left")}, payload);
    readFor({Channel::Osd, QStringLiteral("10.0.0.1")}, payload);
    return 0;
}
