#ifndef BIZ_TESTS_TOOLS_FLEET_FIXTURE_H
#define BIZ_TESTS_TOOLS_FLEET_FIXTURE_H

#include <csignal>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <host/device_fleet.h>
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>
#include <tools/support/fake_device.h>

namespace biz::test {

/** Whether a process runs; one that has ended and was not waited for does not. */
inline bool isRunning(qint64 processId)
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(processId));
    return status.open(QIODevice::ReadOnly) && !status.readAll().contains(") Z ");
}

/** A fleet on devices that the test plays. At the end every command must have ended exactly once. */
class FleetFixture : public ::testing::Test
{
protected:
    FleetFixture()
    {
        // Where the fleet looks for the console.
        const QByteArray beside = QFile::encodeName(QFileInfo(QStringLiteral(BIZ_CONSOLE)).path());
        qputenv("PATH", beside + ':' + qgetenv("PATH"));
        makeFleet();
    }

    void TearDown() override
    {
        if (fleet) {
            for (const QString &name : fleet->names()) {
                fleet->remove(name);
            }
            EXPECT_TRUE(waitFor([this] { return ends.size() == given.size(); }));
        }
        for (const host::Ticket ticket : given) {
            EXPECT_EQ(ends[ticket].size(), 1U) << "ticket " << ticket;
        }
        EXPECT_EQ(ends.size(), given.size()) << "an unknown ticket ended";
    }

    void makeFleet()
    {
        using host::CommandResult;
        using host::DeviceFleet;
        using host::LinkStatus;
        using host::Ticket;
        fleet = std::make_unique<DeviceFleet>(folder.path("fleet"));
        QObject::connect(
            fleet.get(), &DeviceFleet::ended, &m_context,
            [this](const QString &, Ticket ticket, const CommandResult &result) { ends[ticket].push_back(result); });
        QObject::connect(fleet.get(), &DeviceFleet::linkStateChanged, &m_context,
                         [this](const QString &name, const LinkStatus &status) { links[name].push_back(status); });
    }

    /** A device that answers, and its worker, which serves when this returns. */
    void addDevice(const QString &name, const FakeDevice::Behaviour &behaviour = FakeDevice::echo,
                   const host::DeviceSettings &settings = {})
    {
        addDeviceToCome(name, behaviour, settings);
        ASSERT_TRUE(waitForLink(name, host::LinkState::Up));
    }

    /** Does not wait for its link. */
    void addDeviceToCome(const QString &name, const FakeDevice::Behaviour &behaviour = FakeDevice::echo,
                         host::DeviceSettings settings = {})
    {
        devices[name] = std::make_unique<FakeDevice>(behaviour);
        settings.link = QUrl(devices[name]->url());
        ASSERT_TRUE(fleet->add(name, settings)) << fleet->errorString().toStdString();
    }

    bool waitForLink(const QString &name, host::LinkState state)
    {
        return waitFor([&] { return fleet->linkStatus(name).state == state; });
    }

    host::Ticket give(const QString &name, int waitMs = 20000, const host::CommandOptions &options = {})
    {
        model_Protocoldata command = host::makeCommand(0x68, 0x12, "payload");
        command.iWaitTime = waitMs;
        const host::Ticket ticket = fleet->enqueue(name, command, options);
        EXPECT_NE(ticket, 0U) << fleet->errorString().toStdString();
        EXPECT_FALSE(hasEnded(ticket));
        given.insert(ticket);
        return ticket;
    }

    bool hasEnded(host::Ticket ticket) const { return ends.count(ticket) != 0; }
    bool waitForEnd(host::Ticket ticket)
    {
        return waitFor([&] { return hasEnded(ticket); });
    }
    host::CommandResult endOf(host::Ticket ticket)
    {
        return hasEnded(ticket) ? ends[ticket].front() : host::CommandResult();
    }
    /** Waits for its end; "none" if that does not come. */
    QString waitForOutcome(host::Ticket ticket)
    {
        return waitForEnd(ticket) ? outcomeOf(ticket) : QStringLiteral("none");
    }
    QString outcomeOf(host::Ticket ticket) { return host::outcomeName(endOf(ticket).outcome); }

    /** The worker, if there is one at the moment. */
    void kill(const QString &name, int signal = SIGKILL) const
    {
        const auto worker = static_cast<pid_t>(fleet->workerProcessId(name));
        if (worker > 0) { // 0 would mean this program
            ::kill(worker, signal);
        }
    }

    const ScratchFolder folder;
    std::map<QString, std::unique_ptr<FakeDevice>> devices;
    std::unique_ptr<host::DeviceFleet> fleet;
    std::set<host::Ticket> given;
    std::map<host::Ticket, std::vector<host::CommandResult>> ends;
    std::map<QString, std::vector<host::LinkStatus>> links;

private:
    QObject m_context;
};

} // namespace biz::test

#endif
