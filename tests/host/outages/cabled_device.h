#ifndef BIZ_TESTS_HOST_OUTAGES_CABLED_DEVICE_H
#define BIZ_TESTS_HOST_OUTAGES_CABLED_DEVICE_H

#include <memory>

#include "outage_fixture.h"
#include "tcp_device.h"
#include <host/support/cable.h>

namespace biz::test {

/** The namespaces are made first: who is no administrator can make them only while there is no further thread. */
class CableFirst
{
protected:
    const Cable cable;
};

/** A host and a device, and a cable between them. */
class CabledDevice : private CableFirst, public OutageFixture
{
protected:
    using CableFirst::cable;

    void SetUp() override
    {
        if (!cable.problem().isEmpty()) {
            GTEST_SKIP() << cable.problem().toStdString();
        }
        cable.resolveForGood();
        cable.atDevice(
            [this] { device = std::make_unique<TcpDevice>(QHostAddress(QLatin1String(Cable::deviceAddress()))); });
        device->onCommand = [this](const model_Protocoldata &command) {
            noteArrival(command);
        };
        beforeAnEndIsNoted = [this] {
            device->readAll();
        };
        startUp(device->url());
    }

    /** Commands go to and fro; then the cable is out. */
    void pullCableUnderTraffic()
    {
        beginTraffic();
        ASSERT_TRUE(waitForAnswers(3));
        clock.start();
        cable.pull();
    }

    /** Returns how long the first answer takes from the moment at which the line stands again. */
    int plugAndWaitForAnswer()
    {
        cable.plug();
        QElapsedTimer sinceReturn;
        sinceReturn.start();
        EXPECT_TRUE(waitForAnswers(1));
        return static_cast<int>(sinceReturn.elapsed());
    }

    /** The former connections are over on both sides, so that nothing can arrive on them any more. */
    void expectOneConnection()
    {
        device->probe();
        EXPECT_TRUE(waitFor([this] { return device->connections() == 1; }));
    }

    QElapsedTimer clock; ///< since the line has failed
    std::unique_ptr<TcpDevice> device;
};

} // namespace biz::test

#endif
