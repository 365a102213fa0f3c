#ifndef BIZ_REPLY_RULES_VOCABULARY_P_H
#define BIZ_REPLY_RULES_VOCABULARY_P_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

/**
 * The vocabulary in which the protocol's reply rules are written down.
 *
 * How to read a row: `{0xF1, codes(0x08), allOf(indexAtMost(15), lengthIs(354))}` says
 * that a reply with command 0xF1 and sub-code 0x08 is good when its index byte is at most
 * 15 and, tested after that, its length is 354. A row with two rules holds one for each
 * of the two models that share the table. A command or sub-code without a row has no rule:
 * such a reply is accepted.
 */
namespace biz::rules {

/** A number in a reply that bounds can be set to. */
enum class Number : std::uint8_t {
    Index,
    Byte4,
    Byte5,
    Bytes34,  ///< bytes 3 (low) and 4 (high)
    Declared, ///< the declared length
};

/** The largest value that a number can have. */
constexpr int largest(Number number)
{
    switch (number) {
    case Number::Index:
    case Number::Byte4:
    case Number::Byte5:
        return 0xFF;
    case Number::Bytes34:
    case Number::Declared:
        return 0xFFFF;
    }
    throw std::out_of_range("no such number");
}

/** One number of a reply and what it may be, both ends included. As it stands: nothing. */
struct Bounds
{
    Number number = Number::Index;
    std::uint16_t from = 1;
    std::uint16_t to = 0;

    constexpr bool admitNothing() const { return from > to; }
    constexpr bool admitOneValue() const { return from == to; }
};

/** In a table, bounds that no reply can be within do not compile. */
constexpr Bounds within(Number number, int from, int to)
{
    if (from < 0 || from > to || to > largest(number)) {
        throw std::out_of_range("bounds that the number cannot be within");
    }
    return {number, static_cast<std::uint16_t>(from), static_cast<std::uint16_t>(to)};
}
constexpr Bounds atLeast(Number number, int from)
{
    return within(number, from, largest(number));
}
constexpr Bounds exactly(Number number, int value)
{
    return within(number, value, value);
}

/**
 * A reply meets a clause when it is within any of three bounds, of which the first may want a
 * payload too. All clauses have this one form, from which they are judged and put into words.
 */
struct Clause
{
    std::array<Bounds, 3> anyOf;
    std::uint16_t payloadUpTo = 0; ///< the payload holds what is declared; of more than this, it need hold this
};

/** Clauses tested in order; the first that fails rejects. None: every reply is good. */
struct Rule
{
    constexpr Rule() = default;
    constexpr Rule(Clause only)
        : clauses{only}
        , count(1)
    {
    }
    constexpr Rule(Clause first, Clause then)
        : clauses{first, then}
        , count(2)
    {
    }

    constexpr const Clause *begin() const { return clauses.data(); }
    constexpr const Clause *end() const { return clauses.data() + count; }
    constexpr bool empty() const { return count == 0; }

