#ifndef BIZ_SIMULATOR_CANNOT_LISTEN_H
#define BIZ_SIMULATOR_CANNOT_LISTEN_H

#include <stdexcept>

#include <QtCore/QString>

namespace biz::simulator {

/** Devices that cannot be reached: a sentence for people says which, why, and what was expected. */
class CannotListen : public std::runtime_error
{
public:
    explicit CannotListen(const QString &problem)
        : std::runtime_error(problem.toStdString())
    {
    }

    QString text() const { return QString::fromUtf8(what()); }
};

} // namespace biz::simulator

#endif
