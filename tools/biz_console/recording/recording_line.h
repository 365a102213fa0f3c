#ifndef BIZ_CONSOLE_RECORDING_LINE_H
#define BIZ_CONSOLE_RECORDING_LINE_H

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace biz::console {

/**
 * One line of a recording. Whatever is missing or of another type is an InputError with the
 * place of the line; keys that nobody asks for are passed over, since later versions may write more.
 */
class RecordingLine
{
public:
    RecordingLine(const QByteArray &json, QString place);

    bool has(const char *name) const { return m_object.contains(QLatin1String(name)); }
    QString event() const { return text("event"); }
    QString text(const char *name) const;
    QString text(const char *name, const QString &fallback) const;
    int number(const char *name) const;
    int number(const char *name, int fallback) const;
    bool boolean(const char *name) const;
    double milliseconds(const char *name) const;
    QByteArray bytes(const char *name) const;
    QByteArray bytesOfSize(const char *name, int size) const;

    [[noreturn]] void fail(const QString &expected) const;

private:
    QJsonValue value(const char *name) const { return m_object.value(QLatin1String(name)); }
    [[noreturn]] void failAt(const char *name, const QString &expected) const;

    QString m_place;
    QJsonObject m_object;
};

} // namespace biz::console

#endif
