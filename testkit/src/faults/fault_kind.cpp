#include <testkit/fault_kind.h>

#include <QtCore/QMetaEnum>

namespace biz::testkit {

namespace {

/** Enumerators begin with a capital letter; the names that scripts write do not. */
QString writtenName(const char *enumerator)
{
    QString name = QString::fromLatin1(enumerator);
    name[0] = name.at(0).toLower();
    return name;
}

} // namespace

QString faultName(FaultKind kind)
{
    return faultNames().value(static_cast<int>(kind));
}

std::optional<FaultKind> faultFromName(const QString &name)
{
    const auto index = static_cast<int>(faultNames().indexOf(name));
    return index < 0 ? std::nullopt : std::make_optional(static_cast<FaultKind>(index));
}

/** Made once: each fault that meets a command is told by its name. */
QStringList faultNames()
{
    static const QStringList all = [] {
        const QMetaEnum kinds = QMetaEnum::fromType<FaultKind>();
        QStringList names;
        for (int i = 0; i < kinds.keyCount(); ++i) {
            names.append(writtenName(kinds.key(i)));
        }
        return names;
    }();
    return all;
}

} // namespace biz::testkit
