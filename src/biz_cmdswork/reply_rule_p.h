#ifndef BIZ_REPLY_RULE_P_H
#define BIZ_REPLY_RULE_P_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/**
 * The vocabulary in which the protocol's reply rules are written down, and the form of a
 * table of them.
 *
 * How to read a row: `{0xF1, codes(0x08), allOf(indexAtMost(15), lengthIs(354))}` says
 * that a reply with command 0xF1 and sub-code 0x08 is good when its index byte is at most
 * 15 and, tested after that, its length is 354. A row with two rules holds one for each
 * of the two models that share the table. A command or sub-code without a row has no rule:
 * such a reply is accepted.
 */
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

/** What a clause tests; `a`, `b` and `c` are the numbers of the clause. */
enum class Check : std::uint8_t {
    IndexAtMost,                    ///< index <= a
    IndexAtMostOrAll,               ///< index <= a, or 0xFF, which addresses all
    IndexFromTo,                    ///< a <= index <= b
    IndexNotFromTo,                 ///< index < a or index > b
    IndexZeroOrTwo,                 ///< no bit of the index set other than bit 1
    Byte4AtMost,                    ///< byte 4 <= a
    Byte4FromTo,                    ///< a <= byte 4 <= b
    Byte4AtMostOrIs,                ///< byte 4 <= a, or == b
    Byte5AtMost,                    ///< byte 5 <= a
    IndexAtMostOrByte4IsOrByte5Set, ///< index <= a, or byte 4 == b, or byte 5 != 0
    Bytes34FromTo,                  ///< a <= the value of bytes 3 (low) and 4 (high) <= b
    LengthIs,                       ///< declared == a and the payload holds at least a
    LengthAtLeast,                  ///< declared >= a and the payload holds at least a
    LengthFromTo,                   ///< a <= declared <= b and the payload holds what is declared
    LengthIsOrDeclares,             ///< as LengthIs, or declared == b or c with any payload
};

/** A number in a reply that bounds can be set to. */
enum class Number : std::uint8_t { Index, Byte4, Byte5, Bytes34, Declared };

/** One number of a reply and what it may be, both ends included. As it stands: nothing. */
struct Bounds
{
    Number number = Number::Index;
    std::uint16_t from = 1;
    std::uint16_t to = 0;
};

constexpr Bounds within(Number number, int from, int to)
{
    return {number, static_cast<std::uint16_t>(from), static_cast<std::uint16_t>(to)};
}
constexpr Bounds exactly(Number number, int value)
{
    return within(number, value, value);
}

/**
 * A clause is its name with its numbers, for people, and its test. The test has one form for
 * all clauses: the reply is within any of three bounds, of which the first may want a payload
 * too. So every reply runs through the same instructions, whatever its rule.
 */
struct Clause
{
    Check check = Check::IndexAtMost;
    std::uint16_t a = 0;
    std::uint16_t b = 0;
    std::uint16_t c = 0;

    std::array<Bounds, 3> anyOf{within(Number::Index, 0, 0xFF)};
    std::uint16_t payloadUpTo = 0; ///< the payload holds what is declared; of more than this, it need hold this
};

/** The index byte that addresses all at once, where a rule admits it. */
constexpr std::uint8_t indexOfAll = 0xFF;

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

    std::array<Clause, 2> clauses{}; ///< those beyond `count` are met by every reply
    std::uint8_t count = 0;
};

constexpr Rule noRule{};

constexpr Clause clause(Check check, std::array<int, 3> numbers, std::array<Bounds, 3> anyOf, int payloadUpTo = 0)
{
    return {check,
            static_cast<std::uint16_t>(numbers[0]),
            static_cast<std::uint16_t>(numbers[1]),
            static_cast<std::uint16_t>(numbers[2]),
            anyOf,
            static_cast<std::uint16_t>(payloadUpTo)};
}

