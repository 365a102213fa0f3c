#ifndef BIZ_GATEWAY_CONFIG_READER_H
#define BIZ_GATEWAY_CONFIG_READER_H

#include <biz_gateway/config/gateway_config.h>
#include <common/files/input_file.h>

/**
 * The file that configures a gateway:
 *
 *     {
 *         "site": "hall",
 *         "broker": {"host": "localhost", "user": "gateway", "passwordFile": "password"},
 *         "devices": [{"name": "hall-1", "link": "tcp://192.168.1.20:15700", "model": "A2"}],
 *         "osd": {"devices": ["192.168.1.40"]}
 *     }
 */
namespace biz::gateway {

/** The longest name of a site, in characters. */
constexpr int longestSite = 64;

/**
 * What the file says. File names in it are relative to `folder`. Throws tools::InputError with all that is wrong in
 * it.
 */
GatewayConfig readGatewayConfig(const tools::InputText &input, const QString &folder);

} // namespace biz::gateway

#endif
