#ifndef BIZ_CONSOLE_SESSION_READER_H
#define BIZ_CONSOLE_SESSION_READER_H

#include <biz_console/session/session.h>
#include <common/files/input_file.h>

namespace biz::console {

/** The session that a JSON text holds; throws tools::InputError with all that is wrong in it. */
DeviceSession readDeviceSession(const tools::InputText &input);
OsdSession readOsdSession(const tools::InputText &input);

} // namespace biz::console

#endif
