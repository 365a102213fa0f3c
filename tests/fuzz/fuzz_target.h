#ifndef BIZ_TESTS_FUZZ_TARGET_H
#define BIZ_TESTS_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/** What each target defines: libFuzzer calls it with inputs of its making, the replay with files. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace biz::fuzz {

/** Ends the process, which is how a fuzzer hears of a finding. */
inline void require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

/** Reads an input byte by byte; 0 once it has ended. */
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    bool atEnd() const { return m_position == m_size; }
    std::uint8_t byte() { return atEnd() ? std::uint8_t{0} : m_data[m_position++]; }
    int below(int limit) { return byte() % limit; }
    int word() { return byte() + 256 * byte(); }

private:
    const std::uint8_t *m_data;
    std::size_t m_size;
    std::size_t m_position = 0;
};

} // namespace biz::fuzz

#endif
