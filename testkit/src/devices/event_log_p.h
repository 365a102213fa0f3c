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

    /** `makeText` is called only when the lines are asked for: most that happens is told to nobody. */
    template<typename MakeText>
    void write(const MakeText &makeText) const
    {
        if (m_on) {
            writeTimed(makeText());
        }
    }

private:
    void writeTimed(const QString &text) const;

    bool m_on;
    QElapsedTimer m_clock;
};

} // namespace biz::testkit

#endif
