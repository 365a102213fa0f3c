#include "listing.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace listing {

namespace {

std::vector<std::string> split(const std::string &text, const std::string &separator)
{
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(separator, begin)) != std::string::npos; begin = end + separator.size()) {
        pieces.push_back(text.substr(begin, end - begin));
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::vector<std::string> words(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> found;
    for (std::string word; stream >> word;) {
        found.push_back(word);
    }
    return found;
}

int number(const std::string &text, int base, int highest)
{
    std::size_t used = 0;
    int value = -1;
    try {
        value = std::stoi(text, &used, base);
    } catch (const std::logic_error &) {
        used = 0;
    }
    if (used == 0 || used != text.size() || value < 0 || value > highest) {
        throw std::runtime_error("not a number up to " + std::to_string(highest) + ": \"" + text + '"');
    }
    return value;
}

/** "L..H" or one number for both. */
Span span(const std::string &text, int highest)
{
    const std::vector<std::string> ends = split(text, "..");
    if (ends.size() > 2) {
        throw std::runtime_error("not a span: \"" + text + '"');
    }
    const Span result{number(ends.front(), 10, highest), number(ends.back(), 10, highest)};
    if (result.low > result.high) {
        throw std::runtime_error("a span that ends before it begins: \"" + text + '"');
    }
    return result;
}

std::vector<int> subCodes(const std::string &text)
{
    std::vector<int> codes;
    for (const std::string &word : words(text == "*" ? std::string("00-FF") : text)) {
        const std::vector<std::string> ends = split(word, "-");
        const int last = number(ends.back(), 16, 0xFF);
        for (int code = number(ends.front(), 16, 0xFF); code <= last; ++code) {
            codes.push_back(code);
        }
    }
    if (codes.empty()) {
        throw std::runtime_error("no sub-code");
    }
    return codes;
}

Alternative alternative(const std::string &text)
{
    const std::vector<std::string> word = words(text);
    if (word.size() == 4 && word[0] == "len" && word[2] == "data") {
        return {Field::Len, span(word[1], 0xFFFF), number(word[3], 10, 0xFFFF)};
    }
    if (word.size() == 2) {
        if (word[0] == "b3") {
            return {Field::B3, span(word[1], 0xFF), 0};
        }
        if (word[0] == "b4") {
            return {Field::B4, span(word[1], 0xFF), 0};
        }
        if (word[0] == "b5") {
            return {Field::B5, span(word[1], 0xFF), 0};
        }
        if (word[0] == "b4b3") {
            return {Field::B4B3, span(word[1], 0xFFFF), 0};
        }
    }
    throw std::runtime_error("not a condition: \"" + text + '"');
}

Line parseLine(const std::string &text)
{
    const std::vector<std::string> column = split(text, "\t");
    if (column.size() != 4) {
        throw std::runtime_error("not four columns");
    }
    Line line;
    line.text = text;
    line.command = number(column[0], 16, 0xFF);
    line.subCodes = subCodes(column[1]);
    for (const std::string &conditions : split(column[2], ";")) {
        Part part;
        for (const std::string &condition : split(conditions, " or ")) {
            part.push_back(alternative(condition));
        }
        line.parts.push_back(part);
    }
    line.says = column[3] == "-" ? std::string() : column[3];
    return line;
}

} // namespace

bool Alternative::meets(const Wire &wire) const
{
    switch (field) {
    case Field::B3:
        return span.holds(wire.b3);
    case Field::B4:
        return span.holds(wire.b4);
    case Field::B5:
        return span.holds(wire.b5);
    case Field::B4B3:
        return span.holds(wire.b4 * 256 + wire.b3);
    case Field::Len:
        return span.holds(wire.declared()) && wire.payload >= leastPayload;
    }
    return false;
}

bool Line::accepts(const Wire &wire) const
{
    return std::all_of(parts.begin(), parts.end(), [&wire](const Part &part) {
        return std::any_of(part.begin(), part.end(), [&wire](const Alternative &one) { return one.meets(wire); });
    });
}

bool Line::looksAt(Field field) const
{
    return std::any_of(parts.begin(), parts.end(), [field](const Part &part) {
        return std::any_of(part.begin(), part.end(), [field](const Alternative &one) { return one.field == field; });
    });
}

Listing Listing::read(const std::string &path)
{
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error(path + ": cannot be opened");
    }
    std::ostringstream content;
    content << file.rdbuf();
    return parse(path, content.str());
}

Listing Listing::parse(const std::string &name, const std::string &content)
{
    Listing result;
    std::istringstream stream(content);
    int lineNumber = 0;
    for (std::string text; std::getline(stream, text);) {
        ++lineNumber;
        if (text.empty() || text.front() == '#') {
            continue;
        }
        try {
            Line line = parseLine(text);
            line.number = lineNumber;
            result.add(line);
        } catch (const std::runtime_error &error) {
            throw std::runtime_error(name + ':' + std::to_string(lineNumber) + ": " + error.what());
        }
    }
    return result;
}

namespace {

std::size_t placeOf(int command, int subCode)
{
    constexpr std::size_t subCodes = 0x100;
    return static_cast<std::size_t>(command) * subCodes + static_cast<std::size_t>(subCode);
}

} // namespace

const Line *Listing::find(int command, int subCode) const
{
    const int position = m_lineOfPair[placeOf(command, subCode)];
    return position == 0 ? nullptr : &m_lines[static_cast<std::size_t>(position - 1)];
}

void Listing::add(Line line)
{
    m_lines.push_back(line);
    for (const int subCode : line.subCodes) {
        int &position = m_lineOfPair[placeOf(line.command, subCode)];
        if (position != 0) {
            throw std::runtime_error("a sub-code that line " +
                                     std::to_string(m_lines[static_cast<std::size_t>(position - 1)].number) +
                                     " has already");
        }
        position = static_cast<int>(m_lines.size());
    }
}

} // namespace listing
