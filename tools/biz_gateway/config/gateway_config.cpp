#include <biz_gateway/config/gateway_config.h>

#include <tuple>

namespace biz::gateway {

namespace {

auto valuesOf(const BrokerSettings &settings)
{
    return std::tie(settings.host, settings.port, settings.clientId, settings.keepAliveS, settings.user,
                    settings.password, settings.usesTls, settings.authorities, settings.certificate, settings.key);
}

auto valuesOf(const host::DeviceSettings &settings)
{
    return std::tie(settings.link, settings.model, settings.defaultWaitMs, settings.settleMs, settings.pipelined,
                    settings.whileDown, settings.program, settings.arguments, settings.heartbeatMs);
}

auto valuesOf(const JournalSettings &settings)
{
    return std::tie(settings.keepHours, settings.mostMebibytes, settings.outlastsPower);
}

} // namespace

bool BrokerSettings::operator==(const BrokerSettings &other) const
{
    return valuesOf(*this) == valuesOf(other);
}

bool ServedDevice::operator==(const ServedDevice &other) const
{
    return name == other.name && valuesOf(settings) == valuesOf(other.settings);
}

bool JournalSettings::operator==(const JournalSettings &other) const
{
    return valuesOf(*this) == valuesOf(other);
}

} // namespace biz::gateway
