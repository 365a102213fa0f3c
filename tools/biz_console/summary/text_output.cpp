#include <biz_console/summary/text_output.h>

#include <QtCore/QFileDevice>

namespace biz::console {

bool hasFailed(const QTextStream &out)
{
    const auto *const file = qobject_cast<const QFileDevice *>(out.device());
    return out.status() == QTextStream::WriteFailed || (file != nullptr && file->error() != QFileDevice::NoError);
}

QString counted(qint64 number, const char *one)
{
    const QString text = QStringLiteral("%1 %2").arg(QString::number(number), QString::fromLatin1(one));
    return number == 1 ? text : text + QLatin1Char('s');
}

} // namespace biz::console
