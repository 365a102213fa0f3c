#ifndef BIZ_TOOLS_RECORDING_LINE_H
#define BIZ_TOOLS_RECORDING_LINE_H

#include <common/json/json_text.h>

namespace biz::tools {

/**
 * One line of a recording. Whatever is missing or of another type is an InputError with the
 * place of the line; keys that nobody asks for are passed over, since later versions may write more.
 */
class RecordingLine
{
public:
    /** `file` is the name of its file as messages show it. */
    RecordingLine(const QByteArray &json, const QString &file, int lineNumber);

    bool has(const char *name) const { return value(name).kind != JsonValue::Kind::Nothing; }
    QString event() const { return text("event"); }
    QString text(const char *name) const;
    QString text(const char *name, const QString &fallback) const;
    int number(const char *name) const;
    int number(const char *name, int fallback) const;
    bool boolean(const char *name) const;
    double milliseconds(const char *name) const;

    QByteArray bytes(const char *name) const;
    QByteArray bytesOfSize(const char *name, int size) const;

    const JsonValue &value(const char *name) const { return m_text.root().member(QString::fromLatin1(name)); }

    [[noreturn]] void fail(const QString &expected) const;

    /** The same of one of its values. */
    [[noreturn]] void failAt(const char *name, const QString &expected) const;

private:
    bool isNumber(const char *name) const { return value(name).kind == JsonValue::Kind::Number; }

    QString m_place;
    JsonText m_text;
};

} // namespace biz::tools

#endif
