#ifndef BIZ_KIT_SEEDS_HOST_WORLD_H
#define BIZ_KIT_SEEDS_HOST_WORLD_H

#include <memory>

#include <QtCore/QTimer>

#include <host/command_result.h>
#include <kit_seeds/worlds/world.h>

namespace biz::kit_seeds {

/** What the worlds of both channels do with their host in the same way. */
template<typename Host>
class HostWorld : public World
{
public:
    using World::World;

    void end() override
    {
        if (!m_host) {
            return;
        }
        m_isStopping = true;
        m_host.reset();
        m_isStopping = false;
        m_ledger.endAll(host::Outcome::Stopped);
        // What callbacks hear of the end of the host comes by events.
        m_clock.advance(milliseconds(1));
        m_ledger.closeBook();
    }

protected:
    host::Counters counters() const override { return m_host->counters(); }
    int pending() const override { return m_host->pending(); }
    int waiting() const override { return m_host->waiting(); }
    bool cancel(host::Ticket ticket) override { return m_host->cancel(ticket); }

    /** A host that has nothing to write to yet. */
    void replaceHost()
    {
        m_host = std::make_unique<Host>();
        m_totals = Totals(&m_violation);
        m_host->setMayWrite([this] {
            if (!m_isReady) {
                m_ledger.noteHindered();
            }
            return m_isReady;
        });
    }

    void start()
    {
        if (!m_host->start()) {
            m_violation.note("no start: " + m_host->errorString().toStdString());
        }
    }

    void stop()
    {
        look();
        m_totals.noteRepliesLost(repliesUnderWay());
        const quint64 before = counters().stopped;
        m_isStopping = true;
        const host::StopReport report = m_host->stop();
        m_isStopping = false;
        look();
        m_ledger.endAll(host::Outcome::Stopped);
        m_violation.require(report.clean(), "a stop was not clean");
        m_violation.require(pending() == 0 && counters().stopped - before == static_cast<quint64>(report.pending),
                            "a stop did not end what was pending");
    }

    /** What the host writes to takes nothing for a while. */
    template<typename Line>
    void fill(Line *line, int mostMs)
    {
        m_ledger.noteHindered();
        line->setFull(true);
        QTimer::singleShot(m_dice.between(5, mostMs), line, [this, line] {
            m_ledger.noteHindered();
            m_movedAt = now();
            line->setFull(false);
        });
    }

    template<typename Signal, typename Slot>
    void on(Signal signal, const Slot &slot)
    {
        QObject::connect(m_host.get(), signal, &m_context, slot);
    }

    template<typename Result>
    void tell(host::Ticket ticket, const Result &result, bool isCallback)
    {
        const ToldEnd end{ticket,          result.outcome, result.supersededBy, result.reply.baData, result.roundTripMs,
                          result.attempts, result.reason};
        if (isCallback) {
            noteCallback(end);
        } else {
            noteEnd(end);
        }
    }

    QObject m_context;
    std::unique_ptr<Host> m_host;
    bool m_isReady = true; ///< what the host hears when it asks whether it may write
    bool m_isStopping = false;
    int m_defaultWaitMs = 0;
    nanoseconds m_movedAt = never; ///< last change of what writing depends on
};

} // namespace biz::kit_seeds

#endif
