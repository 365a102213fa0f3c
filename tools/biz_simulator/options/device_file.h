#ifndef BIZ_SIMULATOR_DEVICE_FILE_H
#define BIZ_SIMULATOR_DEVICE_FILE_H

#include <biz_simulator/devices/settings.h>
#include <common/files/input_file.h>

/**
 * A JSON file that describes any number of devices.
 *
 *     {
 *         "seed": 7,
 *         "devices": [
 *             {"model": "A2", "listen": "tcp://127.0.0.1:15700", "delay": 5, "rates": {"junk": 0.1}},
 *             {"name": "spare", "model": "A2", "listen": "serial:",
 *              "faults": [{"reception": 2, "fault": "close"}]}
 *         ],
 *         "osd": [{"first": "127.1.0.1", "count": 10, "port": 15701, "silent": ["127.1.0.3"]}]
 *     }
 */
namespace biz::simulator {

/** What the file describes; throws tools::InputError with all that is wrong in it. */
Settings readDeviceFile(const tools::InputText &input);

} // namespace biz::simulator

#endif
