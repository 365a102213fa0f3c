#ifndef BIZ_CONSOLE_EXPECTATION_H
#define BIZ_CONSOLE_EXPECTATION_H

#include <initializer_list>
#include <optional>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/vocabulary.h>

namespace biz::console {

/** Kinds of events, each once. */
class Events
{
public:
    constexpr Events() = default;
    constexpr Events(std::initializer_list<host::EventKind> kinds)
    {
        for (const host::EventKind kind : kinds) {
            add(kind);
        }
    }

    constexpr void add(host::EventKind kind) { m_bits |= bitOf(kind); }
    constexpr bool has(host::EventKind kind) const { return (m_bits & bitOf(kind)) != 0; }
    constexpr bool isEmpty() const { return m_bits == 0; }

    constexpr Events commonWith(Events others) const { return Events(m_bits & others.m_bits); }
    constexpr Events without(Events others) const { return Events(m_bits & ~others.m_bits); }

    constexpr bool operator==(Events other) const { return m_bits == other.m_bits; }
    constexpr bool operator!=(Events other) const { return m_bits != other.m_bits; }

private:
    explicit constexpr Events(quint64 bits)
        : m_bits(bits)
    {
    }
    static constexpr quint64 bitOf(host::EventKind kind) { return quint64{1} << static_cast<int>(kind); }

    quint64 m_bits = 0;
};

/** Whether it can happen to a command on its way to its end, or after it, so that a session can expect it. */
bool isExpectable(host::EventKind kind);
std::optional<host::EventKind> expectableFromName(const QString &name);
QStringList expectableNames();

/** The names of those that are there, but of `sent`: whether a command was sent follows from the rest. */
QStringList namesOf(Events events);

/** Events that may still come when the command has ended. */
constexpr Events eventsAfterTheEnd{host::EventKind::Late, host::EventKind::Duplicate, host::EventKind::Foreign};

/** How a command is to end, and which events other than `sent` happen to it, neither more nor less. */
struct Expectation
{
    host::Outcome outcome = host::Outcome::Answered;
    Events events;

    bool isMetBy(host::Outcome actualOutcome, Events actualEvents) const;
};

/** "gaveUp with resent, late", "answered without events". */
QString endingText(host::Outcome outcome, Events events);

} // namespace biz::console

#endif
