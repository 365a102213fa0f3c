#include <common/files/output_file.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>

namespace biz::tools {

QString writeOutputFile(const QString &path, const QByteArray &content)
{
    const QFileInfo there(path);
    if (there.exists() && !there.isFile()) {
        QFile file(path);
        const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
        return isWritten ? QString() : QStringLiteral("%1: cannot be written: %2").arg(path, file.errorString());
    }
    QSaveFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
    return isWritten ? QString() : QStringLiteral("%1: cannot be written: %2").arg(path, file.errorString());
}

} // namespace biz::tools
