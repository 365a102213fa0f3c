#ifndef BIZ_REPLY_RULES_TABLE_P_H
#define BIZ_REPLY_RULES_TABLE_P_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <biz_cmdswork/reply_rules/vocabulary_p.h>

/** The form of a table of rules, and the index that finds a row in two look-ups. */
namespace biz::rules {

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

/** A table together with its index. Row 0 has no rules and stands where no row was written. */
class Table
{
public:
    constexpr Table(const Row *noRowThenRows, std::size_t rowCount, const std::uint8_t *blockOfCommand,
                    const RowNumbers *rowOfSubCode)
        : m_rows(noRowThenRows)
        , m_rowCount(rowCount)
        , m_blockOfCommand(blockOfCommand)
        , m_rowOfSubCode(rowOfSubCode)
    {
    }

    /** The rows that were written, in the order of the protocol. */
    constexpr const Row *begin() const { return m_rows + 1; }
    constexpr const Row *end() const { return begin() + m_rowCount; }

    /** The row for a command and sub-code; one without rules where none was written. */
    constexpr const Row &rowOf(std::uint8_t command, std::uint8_t subCode) const
    {
        return m_rows[m_rowOfSubCode[m_blockOfCommand[command]][subCode]];
    }

private:
    const Row *m_rows;
    std::size_t m_rowCount;
    const std::uint8_t *m_blockOfCommand; ///< 256 entries
    const RowNumbers *m_rowOfSubCode;     ///< by block
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
        return {m_noRowThenRows.data(), Rows.size(), m_blockOfCommand.data(), m_rowOfSubCode.data()};
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

} // namespace biz::rules

#endif
