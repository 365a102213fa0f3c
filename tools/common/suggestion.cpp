#include <common/suggestion.h>

#include <algorithm>
#include <vector>

namespace biz::tools {

namespace {

/** Of the letters of a word, one in so many may be wrong; of short words one. */
constexpr int lettersPerMistake = 3;

/** Longer texts are no misspelt words, and comparing them would take long. */
constexpr int longestWord = 64;

/** How many letters have to be put in, left out, replaced or swapped with their neighbour. */
int mistakesBetween(const QString &from, const QString &to)
{
    const auto size = static_cast<std::size_t>(to.size()) + 1;
    std::vector<int> beforeLast(size);
    std::vector<int> last(size);
    std::vector<int> row(size);
    for (std::size_t j = 0; j < size; ++j) {
        last[j] = static_cast<int>(j);
    }
    for (int i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (int j = 1; j <= to.size(); ++j) {
            const auto at = static_cast<std::size_t>(j);
            const bool same = from.at(i - 1) == to.at(j - 1);
            row[at] = std::min({last[at] + 1, row[at - 1] + 1, last[at - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && from.at(i - 1) == to.at(j - 2) && from.at(i - 2) == to.at(j - 1)) {
                row[at] = std::min(row[at], beforeLast[at - 2] + 1);
            }
        }
        beforeLast.swap(last);
        last.swap(row);
    }
    return last[size - 1];
}

} // namespace

QString closestTo(const QString &misspelt, const QStringList &words)
{
    QString closest;
    if (misspelt.size() > longestWord) {
        return closest;
    }
    const QString lower = misspelt.toLower();
    int fewest = std::max(1, static_cast<int>(misspelt.size()) / lettersPerMistake) + 1;
    for (const QString &word : words) {
        const int mistakes = mistakesBetween(lower, word.toLower());
        // A word of which half is wrong may as well be another one.
        if (mistakes < fewest && mistakes * 2 < word.size()) {
            fewest = mistakes;
            closest = word;
        }
    }
    return closest;
}

QString suggestionFor(const QString &misspelt, const QStringList &words)
{
    const QString closest = closestTo(misspelt, words);
    return closest.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(closest);
}

} // namespace biz::tools
