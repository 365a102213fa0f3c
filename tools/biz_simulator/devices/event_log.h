#ifndef BIZ_SIMULATOR_EVENT_LOG_H
#define BIZ_SIMULATOR_EVENT_LOG_H

#include <array>
#include <cstdio>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <biz_simulator/faults/fault_kind.h>

namespace biz::simulator {

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

/** What devices did with the commands that they received. */
struct Counters
{
    quint64 received = 0;
    quint64 replies = 0;                      ///< frames or datagrams that were sent
    std::array<quint64, faultKinds> faults{}; ///< commands that met a fault of each kind
    quint64 unfit = 0;                        ///< faults that could not do harm to their command
    quint64 lost = 0;                         ///< replies that could not be delivered
    quint64 refused = 0;                      ///< things received that held no valid frame

    void count(FaultKind fault) { ++faults[static_cast<std::size_t>(fault)]; }
};

/** "12 commands, 10 replies, 3 faults (1 silence, 2 junk)..." */
QString summaryText(const Counters &counters);

} // namespace biz::simulator

#endif
