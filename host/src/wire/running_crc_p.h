#ifndef BIZ_HOST_RUNNING_CRC_P_H
#define BIZ_HOST_RUNNING_CRC_P_H

#include <array>

#include <QtCore/qglobal.h>

/**
 * The CRC of any stretch of a stream from two registers noted while the stream passed.
 *
 * A decoder that re-scans after each false start would compute the CRC of the same bytes
 * once for every place where a frame may start: bytes full of start markers would cost it
 * thousands of passes. The register is linear in its start value and in the bytes, so the
 * CRC from s to e follows from the registers at s and at e: two passes serve all starts.
 */
namespace biz::host::crc {

using Register = quint16;

/** The reversed polynomial, start value and final inversion of ISO 3309, as in qChecksum. */
constexpr Register polynomial = 0x8408;
constexpr Register startValue = 0xFFFF;

constexpr int byteBits = 8;

constexpr Register shiftedByOneByte(Register value)
{
    for (int bit = 0; bit < byteBits; ++bit) {
        const bool carry = (value & 1U) != 0;
        value = static_cast<Register>(value >> 1U);
        value = static_cast<Register>(carry ? value ^ polynomial : value);
    }
    return value;
}

/** What each value of a byte adds to the register. */
constexpr std::array<Register, 256> makeByteTable()
{
    std::array<Register, 256> table{};
    for (std::size_t value = 0; value < table.size(); ++value) {
        table[value] = shiftedByOneByte(static_cast<Register>(value));
    }
    return table;
}
inline constexpr auto byteTable = makeByteTable();

/** The register after one byte more. */
constexpr Register advanced(Register value, char byte)
{
    const auto low = static_cast<quint8>(static_cast<quint8>(byte) ^ (value & 0xFFU));
    return static_cast<Register>((value >> static_cast<unsigned>(byteBits)) ^ byteTable[low]);
}

constexpr std::size_t nibbles = 4;
constexpr std::size_t nibbleValues = 16;

/** A linear map of the register: what becomes of each value of each of its nibbles. */
using Map = std::array<std::array<Register, nibbleValues>, nibbles>;

constexpr Register mapped(const Map &map, Register value)
{
    Register result = 0;
    for (std::size_t nibble = 0; nibble < nibbles; ++nibble) {
        result = static_cast<Register>(result ^ map[nibble][value >> 4U * nibble & 0xFU]);
    }
    return result;
}

/** Maps for 1, 2, 4... zero bytes; together they reach beyond the longest frame. */
constexpr int zeroMapCount = 17;

constexpr std::array<Map, zeroMapCount> makeZeroMaps()
{
    std::array<Map, zeroMapCount> maps{};
    for (std::size_t nibble = 0; nibble < nibbles; ++nibble) {
        for (std::size_t value = 0; value < nibbleValues; ++value) {
            maps[0][nibble][value] = shiftedByOneByte(static_cast<Register>(value << 4U * nibble));
        }
    }
    for (std::size_t power = 1; power < zeroMapCount; ++power) {
        for (std::size_t nibble = 0; nibble < nibbles; ++nibble) {
            for (std::size_t value = 0; value < nibbleValues; ++value) {
                maps[power][nibble][value] = mapped(maps[power - 1], maps[power - 1][nibble][value]);
            }
        }
    }
    return maps;
}
inline constexpr auto zeroMaps = makeZeroMaps();

/** The register after `count` zero bytes, which must be below 2 to the power of zeroMapCount. */
constexpr Register afterZeros(Register value, int count)
{
    auto left = static_cast<unsigned>(count);
    for (std::size_t power = 0; left != 0; ++power, left >>= 1U) {
        if ((left & 1U) != 0) {
            value = mapped(zeroMaps[power], value);
        }
    }
    return value;
}

/** The CRC of `size` bytes, from a register that started at 0 earlier: before and after them. */
constexpr Register between(Register before, Register after, int size)
{
    const auto atStart = static_cast<Register>(before ^ startValue);
    return static_cast<Register>(~(afterZeros(atStart, size) ^ after));
}

} // namespace biz::host::crc

#endif
