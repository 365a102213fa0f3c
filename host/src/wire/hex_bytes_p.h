#ifndef BIZ_HOST_WIRE_HEX_BYTES_P_H
#define BIZ_HOST_WIRE_HEX_BYTES_P_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::host::wire {

/** The bytes of "F1 08 03" or "f10803"; none where it is not made of pairs of hexadecimal digits. */
std::optional<QByteArray> bytesFromHex(const QString &text);

/** "F1 08 03": bytes as people write them. */
QString hexText(const QByteArray &bytes);

} // namespace biz::host::wire

#endif
