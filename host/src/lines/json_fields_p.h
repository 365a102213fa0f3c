#ifndef BIZ_HOST_LINES_JSON_FIELDS_P_H
#define BIZ_HOST_LINES_JSON_FIELDS_P_H

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::host {

/**
 * Reads the members of one JSON object strictly. What is missing, of another type, out of bounds or unknown is
 * a problem; the first one stays, and whatever is read after it is a default.
 */
class JsonFields
{
public:
    /** A problem when the text is no JSON object. */
    explicit JsonFields(const QByteArray &json);

    bool isGood() const { return m_problem.isEmpty(); }

    /** "waitMs: a whole number from 1 to 3600000 expected, not 0". */
    QString problem() const { return m_problem; }

    bool has(const char *name) const { return m_object.contains(QLatin1String(name)); }

    /** Whatever it is, its text; empty when it is none. Never a problem. */
    QString textIfAny(const char *name) const { return m_object.value(QLatin1String(name)).toString(); }

    /** A problem when there is a member of another name. */
    void allowOnly(const QStringList &names);

    /** Required, with at least one character and at most so many. */
    QString name(const char *name, int longest);

    /** At most so many characters; empty when it is absent. */
    QString text(const char *name, int longest);

    /** Within the bounds; `fallback` when it is absent. */
    int integer(const char *name, int lowest, int highest, int fallback);

    /** False when it is absent. */
    bool boolean(const char *name);

    /** Exactly `size` bytes in hexadecimal; required. */
    QByteArray bytes(const char *name, int size, const char *example);

    /** At most so many bytes in hexadecimal; empty when it is absent. */
    QByteArray bytesUpTo(const char *name, int most);

    void fail(const QString &problem);
    void fail(const char *name, const QString &expected);

private:
    QString shown(const char *name) const;

    QJsonObject m_object;
    QString m_problem;
};

} // namespace biz::host

#endif