    std::array<Clause, 2> clauses{};
    std::uint8_t count = 0;
};

constexpr Rule noRule{};

/** The index byte that addresses all at once, where a rule admits it. */
constexpr std::uint8_t indexOfAll = 0xFF;

constexpr Clause indexAtMost(int n)
{
    return {{within(Number::Index, 0, n)}};
}
constexpr Clause indexAtMostOrAll(int n)
{
    return {{within(Number::Index, 0, n), exactly(Number::Index, indexOfAll)}};
}
constexpr Clause indexFromTo(int low, int high)
{
    return {{within(Number::Index, low, high)}};
}
constexpr Clause indexNotFromTo(int low, int high)
{
    return {{within(Number::Index, 0, low - 1), atLeast(Number::Index, high + 1)}};
}
constexpr Clause indexZeroOrTwo()
{
    return {{exactly(Number::Index, 0), exactly(Number::Index, 2)}};
}
constexpr Clause byte4AtMost(int n)
{
    return {{within(Number::Byte4, 0, n)}};
}
constexpr Clause byte4FromTo(int low, int high)
{
    return {{within(Number::Byte4, low, high)}};
}
constexpr Clause byte4AtMostOrIs(int n, int other)
{
    return {{within(Number::Byte4, 0, n), exactly(Number::Byte4, other)}};
}
constexpr Clause byte5AtMost(int n)
{
    return {{within(Number::Byte5, 0, n)}};
}
constexpr Clause indexAtMostOrByte4IsOrByte5Set(int index, int byte4)
{
    return {{within(Number::Index, 0, index), exactly(Number::Byte4, byte4), atLeast(Number::Byte5, 1)}};
}
constexpr Clause bytes34FromTo(int low, int high)
{
    return {{within(Number::Bytes34, low, high)}};
}

constexpr Clause withPayload(Clause clause, int upTo)
{
    clause.payloadUpTo = static_cast<std::uint16_t>(upTo);
    return clause;
}
constexpr Clause lengthIs(int length)
{
    return withPayload({{exactly(Number::Declared, length)}}, length);
}
constexpr Clause lengthAtLeast(int length)
{
    // Deliberate: the payload is measured against the bound, not against what is declared.
    return withPayload({{atLeast(Number::Declared, length)}}, length);
}
constexpr Clause lengthFromTo(int low, int high)
{
    return withPayload({{within(Number::Declared, low, high)}}, high);
}
/** The other lengths belong to the protocol and come with any payload, even none. */
template<typename... Length>
constexpr Clause lengthIsOrDeclares(int length, Length... others)
{
    return withPayload({{exactly(Number::Declared, length), exactly(Number::Declared, others)...}}, length);
}

constexpr Rule allOf(Clause first, Clause then)
{
    return {first, then};
}

/** A set of sub-codes; sets are joined with `|`. */
class SubCodes
{
public:
    constexpr bool contains(int code) const
    {
        return (m_bits[static_cast<std::size_t>(code / 64)] >> static_cast<unsigned>(code % 64) & 1U) != 0;
    }

    constexpr bool overlaps(const SubCodes &other) const
    {
        for (std::size_t i = 0; i < m_bits.size(); ++i) {
            if ((m_bits[i] & other.m_bits[i]) != 0) {
                return true;
            }
        }
        return false;
    }

    constexpr SubCodes &add(int first, int last)
    {
        for (int code = first; code <= last; ++code) {
            m_bits[static_cast<std::size_t>(code / 64)] |= std::uint64_t{1} << static_cast<unsigned>(code % 64);
        }
        return *this;
    }

    constexpr friend SubCodes operator|(SubCodes left, SubCodes right)
    {
        for (std::size_t i = 0; i < left.m_bits.size(); ++i) {
            left.m_bits[i] |= right.m_bits[i];
        }
        return left;
    }

private:
    std::array<std::uint64_t, 4> m_bits{};
};

template<typename... Code>
constexpr SubCodes codes(Code... code)
{
    SubCodes set;
    (set.add(code, code), ...);
    return set;
}

constexpr SubCodes codesFromTo(int first, int last)
{
    return SubCodes().add(first, last);
}

constexpr SubCodes everyCode()
{
    return codesFromTo(0x00, 0xFF);
}

/** One row of a protocol table: the rule of each of the two models that share it. */
struct Row
{
    constexpr Row() = default;
    constexpr Row(int commandCode, SubCodes subs, Rule both)
        : Row(commandCode, subs, both, both)
    {
    }
    constexpr Row(int commandCode, SubCodes subs, Rule first, Rule second)
        : command(static_cast<std::uint8_t>(commandCode))
        , subCodes(subs)
        , rules{first, second}
    {
    }

    std::uint8_t command = 0;
    SubCodes subCodes;
    std::array<Rule, 2> rules;
};

} // namespace biz::rules

#endif
