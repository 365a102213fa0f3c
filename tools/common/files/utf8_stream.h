#ifndef BIZ_TOOLS_UTF8_STREAM_H
#define BIZ_TOOLS_UTF8_STREAM_H

#include <QtCore/QTextStream>

namespace biz::tools {

/** From now on the stream writes UTF-8, whatever the locale says. Qt 6's streams do so from the beginning. */
inline void writeUtf8(QTextStream &stream)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    stream.setCodec("UTF-8");
#else
    stream.setEncoding(QStringConverter::Utf8);
#endif
}

} // namespace biz::tools

#endif
