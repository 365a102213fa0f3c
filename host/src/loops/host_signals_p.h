#ifndef BIZ_HOST_SIGNALS_P_H
#define BIZ_HOST_SIGNALS_P_H

#include <tuple>
#include <type_traits>
#include <utility>

#include <loops/signal_outbox_p.h>

namespace biz::host {

/** The signals of a host, which leave with copies of their arguments from its event loop. */
template<typename Host>
class HostSignals
{
public:
    explicit HostSignals(Host *host)
        : m_host(host)
        , m_outbox(host)
    {
    }

    template<typename... Parameters, typename... Arguments>
    void post(void (Host::*signal)(Parameters...), Arguments &&...arguments)
    {
        std::tuple<std::decay_t<Parameters>...> copies(std::forward<Arguments>(arguments)...);
        m_outbox.post([host = m_host, signal, copies = std::move(copies)] {
            std::apply([host, signal](const auto &...values) { Q_EMIT(host->*signal)(values...); }, copies);
        });
    }

    /** An emission that is made so many times; it makes its arguments itself. */
    template<typename Emission>
    void postRepeated(std::size_t times, Emission emission)
    {
        // cppcheck-suppress constStatement ; it takes the capture for a statement
        m_outbox.postRepeated(times, [host = m_host, emit = std::move(emission)] { emit(host); });
    }

    /** To be called from an event: what `handle` posts leaves at its end. */
    template<typename Handle>
    void emitAfter(Handle handle)
    {
        m_outbox.emitAfter(std::move(handle));
    }

private:
    Host *const m_host;
    SignalOutbox m_outbox; ///< a child of the host, so that it follows it to another thread
};

} // namespace biz::host

#endif
