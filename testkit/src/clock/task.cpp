#include <clock/task_p.h>

#include <linux/futex.h>
#include <sys/syscall.h>

#include <clock/system_calls_p.h>

namespace biz::testkit {

void Turn::give()
{
    m_isGiven.store(1, std::memory_order_release);
    systemCalls().syscall(SYS_futex, &m_isGiven, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void Turn::await()
{
    while (m_isGiven.exchange(0, std::memory_order_acquire) == 0) {
        systemCalls().syscall(SYS_futex, &m_isGiven, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
    }
}

} // namespace biz::testkit
