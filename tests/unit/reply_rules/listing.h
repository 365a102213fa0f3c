#ifndef BIZ_TESTS_LISTING_H
#define BIZ_TESTS_LISTING_H

#include <array>
#include <string>
#include <vector>

/**
 * The hand-typed listings of tests/data and what they say about a reply.
 *
 * This is the oracle of the reply rules: it reads the protocol in words of its own and
 * shares nothing with the library, so that an error of either shows as a disagreement.
 */
namespace listing {

/** What of a reply can be judged: bytes 3, 4 and 5 of its head and its payload's size. */
struct Wire
{
    int b3 = 0;
    int b4 = 0;
    int b5 = 0;
    int payload = 0;

    int declared() const { return b5 * 256 + b4; }
};

struct Span
{
    int low = 0;
    int high = 0;

    bool holds(int value) const { return value >= low && value <= high; }
};

enum class Field { B3, B4, B5, B4B3, Len };

struct Alternative
{
    Field field = Field::B3;
    Span span;
    int leastPayload = 0; ///< counts for Field::Len only

    bool meets(const Wire &wire) const;
};

/** One of the alternatives must be met. */
using Part = std::vector<Alternative>;

struct Line
{
    int number = 0;   ///< in its file
    std::string text; ///< as typed
    int command = 0;
    std::vector<int> subCodes;
    std::vector<Part> parts; ///< all must be met
    std::string says;        ///< debug line of a reply that breaks it; empty: none

    bool accepts(const Wire &wire) const;
    bool looksAt(Field field) const;
};

/** Every command and sub-code of one model. */
class Listing
{
public:
    /** Throws std::runtime_error, with file and line, for anything that it does not know. */
    static Listing read(const std::string &path);
    static Listing parse(const std::string &name, const std::string &content);

    const std::vector<Line> &lines() const { return m_lines; }

    /** The line that judges a command and sub-code; null where there is none. */
    const Line *find(int command, int subCode) const;

private:
    void add(Line line);

    std::vector<Line> m_lines;
    std::array<int, 0x10000> m_lineOfPair{}; ///< 0: none, else position + 1
};

} // namespace listing

#endif
