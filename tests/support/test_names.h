#ifndef BIZ_TEST_TEST_NAMES_H
#define BIZ_TEST_TEST_NAMES_H

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace biz::test {

/** A number in the name of a parameterised test, where a sign must not stand. */
inline std::string numberName(std::int64_t number)
{
    return (number < 0 ? "Minus" : "") + std::to_string(std::abs(number));
}

/** The same in hexadecimal, as device types are written. */
inline std::string hexName(std::int64_t number)
{
    std::ostringstream text;
    text << (number < 0 ? "Minus0x" : "0x") << std::hex << std::uppercase << std::abs(number);
    return text.str();
}

} // namespace biz::test

#endif
