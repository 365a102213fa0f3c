#ifndef BIZ_TOOLS_JSON_TEXT_H
#define BIZ_TOOLS_JSON_TEXT_H

#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <common/errors.h>
#include <common/files/input_file.h>

namespace biz::tools {

/** A value of a JSON text, and where it stands in it. */
struct JsonValue
{
    enum class Kind { Nothing, Null, Boolean, Number, Text, Array, Object };

    Kind kind = Kind::Nothing;
    int offset = 0; ///< of its first byte
    bool boolean = false;
    double number = 0.0;
    QString text;
    std::vector<JsonValue> elements; ///< of an array, or the members of an object

    /** Of a member of an object. */
    QString key;
    int keyOffset = 0;

    bool isText() const { return kind == Kind::Text; }
    bool isArray() const { return kind == Kind::Array; }
    bool isObject() const { return kind == Kind::Object; }

    /** The member of an object; a value that is nothing when there is none. */
    const JsonValue &member(const QString &name) const;
};

/** A value as a message shows it: short, and in JSON's notation. */
QString shown(const JsonValue &value);

/**
 * A JSON text that was read, and what is wrong with it. A text that is no JSON is an InputError
 * at once; what is wrong beyond that is noted, so that its writer is told all of it together.
 */
class JsonText
{
public:
    /** Reads it. A key that stands twice in an object is noted. `firstLine` is that of the text in its file. */
    explicit JsonText(const InputText &text, int firstLine = 1);

    const JsonValue &root() const { return m_root; }

    /** "session.json:3:16": where an offset is, line and column counted from 1. */
    QString placeAt(int offset) const;

    /** Notes a problem with what stands at the offset. */
    void note(int offset, const QString &problem);

    /** Throws an InputError with everything that was noted, in the order of the text. */
    void requireGood() const;

private:
    struct Problem
    {
        int offset = 0;
        QString text;
    };

    void noteRepeatedKeys(const JsonValue &value);

    InputText m_text;
    int m_firstLine;
    JsonValue m_root;
    std::vector<Problem> m_problems;
    std::size_t m_problemsNotKept = 0;
};

} // namespace biz::tools

#endif
