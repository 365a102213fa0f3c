#ifndef BIZ_HISTORY_RUN_BOOK_H
#define BIZ_HISTORY_RUN_BOOK_H

#include <history/event.h>
#include <history/history.h>
#include <history/reading/bounds.h>
#include <history/reading/device_book.h>
#include <history/reading/open_commands.h>

namespace biz::history {

/** The runs of a history: the one that goes on, the clock by which it counts, and its commands. */
class RunBook
{
public:
    RunBook(History *history, DeviceBook *devices, const Bounds &bounds)
        : m_history(*history)
        , m_devices(*devices)
        , m_bounds(bounds)
    {
    }

    /** What is read next is the first line of a file. */
    void beginFile() { m_isFirstOfFile = true; }

    void readStart(const Event &start);

    /** Any other line: where it is of no run that is known, one begins. */
    void expect(const Event &event);

    /** The summary of the run. */
    void readSummary(double atMs);

    /** No command is pending. */
    void closeCommands();

    /** When it happened: by the steady clock where the line has it, so that somebody who sets the clock bends nothing.
     */
    double timeOf(const Event &event) const;

    Run &run() { return m_history.runs[static_cast<std::size_t>(m_open.run)]; }
    const Run &run() const { return m_history.runs[static_cast<std::size_t>(m_open.run)]; }
    OpenCommands &commands() { return m_open.commands; }

    /** Negative: the run's lines name their devices. */
    int onlyDevice() const { return m_open.onlyDevice; }

    /** The place of a device that a line names; who has this name in another log of that time is another device. */
    int placeOf(Device named);

private:
    struct OpenRun
    {
        int run = 0;
        double startMs = never; ///< what `atMs` counts from
        OpenCommands commands;
        int onlyDevice = -1;
    };

    void beginRun(const Event &start);
    void continueRun(const Event &event);
    void learnFrom(const Event &start);
    bool isRepeated(const Event &start) const;
    bool belongsToOpenRun(const Event &event) const;
    bool isOfOtherLog(int place) const;
    void closeLinks(double atMs);

    History &m_history;
    DeviceBook &m_devices;
    const Bounds m_bounds;
    OpenRun m_open;
    std::vector<int> m_lastRuns; ///< of each device that a line named
    bool m_hasNamesakes = false;
    bool m_hasRun = false;
    bool m_isFirstOfFile = false;
};

} // namespace biz::history

#endif
