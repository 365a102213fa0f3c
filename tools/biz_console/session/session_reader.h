#ifndef BIZ_CONSOLE_SESSION_READER_H
#define BIZ_CONSOLE_SESSION_READER_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <biz_console/session/session.h>
#include <common/errors.h>
#include <common/json_reader.h>

namespace biz::console {

/** The session that a JSON text holds; throws tools::InputError when it holds none. */
DeviceSession readDeviceSession(const QByteArray &json);
OsdSession readOsdSession(const QByteArray &json);

} // namespace biz::console

#endif
