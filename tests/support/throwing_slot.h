#ifndef BIZ_TEST_THROWING_SLOT_H
#define BIZ_TEST_THROWING_SLOT_H

#include <functional>
#include <string>

namespace biz::test {

/** What a host's slot throws. */
struct SlotError
{
};

/** From now on the host's slot throws whenever that signal is emitted, after recording it. */
template<typename Recorder>
void throwAt(Recorder &signals, const std::string &signal)
{
    signals.onEmission([signal](const typename Recorder::Event &event) {
        if (event.signal == signal) {
            throw SlotError();
        }
    });
}

/** Runs a thread body; true when the slot's exception has left it. */
inline bool isLeftByException(const std::function<void()> &body)
{
    try {
        body();
    } catch (const SlotError &) {
        return true;
    }
    return false;
}

} // namespace biz::test

#endif
