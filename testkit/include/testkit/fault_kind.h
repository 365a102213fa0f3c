#ifndef BIZ_TESTKIT_FAULT_KIND_H
#define BIZ_TESTKIT_FAULT_KIND_H

#include <optional>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::testkit {

Q_NAMESPACE

/** What a simulated device, or the line to it, can do wrong with one command. */
enum class FaultKind {
    Silence,         ///< no reply
    Late,            ///< a good reply, later than the host waits
    DeclaredLength,  ///< head bytes 4 and 5 say what the rule refuses
    ShortPayload,    ///< fewer payload bytes than the rule asks for
    IndexOutOfRange, ///< an index byte that the rule refuses
    Duplicate,       ///< a good reply, twice
    WrongSequence,   ///< a good reply to a command that was not given
    FlippedBits,     ///< a good reply, up to three bits of whose frame are turned
    SplitFrames,     ///< a good reply, in pieces that arrive one after the other
    MergedFrames,    ///< a good reply that waits for the next one and leaves in one write with it
    Junk,            ///< a good reply behind bytes of no frame
    Close,           ///< no reply; the connection is closed
    Vanish,          ///< no reply; nothing listens at the address for a while
    Burst,           ///< many replies that nobody asked for, and then a good one
    Stall,           ///< no reply; the connection stays, and nothing is read from it for a while
    Blackout,        ///< no reply, nor to any command for a while; nothing is closed
};
Q_ENUM_NS(FaultKind)

constexpr int faultKinds = static_cast<int>(FaultKind::Blackout) + 1;

/** The name as scripts and the command line write it: "silence", "declaredLength"... */
QString faultName(FaultKind kind);

std::optional<FaultKind> faultFromName(const QString &name);

/** All names, for messages about what was expected. */
QStringList faultNames();

} // namespace biz::testkit

#endif
