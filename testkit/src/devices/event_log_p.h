#ifndef BIZ_TESTKIT_EVENT_LOG_P_H
#define BIZ_TESTKIT_EVENT_LOG_P_H

#include <cstdio>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

namespace biz::testkit {

/** Writes a line to a stream at once, for readers at the other end of a pipe. */
void writeLine(std::FILE *stream, const QString &text);

/** The lines that tell each event, with the seconds since the start; silent unless asked for. */
class EventLog
{
public:
    explicit EventLog(bool on);

    bool isOn() const { return m_on; }

    void write(const QString &text) const;

private:
    bool m_on;
    QElapsedTimer m_clock;
};

} // namespace biz::testkit

#endif
