#ifndef BIZ_KIT_SEEDS_VIOLATION_H
#define BIZ_KIT_SEEDS_VIOLATION_H

#include <string>

#include <host/vocabulary.h>
#include <kit_seeds/model/journal.h>

namespace biz::kit_seeds {

/** The first thing that did not hold; what follows from it is of no interest. */
class Violation
{
public:
    void note(const std::string &what)
    {
        if (m_text.empty()) {
            journal.tell("VIOLATION: %s", what.c_str());
            m_text = what;
        }
    }

    void require(bool holds, const char *what)
    {
        if (!holds) {
            note(what);
        }
    }

    void require(bool holds, host::Ticket ticket, const char *what)
    {
        if (!holds) {
            note("command " + std::to_string(ticket) + ": " + what);
        }
    }

    /** More about the first thing. */
    void append(const std::string &more) { m_text += more; }

    bool isEmpty() const { return m_text.empty(); }
    const std::string &text() const { return m_text; }

private:
    std::string m_text;
};

} // namespace biz::kit_seeds

#endif
