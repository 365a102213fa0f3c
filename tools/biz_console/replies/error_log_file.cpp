#include <biz_console/replies/error_log_file.h>

#include <QtCore/QDate>
#include <QtCore/QLocale>

namespace biz::console {

QString errorLogOfToday(const QString &folder)
{
    const QString day = QLocale::c().toString(QDate::currentDate(), QStringLiteral("yyyyMMdd"));
    return QStringLiteral("%1/Errorlog/%2.log").arg(folder, day);
}

} // namespace biz::console
