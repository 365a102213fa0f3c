#ifndef BIZ_HOST_VERSION_IN_FILE_NAME_P_H
#define BIZ_HOST_VERSION_IN_FILE_NAME_P_H

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

namespace biz::host {

/** The version in the name of a shared object, "libX.so.1.2.3"; empty where it has none. */
inline QString versionInFileName(const QString &path)
{
    static const QRegularExpression atEnd(QStringLiteral(R"(\.so\.(\d+\.\d+\.\d+)$)"));
    return atEnd.match(path).captured(1);
}

} // namespace biz::host

#endif
