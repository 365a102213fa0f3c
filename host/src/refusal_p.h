#ifndef BIZ_HOST_REFUSAL_P_H
#define BIZ_HOST_REFUSAL_P_H

#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/** Why the last call of a host that was refused was refused. */
class LastRefusal
{
public:
    Error error() const { return m_error; }
    QString text() const { return m_text; }

    /** Notes a refusal; false, for the call to return. */
    bool refuse(Error error, const QString &text)
    {
        m_error = error;
        m_text = text;
        return false;
    }

private:
    Error m_error = Error::None;
    QString m_text;
};

} // namespace biz::host

#endif
