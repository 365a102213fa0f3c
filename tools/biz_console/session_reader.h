#ifndef BIZ_CONSOLE_SESSION_READER_H
#define BIZ_CONSOLE_SESSION_READER_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <biz_console/json_reader.h>
#include <biz_console/session.h>

namespace biz::console {

/** The session that a JSON text holds; throws SessionError when it holds none. */
DeviceSession readDeviceSession(const QByteArray &json);
OsdSession readOsdSession(const QByteArray &json);

/** The bytes of a session file; throws SessionError when it cannot be read. */
QByteArray readSessionFile(const QString &path);

} // namespace biz::console

#endif
