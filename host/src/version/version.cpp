#include <host/version.h>

#include <dlfcn.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <biz_cmdswork/biz_cmdswork.h>
#include <version/version_in_file_name_p.h>

namespace biz::host {

namespace {

/** The file that the library was loaded from, with every link on the way to it followed. */
QString libraryFile()
{
    Dl_info found{};
    // Any symbol of the library will do.
    if (dladdr(&biz_CMDSWork::staticMetaObject, &found) == 0 || found.dli_fname == nullptr) {
        return {};
    }
    return QFileInfo(QFile::decodeName(found.dli_fname)).canonicalFilePath();
}

} // namespace

QString kitVersion()
{
    return QStringLiteral(BIZ_HOST_VERSION);
}

QString libraryVersion()
{
    const QString loaded = versionInFileName(libraryFile());
    return loaded.isEmpty() ? libraryVersionAtBuild() : loaded;
}

QString libraryVersionAtBuild()
{
    return QStringLiteral(BIZ_MANAGE_VERSION);
}

} // namespace biz::host
