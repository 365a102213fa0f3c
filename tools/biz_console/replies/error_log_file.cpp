#include <biz_console/replies/error_log_file.h>

#include <QtCore/QLocale>

namespace biz::console {

QString errorLogOf(const QString &folder, const QDate &day)
{
    return QStringLiteral("%1/Errorlog/%2.log").arg(folder, QLocale::c().toString(day, QStringLiteral("yyyyMMdd")));
}

QString errorLogOfToday(const QString &folder)
{
    return errorLogOf(folder, QDate::currentDate());
}

} // namespace biz::console
