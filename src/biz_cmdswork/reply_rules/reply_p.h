#ifndef BIZ_REPLY_RULES_REPLY_P_H
#define BIZ_REPLY_RULES_REPLY_P_H

#include <cstdint>

namespace biz::rules {

/** The 16-bit value of two bytes, the low one first. */
constexpr std::uint16_t combineTwoByte(std::uint8_t low, std::uint8_t high)
{
    return static_cast<std::uint16_t>((high << 8U) + low);
}

/** What a rule may look at in a reply. */
struct Reply
{
    std::uint8_t command = 0;
    std::uint8_t subCode = 0;
    std::uint8_t index = 0;
    std::uint8_t byte4 = 0;
    std::uint8_t byte5 = 0;
    int payloadSize = 0;

    /** The reply's own statement of its payload length. */
    constexpr std::uint16_t declaredLength() const { return combineTwoByte(byte4, byte5); }
};

} // namespace biz::rules

#endif
