#ifndef BIZ_CONSOLE_RECORDING_LINE_H
#define BIZ_CONSOLE_RECORDING_LINE_H

#include <biz_console/session/expectation.h>
#include <common/json/json_text.h>

namespace biz::console {

/**
 * One line of a recording. Whatever is missing or of another type is an InputError with the
 * place of the line; keys that nobody asks for are passed over, since later versions may write more.
 */
class RecordingLine
{
public:
    /** `file` is the name of its file as messages show it. */
    RecordingLine(const QByteArray &json, const QString &file, int lineNumber);

    bool has(const char *name) const { return value(name).kind != tools::JsonValue::Kind::Nothing; }
    QString event() const { return text("event"); }
    QString text(const char *name) const;
    QString text(const char *name, const QString &fallback) const;
    int number(const char *name) const;
    int number(const char *name, int fallback) const;
    bool boolean(const char *name) const;
    double milliseconds(const char *name) const;

    /** As given events have it; one that is not there is that of a session that says nothing. */
    Expectation expectation(const char *name) const;

    QByteArray bytes(const char *name) const;
    QByteArray bytesOfSize(const char *name, int size) const;

    [[noreturn]] void fail(const QString &expected) const;

private:
    const tools::JsonValue &value(const char *name) const { return m_text.root().member(QString::fromLatin1(name)); }
    bool isNumber(const char *name) const { return value(name).kind == tools::JsonValue::Kind::Number; }
    [[noreturn]] void failAt(const char *name, const QString &expected) const;

    QString m_place;
    tools::JsonText m_text;
};

} // namespace biz::console

#endif
