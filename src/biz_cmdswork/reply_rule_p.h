#ifndef BIZ_REPLY_RULE_P_H
#define BIZ_REPLY_RULE_P_H

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

struct Clause
{
    Check check = Check::IndexAtMost;
    std::uint16_t a = 0;
    std::uint16_t b = 0;
    std::uint16_t c = 0;
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

    std::array<Clause, 2> clauses{};
    std::uint8_t count = 0;
};

constexpr Rule noRule{};

constexpr Clause clause(Check check, int a, int b = 0, int c = 0)
{
    return {check, static_cast<std::uint16_t>(a), static_cast<std::uint16_t>(b), static_cast<std::uint16_t>(c)};
}

constexpr Clause indexAtMost(int n)
{
    return clause(Check::IndexAtMost, n);
}
constexpr Clause indexAtMostOrAll(int n)
{
    return clause(Check::IndexAtMostOrAll, n);
}
constexpr Clause indexFromTo(int low, int high)
{
    return clause(Check::IndexFromTo, low, high);
}
constexpr Clause indexNotFromTo(int low, int high)
{
    return clause(Check::IndexNotFromTo, low, high);
}
constexpr Clause indexZeroOrTwo()
{
    return clause(Check::IndexZeroOrTwo, 0);
}
constexpr Clause byte4AtMost(int n)
{
    return clause(Check::Byte4AtMost, n);
}
constexpr Clause byte4FromTo(int low, int high)
{
    return clause(Check::Byte4FromTo, low, high);
}
constexpr Clause byte4AtMostOrIs(int n, int other)
{
    return clause(Check::Byte4AtMostOrIs, n, other);
}
constexpr Clause byte5AtMost(int n)
{
    return clause(Check::Byte5AtMost, n);
}
constexpr Clause indexAtMostOrByte4IsOrByte5Set(int index, int byte4)
{
    return clause(Check::IndexAtMostOrByte4IsOrByte5Set, index, byte4);
}
constexpr Clause bytes34FromTo(int low, int high)
{
    return clause(Check::Bytes34FromTo, low, high);
}
constexpr Clause lengthIs(int length)
{
    return clause(Check::LengthIs, length);
}
constexpr Clause lengthAtLeast(int length)
{
    return clause(Check::LengthAtLeast, length);
}
constexpr Clause lengthFromTo(int low, int high)
{
    return clause(Check::LengthFromTo, low, high);
}
constexpr Clause lengthIsOrDeclares(int length, int other)
{
    return clause(Check::LengthIsOrDeclares, length, other, other);
}
constexpr Clause lengthIsOrDeclares(int length, int other, int another)
{
    return clause(Check::LengthIsOrDeclares, length, other, another);
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

    std::uint8_t command;
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
        const std::uint8_t number = rowOfSubCode[blockOfCommand[command]][subCode];
        return number == 0 ? nullptr : rows + number - 1;
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

    constexpr Table table() const { return {Rows.data(), Rows.size(), m_blockOfCommand.data(), m_rowOfSubCode.data()}; }

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

    std::array<std::uint8_t, 256> m_blockOfCommand{};
    std::array<RowNumbers, countCommands() + 1> m_rowOfSubCode{};
};

constexpr bool within(int value, int low, int high)
{
    return value >= low && value <= high;
}

/** Whether a reply meets one clause. */
constexpr bool meets(const Reply &reply, const Clause &clause)
{
    const int declared = reply.declaredLength();
    const int payload = reply.payloadSize;

    switch (clause.check) {
    case Check::IndexAtMost:
        return reply.index <= clause.a;
    case Check::IndexAtMostOrAll:
        return reply.index <= clause.a || reply.index == indexOfAll;
    case Check::IndexFromTo:
        return within(reply.index, clause.a, clause.b);
    case Check::IndexNotFromTo:
        return !within(reply.index, clause.a, clause.b);
    case Check::IndexZeroOrTwo:
        return (reply.index & ~0x02U) == 0;
    case Check::Byte4AtMost:
        return reply.byte4 <= clause.a;
    case Check::Byte4FromTo:
        return within(reply.byte4, clause.a, clause.b);
    case Check::Byte4AtMostOrIs:
        return reply.byte4 <= clause.a || reply.byte4 == clause.b;
    case Check::Byte5AtMost:
        return reply.byte5 <= clause.a;
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return reply.index <= clause.a || reply.byte4 == clause.b || reply.byte5 != 0;
    case Check::Bytes34FromTo:
        return within(combineTwoByte(reply.index, reply.byte4), clause.a, clause.b);
    case Check::LengthIs:
        return declared == clause.a && payload >= clause.a;
    case Check::LengthAtLeast:
        // Deliberate: the payload is measured against the bound, not against what is declared.
        return declared >= clause.a && payload >= clause.a;
    case Check::LengthFromTo:
        return within(declared, clause.a, clause.b) && payload >= declared;
    case Check::LengthIsOrDeclares:
        // The other lengths belong to the protocol and come with any payload, even none.
        return declared == clause.a ? payload >= clause.a : declared == clause.b || declared == clause.c;
    }
    return true;
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
