#include <support/held_locks.h>

#include <thread>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/virtual_time.h>

namespace biz::test {

NamedLocks deviceChannelLocks()
{
    return {{"HexCmdlock", &biz_CMDSWork::HexCmdlock}, {"receiveHexCmdlock", &biz_CMDSWork::receiveHexCmdlock}};
}

NamedLocks osdChannelLocks()
{
    return {{"HexCmdlock", &biz_Osd_CMDSWork::HexCmdlock}, {"receiveHexCmdlock", &biz_Osd_CMDSWork::receiveHexCmdlock}};
}

std::vector<std::string> heldOf(const NamedLocks &locks)
{
    std::vector<std::string> held;
    const Unfollowed scope;
    // The owner of a mutex must not try it, hence another thread.
    std::thread([&] {
        for (const auto &[name, mutex] : locks) {
            const std::unique_lock<std::mutex> attempt(*mutex, std::try_to_lock);
            if (!attempt.owns_lock()) {
                held.push_back(name);
            }
        }
    }).join();
    return held;
}

} // namespace biz::test
