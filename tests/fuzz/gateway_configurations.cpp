// What must hold: the configuration of a gateway is read, and then is safe and within its bounds, or is refused with a
// reason.

#include "fuzz_target.h"

#include <biz_gateway/config/broker_reader.h>
#include <biz_gateway/config/config_reader.h>
#include <common/errors.h>

namespace {

using namespace biz::gateway;
using biz::fuzz::require;

void look(const GatewayConfig &config)
{
    require(!config.site.isEmpty() && config.site.size() <= longestSite && !config.site.contains(QLatin1Char('/')),
            "a site is one level of a topic");
    require(isLoopback(config.broker.host) || config.broker.usesTls, "nothing leaves the machine unencrypted");
    require(isLoopback(config.broker.host) || !config.broker.password.isEmpty() || !config.broker.certificate.isEmpty(),
            "nor without credentials");
    require(!config.devices.isEmpty() || !config.osd.addresses.isEmpty(), "there is a device");
    for (const ServedDevice &device : config.devices) {
        require(!device.name.isEmpty() && !device.name.contains(QLatin1Char('/')), "so is a device's name");
        require(!device.settings.program.isEmpty() || device.settings.link.isValid(), "it is somewhere");
    }
    for (const QString &filter : config.responseTopics) {
        require(isTopicFilter(filter), "filters can be subscribed to");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    // Files that a configuration names are for no fuzzer to open: the folder does not exist, and absolute paths are
    // left out.
    if (text.contains("\"/") || text.contains("\\") || text.contains("..")) {
        return 0;
    }
    try {
        look(readGatewayConfig({QStringLiteral("gateway.json"), text}, QStringLiteral("/nowhere")));
    } catch (const biz::tools::InputError &error) {
        require(error.what()[0] != '\0', "an error says what is wrong");
        require(!error.text().contains(QChar(0x1b)), "nothing that is shown steers the terminal");
    }
    return 0;
}
