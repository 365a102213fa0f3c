#ifndef BIZ_TOOLS_HEX_H
#define BIZ_TOOLS_HEX_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::tools {

/** The bytes of "F1 08 03" or "f10803"; none when it is not made of pairs of hexadecimal digits. */
std::optional<QByteArray> bytesFromHex(const QString &text);

/** "F1 08 03": bytes as people write them. */
QString hexText(const QByteArray &bytes);

} // namespace biz::tools

#endif
