#ifndef BIZ_TESTS_FUZZ_CHANNEL_CALLS_H
#define BIZ_TESTS_FUZZ_CHANNEL_CALLS_H

#include <support/virtual_time.h>

#include "fuzz_target.h"

namespace biz::fuzz {

/**
 * One worker of a channel in virtual time, whose loops stand between their passes; each byte of the
 * input is a call or a pass of a loop. A derived class says which, and finishes in its destructor.
 */
template<typename Worker>
class ChannelCalls
{
public:
    ChannelCalls(const ChannelCalls &) = delete;
    ChannelCalls &operator=(const ChannelCalls &) = delete;

    void run()
    {
        constexpr int callsAtMost = 200;
        for (int i = 0; i < callsAtMost && !m_input.atEnd(); ++i) {
            oneCall();
        }
    }

protected:
    explicit ChannelCalls(Input &input)
        : m_input(input)
    {
        m_worker.m_bSendRun = true;
        m_worker.m_bRecvRun = true;
    }

    virtual ~ChannelCalls() = default;

    virtual void oneCall() = 0;

    void startSendLoop()
    {
        m_sendLoop = m_time.start("send loop", [this] { m_worker.a1_GetQueueWork(); });
    }

    void startReceiveLoop()
    {
        m_receiveLoop = m_time.start("receive loop", [this] { m_worker.a1_receiveGetQueueWork(); });
    }

    /** The threads may use what the derived class holds, and so end before it does. */
    void finish()
    {
        m_worker.m_bSendRun = false;
        m_worker.m_bRecvRun = false;
        m_time.finish();
    }

    Input &m_input;
    test::VirtualTime m_time;
    Worker m_worker;
    test::ThreadId m_sendLoop = 0;
    test::ThreadId m_receiveLoop = 0;
};

/** Plays an input against a channel that `reset` has put into its first state, and resets it again. */
template<typename Calls, typename Reset>
int playOnFreshChannel(const std::uint8_t *data, std::size_t size, const Reset &reset)
{
    static const auto before = qInstallMessageHandler(
        [](QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/) {});
    static_cast<void>(before);
    reset();
    Input input(data, size);
    Calls(input).run();
    reset();
    return 0;
}

} // namespace biz::fuzz

#endif
