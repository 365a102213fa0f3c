#ifndef BIZ_TESTS_HOST_SUPERVISED_LINK_H
#define BIZ_TESTS_HOST_SUPERVISED_LINK_H

#include <QtCore/QMetaEnum>
#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <link/link_supervisor_p.h>

#include <host/support/wait_for.h>

namespace biz::test {

/** A supervisor, and a journal of what it told. */
class SupervisedLink : public testing::Test
{
protected:
    using Milliseconds = std::chrono::milliseconds;

    SupervisedLink()
    {
        using host::LinkSupervisor;
        QObject::connect(&supervisor, &LinkSupervisor::stateChanged, &supervisor,
                         [this](const host::LinkStatus &status) {
                             told.append(QString::fromLatin1(
                                 QMetaEnum::fromType<host::LinkState>().valueToKey(static_cast<int>(status.state))));
                         });
        QObject::connect(&supervisor, &LinkSupervisor::up, &supervisor, [this] { told.append(QStringLiteral("up")); });
        QObject::connect(&supervisor, &LinkSupervisor::lost, &supervisor, [this](const host::LinkStatus &status) {
            told.append(QStringLiteral("lost"));
            losses.append(status);
        });
        QObject::connect(&supervisor, &LinkSupervisor::received, &supervisor,
                         [this](const QByteArray &bytes) { received += bytes; });
        QObject::connect(&supervisor, &LinkSupervisor::writable, &supervisor, [this] { ++writable; });
    }

    bool waitForUp()
    {
        return waitFor([this] { return supervisor.isUp(); });
    }

    bool waitForLosses(int count, int milliseconds = patienceMs)
    {
        return waitFor([this, count] { return losses.size() >= count; }, milliseconds);
    }

    host::LinkSupervisor supervisor;
    QStringList told;
    QList<host::LinkStatus> losses;
    QByteArray received;
    int writable = 0;
};

} // namespace biz::test

#endif
