#include <testkit/fault_kind.h>

#include <array>

namespace biz::testkit {

namespace {

struct NamedFault
{
    FaultKind kind;
    const char *name;
};

constexpr std::array namedFaults = {
    NamedFault{FaultKind::Silence, "silence"},
    NamedFault{FaultKind::Late, "late"},
    NamedFault{FaultKind::DeclaredLength, "declaredLength"},
    NamedFault{FaultKind::ShortPayload, "shortPayload"},
    NamedFault{FaultKind::IndexOutOfRange, "indexOutOfRange"},
    NamedFault{FaultKind::Duplicate, "duplicate"},
    NamedFault{FaultKind::WrongSequence, "wrongSequence"},
    NamedFault{FaultKind::FlippedBits, "flippedBits"},
    NamedFault{FaultKind::SplitFrames, "splitFrames"},
    NamedFault{FaultKind::MergedFrames, "mergedFrames"},
    NamedFault{FaultKind::Junk, "junk"},
    NamedFault{FaultKind::Close, "close"},
    NamedFault{FaultKind::Vanish, "vanish"},
    NamedFault{FaultKind::Burst, "burst"},
    NamedFault{FaultKind::Stall, "stall"},
    NamedFault{FaultKind::Blackout, "blackout"},
};

static_assert(namedFaults.size() == faultKinds, "every kind has a name");

} // namespace

QString faultName(FaultKind kind)
{
    for (const NamedFault &named : namedFaults) {
        if (named.kind == kind) {
            return QString::fromLatin1(named.name);
        }
    }
    return {};
}

std::optional<FaultKind> faultFromName(const QString &name)
{
    for (const NamedFault &named : namedFaults) {
        if (name == QLatin1String(named.name)) {
            return named.kind;
        }
    }
    return std::nullopt;
}

QStringList faultNames()
{
    QStringList names;
    for (const NamedFault &named : namedFaults) {
        names << QString::fromLatin1(named.name);
    }
    return names;
}

} // namespace biz::testkit
