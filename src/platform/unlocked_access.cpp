#include <platform/unlocked_access_p.h>

#include <model/model_protocoldata.h>

namespace biz::unlocked {

// The members are plain by contract, hence the compiler's own atomic access to them: it
// keeps a loop from reading its flag once and for all.

bool load(const bool &member)
{
    return __atomic_load_n(&member, __ATOMIC_RELAXED);
}

int load(const int &member)
{
    return __atomic_load_n(&member, __ATOMIC_RELAXED);
}

void store(bool &member, bool value)
{
    __atomic_store_n(&member, value, __ATOMIC_RELAXED);
}

std::size_t queueSize(const std::queue<model_Protocoldata> &queue)
{
    return queue.size();
}

void discard(std::queue<model_Protocoldata> &queue)
{
    while (!queue.empty()) {
        queue.pop();
    }
}

} // namespace biz::unlocked
