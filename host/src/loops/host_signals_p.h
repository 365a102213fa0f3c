#ifndef BIZ_HOST_SIGNALS_P_H
#define BIZ_HOST_SIGNALS_P_H

#include <tuple>
#include <type_traits>
#include <utility>

#include <loops/outbox_p.h>

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

    Outbox *outbox() { return &m_outbox; }

    template<typename... Parameters, typename... Arguments>
    void post(void (Host::*signal)(Parameters...), Arguments &&...arguments)
    {
        std::tuple<std::decay_t<Parameters>...> copies(std::forward<Arguments>(arguments)...);
        m_outbox.post([host = m_host, signal, copies = std::move(copies)] {
            std::apply([host, signal](const auto &...values) { Q_EMIT(host->*signal)(values...); }, copies);
        });
    }

private:
    Host *const m_host;
    Outbox m_outbox; ///< a child of the host, so that it follows it to another thread
};

} // namespace biz::host

#endif
