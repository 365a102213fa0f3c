#ifndef BIZ_REPORT_INKS_H
#define BIZ_REPORT_INKS_H

#include <cstddef>
#include <iterator>

namespace biz::report {

/** What a colour is for. */
enum class Ink {
    Page,
    Text,
    Quiet,    ///< text that is not what one came for
    Rule,     ///< lines of tables and grids
    Band,     ///< behind a row of a drawing
    Card,     ///< behind a text that stands out
    Good,     ///< answered
    Bad,      ///< given up, refused, silent
    BadSoft,  ///< behind what is drawn in Bad
    Late,     ///< late, and sent again
    Odd,      ///< replies that nobody waited for
    Down,     ///< the link was down
    DownSoft, ///< behind what is drawn in Down
    Neutral,
    Sky, ///< sent without waiting for a reply
    MarkedBack,
};

/** An ink by the name that style sheets have for it, on a light and on a dark page. */
struct InkRow
{
    Ink ink;
    const char *name;
    const char *light;
    const char *dark;
};

/** In the order of Ink. People with any kind of colour blindness tell Good, Bad, Late and Odd apart. */
constexpr InkRow inks[] = {
    {Ink::Page, "page", "#ffffff", "#14171a"},
    {Ink::Text, "text", "#1b1f24", "#e8eaed"},
    {Ink::Quiet, "quiet", "#57606a", "#a3abb3"},
    {Ink::Rule, "rule", "#d0d7de", "#3a4149"},
    {Ink::Band, "band", "#f3f5f7", "#1d2227"},
    {Ink::Card, "card", "#f6f8fa", "#1d2227"},
    {Ink::Good, "good", "#0072b2", "#58a9e0"},
    {Ink::Bad, "bad", "#c04a00", "#ff8a4c"},
    {Ink::BadSoft, "bad-soft", "#fbe3d4", "#4a2a18"},
    {Ink::Late, "late", "#8a5a00", "#f0b43c"},
    {Ink::Odd, "odd", "#8f4375", "#dd95c0"},
    {Ink::Down, "down", "#3b4046", "#b9c0c8"},
    {Ink::DownSoft, "down-soft", "#e1e4e8", "#2f353c"},
    {Ink::Neutral, "neutral", "#8b949e", "#7d8790"},
    {Ink::Sky, "sky", "#56b4e9", "#8fd0f5"},
    {Ink::MarkedBack, "mark", "#ffd8b5", "#6b3a14"},
};

constexpr bool areInksInOrder()
{
    for (std::size_t i = 0; i < std::size(inks); ++i) {
        if (inks[i].ink != static_cast<Ink>(i)) {
            return false;
        }
    }
    return true;
}
static_assert(areInksInOrder());

} // namespace biz::report

#endif
