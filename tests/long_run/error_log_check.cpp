#include <long_run/error_log_check.h>

#include <cstdlib>

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QRegularExpression>

namespace biz::long_run {

namespace {

/** The receive loop passes a few times in this. */
constexpr qint64 writtenWithinMs = 200;

const QString folder = QStringLiteral("Errorlog");

quint32 digestOf(const QByteArray &text)
{
    return static_cast<quint32>(qHash(text, 0));
}

/** What the log has behind the time: head bytes 1 to 5, then the payload, whose bytes are signed. */
QByteArray tailOf(const model_Protocoldata &reply)
{
    constexpr int first = 1;
    constexpr int last = 5;
    QStringList head;
    for (int i = first; i <= last; ++i) {
        head << QStringLiteral("%1").arg(reply.ucHead[i], 2, 16, QLatin1Char('0'));
    }
    QString tail = QStringLiteral("<%1>").arg(head.join(QLatin1Char(' ')));
    for (const char byte : reply.baData) {
        // As all 64 bits of the number, which Qt 6 writes only of one without a sign.
        tail += QStringLiteral("%1").arg(static_cast<quint64>(static_cast<signed char>(byte)), 2, 16, QLatin1Char('0'));
    }
    return tail.toLatin1();
}

/** One for each day, in their order. */
QStringList logFiles()
{
    return QDir(folder).entryList({QStringLiteral("*.log")}, QDir::Files, QDir::Name);
}

QByteArray contentsOf(const QString &name)
{
    QFile file(folder + QLatin1Char('/') + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void ErrorLogCheck::expect(const model_Protocoldata &reply)
{
    m_lines.push_back({QDateTime::currentMSecsSinceEpoch(), digestOf(tailOf(reply))});
}

std::string ErrorLogCheck::problem() const
{
    std::size_t number = 0;
    for (const QString &name : logFiles()) {
        const QByteArray text = contentsOf(name);
        if (!text.endsWith('\n')) {
            return "the error log's last line has no end";
        }
        for (const QByteArray &line : text.left(static_cast<int>(text.size()) - 1).split('\n')) {
            if (number == m_lines.size()) {
                return "the error log has more lines than replies were refused";
            }
            const std::string wrong = problemOf(m_lines[number], line, name.left(8).toLatin1());
            ++number;
            if (!wrong.empty()) {
                return "line " + std::to_string(number) + " of the error log " + wrong;
            }
        }
    }
    return number == m_lines.size() ? "" : "the error log has fewer lines than replies were refused";
}

std::string ErrorLogCheck::problemOf(const Line &expected, const QByteArray &line, const QByteArray &day) const
{
    static const QRegularExpression form(
        QStringLiteral(R"(^\[ORLIXA2\]\[(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \d{3})\](.*)$)"));
    const QRegularExpressionMatch match = form.match(QString::fromLatin1(line));
    if (!match.hasMatch()) {
        return "has another form";
    }
    QDateTime at = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd hh:mm:ss zzz"));
    at.setTimeSpec(Qt::UTC);
    const qint64 after = at.toMSecsSinceEpoch() - expected.atUtcMs;
    if (after < 0 || after > writtenWithinMs) {
        return "has another time than that of its reply";
    }
    if (at.toString(QStringLiteral("yyyyMMdd")).toLatin1() != day) {
        return "stands in another day's file";
    }
    return digestOf(match.captured(2).toLatin1()) == expected.digest ? "" : "is not that of its reply";
}

void ErrorLogCheck::loseLastLine()
{
    const QStringList names = logFiles();
    QFile file(folder + QLatin1Char('/') + (names.isEmpty() ? QString() : names.constLast()));
    if (file.open(QIODevice::ReadWrite)) {
        const QByteArray text = file.readAll();
        file.resize(text.left(static_cast<int>(text.size()) - 1).lastIndexOf('\n') + 1);
    }
}

} // namespace biz::long_run
