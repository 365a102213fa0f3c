#ifndef BIZ_SIMULATOR_FAULT_KIND_H
#define BIZ_SIMULATOR_FAULT_KIND_H

#include <optional>

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::simulator {

/** What a simulated device can do wrong with one command. */
enum class FaultKind {
    Silence,         ///< no reply
    Late,            ///< a good reply, later than the host waits
    DeclaredLength,  ///< head bytes 4 and 5 say what the rule refuses
    ShortPayload,    ///< fewer payload bytes than the rule asks for
    IndexOutOfRange, ///< an index byte that the rule refuses
    Duplicate,       ///< a good reply, twice
    WrongSequence,   ///< a good reply to a command that was not given
};

/** The name as scripts and the command line write it: "silence", "declaredLength"... */
QString faultName(FaultKind kind);

std::optional<FaultKind> faultFromName(const QString &name);

/** All names, for messages about what was expected. */
QStringList faultNames();

} // namespace biz::simulator

#endif