constexpr Clause indexAtMost(int n)
{
    return clause(Check::IndexAtMost, {n}, {within(Number::Index, 0, n)});
}
constexpr Clause indexAtMostOrAll(int n)
{
    return clause(Check::IndexAtMostOrAll, {n}, {within(Number::Index, 0, n), exactly(Number::Index, indexOfAll)});
}
constexpr Clause indexFromTo(int low, int high)
{
    return clause(Check::IndexFromTo, {low, high}, {within(Number::Index, low, high)});
}
constexpr Clause indexNotFromTo(int low, int high)
{
    return clause(Check::IndexNotFromTo, {low, high},
                  {within(Number::Index, 0, low - 1), within(Number::Index, high + 1, 0xFF)});
}
constexpr Clause indexZeroOrTwo()
{
    return clause(Check::IndexZeroOrTwo, {}, {exactly(Number::Index, 0), exactly(Number::Index, 2)});
}
constexpr Clause byte4AtMost(int n)
{
    return clause(Check::Byte4AtMost, {n}, {within(Number::Byte4, 0, n)});
}
constexpr Clause byte4FromTo(int low, int high)
{
    return clause(Check::Byte4FromTo, {low, high}, {within(Number::Byte4, low, high)});
}
constexpr Clause byte4AtMostOrIs(int n, int other)
{
    return clause(Check::Byte4AtMostOrIs, {n, other}, {within(Number::Byte4, 0, n), exactly(Number::Byte4, other)});
}
constexpr Clause byte5AtMost(int n)
{
    return clause(Check::Byte5AtMost, {n}, {within(Number::Byte5, 0, n)});
}
constexpr Clause indexAtMostOrByte4IsOrByte5Set(int index, int byte4)
{
    return clause(Check::IndexAtMostOrByte4IsOrByte5Set, {index, byte4},
                  {within(Number::Index, 0, index), exactly(Number::Byte4, byte4), within(Number::Byte5, 1, 0xFF)});
}
constexpr Clause bytes34FromTo(int low, int high)
{
    return clause(Check::Bytes34FromTo, {low, high}, {within(Number::Bytes34, low, high)});
}
constexpr Clause lengthIs(int length)
{
    return clause(Check::LengthIs, {length}, {exactly(Number::Declared, length)}, length);
}
constexpr Clause lengthAtLeast(int length)
{
    // Deliberate: the payload is measured against the bound, not against what is declared.
    return clause(Check::LengthAtLeast, {length}, {within(Number::Declared, length, 0xFFFF)}, length);
}
constexpr Clause lengthFromTo(int low, int high)
{
    return clause(Check::LengthFromTo, {low, high}, {within(Number::Declared, low, high)}, high);
}
constexpr Clause lengthIsOrDeclares(int length, int other, int another)
{
    // The other lengths belong to the protocol and come with any payload, even none.
    return clause(
        Check::LengthIsOrDeclares, {length, other, another},
        {exactly(Number::Declared, length), exactly(Number::Declared, other), exactly(Number::Declared, another)},
        length);
}
constexpr Clause lengthIsOrDeclares(int length, int other)
{
    return lengthIsOrDeclares(length, other, other);
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

/** False when two rows of a table claim the same sub-code of the same command. */
template<std::size_t Count>
constexpr bool noSubCodeTwice(const std::array<Row, Count> &rows)
{
    for (std::size_t i = 0; i < Count; ++i) {
        for (std::size_t j = i + 1; j < Count; ++j) {
            if (rows[i].command == rows[j].command && rows[i].subCodes.overlaps(rows[j].subCodes)) {
                return false;
            }
        }
    }
    return true;
}

using RowNumbers = std::array<std::uint8_t, 256>;

/** A table together with its index; the index finds a row in two look-ups. */
struct Table
{
    const Row *rows;
    std::size_t rowCount;
    const std::uint8_t *blockOfCommand; ///< 256 entries
    const RowNumbers *rowOfSubCode;     ///< by block; 0: no row, else row number + 1

    const Row *find(std::uint8_t command, std::uint8_t subCode) const
    {
        const Row &found = rowOrNone(command, subCode);
        return &found < rows ? nullptr : &found;
    }

    /** As find(), but with a row without rules where there is none: no jump. */
    const Row &rowOrNone(std::uint8_t command, std::uint8_t subCode) const
    {
        return *(rows - 1 + rowOfSubCode[blockOfCommand[command]][subCode]);
    }
};

/** The index of a table: a block of 256 row numbers for each command that has rows. */
template<const auto &Rows>
class RowIndex
{
public:
    constexpr RowIndex()
    {
        std::uint8_t blocks = 1; // block 0 belongs to the commands without rows
        for (std::size_t row = 0; row < Rows.size(); ++row) {
            m_noRowThenRows[row + 1] = Rows[row];
            std::uint8_t &block = m_blockOfCommand[Rows[row].command];
            if (block == 0) {
                block = blocks++;
            }
            for (std::size_t code = 0; code <= 0xFF; ++code) {
                if (Rows[row].subCodes.contains(static_cast<int>(code))) {
                    m_rowOfSubCode[block][code] = static_cast<std::uint8_t>(row + 1);
                }
            }
        }
    }

    constexpr Table table() const
    {
        return {m_noRowThenRows.data() + 1, Rows.size(), m_blockOfCommand.data(), m_rowOfSubCode.data()};
    }

private:
    static constexpr std::size_t countCommands()
    {
        std::array<bool, 256> seen{};
        std::size_t count = 0;
        for (const Row &row : Rows) {
            if (!seen[row.command]) {
                seen[row.command] = true;
                ++count;
            }
        }
        return count;
    }
    static_assert(Rows.size() < 0xFF, "a row number must fit into the index");

    std::array<Row, Rows.size() + 1> m_noRowThenRows{};
    std::array<std::uint8_t, 256> m_blockOfCommand{};
    std::array<RowNumbers, countCommands() + 1> m_rowOfSubCode{};
};

// Not `&&` and `||`: which part fails changes from reply to reply, and one jump that the
// processor does not foresee costs more than all of the comparisons.
constexpr bool both(bool left, bool right)
{
    return (static_cast<unsigned>(left) & static_cast<unsigned>(right)) != 0;
}
constexpr bool either(bool left, bool right)
{
    return (static_cast<unsigned>(left) | static_cast<unsigned>(right)) != 0;
}

/** A reply with its numbers in the places that bounds name. */
class Numbers
{
public:
    constexpr Numbers(const Reply &reply)
        : m_values{reply.index, reply.byte4, reply.byte5, combineTwoByte(reply.index, reply.byte4),
                   reply.declaredLength()}
        , m_payloadSize(reply.payloadSize)
    {
    }

    constexpr bool areWithin(const Bounds &bounds) const
    {
        const std::uint16_t value = valueOf(bounds.number);
        return both(value >= bounds.from, value <= bounds.to);
    }
    constexpr bool holdPayload(std::uint16_t upTo) const
    {
        return m_payloadSize >= std::min(valueOf(Number::Declared), upTo);
    }

private:
    constexpr std::uint16_t valueOf(Number number) const { return m_values[static_cast<std::size_t>(number)]; }

    std::array<std::uint16_t, 5> m_values; ///< in the order of Number
    int m_payloadSize;
};

/** Whether a reply meets one clause. */
constexpr bool meets(const Numbers &reply, const Clause &clause)
{
    const auto &[first, second, third] = clause.anyOf;
    const bool others = either(reply.areWithin(second), reply.areWithin(third));
    return either(both(reply.areWithin(first), reply.holdPayload(clause.payloadUpTo)), others);
}

/** Whether a reply meets all clauses. */
constexpr bool meets(const Numbers &reply, const Rule &rule)
{
    return both(meets(reply, rule.clauses[0]), meets(reply, rule.clauses[1]));
}

/** The first clause of the rule that the reply does not meet; null when it meets all. */
constexpr const Clause *firstBrokenClause(const Reply &reply, const Rule &rule)
{
    for (const Clause &clause : rule) {
        if (!meets(reply, clause)) {
            return &clause;
        }
    }
    return nullptr;
}

} // namespace biz::rules

#endif
