#ifndef BIZ_HOST_CHANNEL_CLAIM_P_H
#define BIZ_HOST_CHANNEL_CLAIM_P_H

#include <atomic>

namespace biz::host {

/** Holds a channel for one host object: there is one of each channel per process. */
class ChannelClaim
{
public:
    explicit ChannelClaim(std::atomic<bool> &isHeld)
        : m_isHeld(isHeld)
        , m_isMine(!isHeld.exchange(true))
    {
    }
    ~ChannelClaim()
    {
        if (m_isMine) {
            m_isHeld = false;
        }
    }
    ChannelClaim(const ChannelClaim &) = delete;
    ChannelClaim &operator=(const ChannelClaim &) = delete;

    bool succeeded() const { return m_isMine; }

private:
    std::atomic<bool> &m_isHeld;
    const bool m_isMine;
};

} // namespace biz::host

#endif
