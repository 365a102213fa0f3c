#include <biz_cmdswork/biz_cmdswork.h>

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLocale>

#include <biz_cmdswork/reply_rules/error_log_model_names_p.h>
#include <platform/unlocked_access_p.h>

namespace {

/**
 * Qt registers its calendar at the first use of a date. Where two threads of a process do that at once, one of them may
 * get empty texts for its dates from then on. While the library is loaded the host has no threads of ours yet.
 */
bool registerCalendar() noexcept
{
    return !QDate(2000, 1, 1).toString(Qt::ISODate).isEmpty();
}

[[maybe_unused]] const bool calendarIsRegistered = registerCalendar();

/** The log's digits are ASCII whatever locale the user has set. */
QByteArray asciiTime(const QDateTime &time, const QString &pattern)
{
    return QLocale::c().toString(time, pattern).toLatin1();
}

void appendHexByte(QByteArray &text, uchar byte)
{
    constexpr char digits[] = "0123456789abcdef";
    text.append(digits[byte >> 4U]);
    text.append(digits[byte & 0x0FU]);
}

void appendHead(QByteArray &line, const model_Protocoldata &reply)
{
    constexpr int firstByte = 1;
    constexpr int lastByte = 5;

    line.append('<');
    for (int i = firstByte; i <= lastByte; ++i) {
        if (i != firstByte) {
            line.append(' ');
        }
        appendHexByte(line, reply.ucHead[i]);
    }
    line.append('>');
}

/**
 * Deliberate: a payload byte is a signed number here, whatever the platform's char is, and
 * a negative one shows as its 64-bit pattern: two digits up to 7f, sixteen from 80.
 */
void appendPayload(QByteArray &line, const QByteArray &payload)
{
    for (const char byte : payload) {
        if (static_cast<signed char>(byte) < 0) {
            line.append("ffffffffffffff", 14);
        }
        appendHexByte(line, static_cast<uchar>(byte));
    }
}

QByteArray modelAndTime()
{
    const auto model = biz::errorlog::modelName(biz::unlocked::load(biz_CMDSWork::deviceType));

    QByteArray text("[");
    text.append(model.data(), static_cast<int>(model.size())).append("][");
    text.append(asciiTime(QDateTime::currentDateTime(), QStringLiteral("yyyy-MM-dd hh:mm:ss zzz")));
    return text.append(']');
}

} // namespace

// Nothing is kept between calls, so the file follows the date and the working directory by
// itself. The clock is read twice, once for the file and once for the line, which is how a
// line of the new day can stand in the old day's file.
void biz_CMDSWork::writeErrorLog(model_Protocoldata data)
{
    const QString directory = QDir::currentPath() + QStringLiteral("/Errorlog/");
    if (!QDir().exists(directory)) {
        QDir().mkdir(directory);
    }

    const QByteArray day = asciiTime(QDateTime::currentDateTime(), QStringLiteral("yyyyMMdd"));
    QFile file(directory + QString::fromLatin1(day) + QStringLiteral(".log"));
    if (!file.open(QIODevice::Append | QIODevice::Text)) {
        return;
    }

    // Room for all that a device of the family really sends; a longer line just grows.
    constexpr int charactersBeforePayload = 96;
    constexpr int digitsPerByteAtMost = 16;
    constexpr int usualPayloadAtMost = 1457;
    QByteArray line;
    line.reserve(charactersBeforePayload + digitsPerByteAtMost * qMin(data.baData.size(), usualPayloadAtMost));
    appendHead(line, data);
    appendPayload(line, data.baData);
    // Last, so that the time is the one at which the line is written.
    line.prepend(modelAndTime());
    line.append('\n');
    file.write(line);
}
