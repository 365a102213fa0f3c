#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <biz_simulator/options/device_file.h>
#include <common/errors.h>
#include <common/json/json_reader.h>
#include <faults/fault_plan_p.h>
#include <faults/wire_faults_p.h>
#include <host/support/wait_for.h>
#include <lines/peer_p.h>

namespace {

using namespace biz::simulator;
using biz::test::waitFor;

constexpr quint32 draws = 2000;

// --- What happens to bytes ---------------------------------------------------------------

QByteArray someFrame()
{
    model_Protocoldata record;
    record.ucHead[1] = 0xF1;
    record.baData = QByteArray(30, 'x');
    return biz::host::DemoFrameCodec().encode(record);
}

TEST(WireFaults, FlippedBitsNeverLeaveAFrame)
{
    for (quint32 draw = 0; draw < draws; ++draw) {
        biz::host::DemoFrameCodec codec;
        EXPECT_TRUE(codec.decode(withFlippedBits(someFrame(), draw)).records.isEmpty()) << "draw " << draw;
    }
}

TEST(WireFaults, PiecesAreTwoToFourAndMakeUpTheFrame)
{
    std::set<qsizetype> counts;
    for (quint32 draw = 0; draw < draws; ++draw) {
        const QVector<QByteArray> pieces = piecesOf(someFrame(), draw);
        QByteArray all;
        for (const QByteArray &piece : pieces) {
            EXPECT_FALSE(piece.isEmpty());
            all += piece;
        }
        EXPECT_EQ(all, someFrame());
        counts.insert(pieces.size());
    }
    EXPECT_EQ(counts, (std::set<qsizetype>{2, 3, 4}));
}

TEST(WireFaults, JunkIsTwoToSixtyFourBytesThatAreRefusedAndHideNoFrame)
{
    for (quint32 draw = 0; draw < draws; ++draw) {
        const QByteArray junk = junkBytes(draw);
        EXPECT_GE(junk.size(), 2);
        EXPECT_LE(junk.size(), 64);
        biz::host::DemoFrameCodec codec;
        const biz::host::Decoded decoded = codec.decode(junk + someFrame());
        EXPECT_EQ(decoded.records.size(), 1) << "draw " << draw;
        EXPECT_FALSE(decoded.refusals.isEmpty()) << "draw " << draw;
    }
}

TEST(WireFaults, FlippedBitsCostOneFrameOfAStreamOnly)
{
    for (quint32 draw = 0; draw < draws; ++draw) {
        biz::host::DemoFrameCodec codec;
        EXPECT_EQ(codec.decode(withFlippedBits(someFrame(), draw) + someFrame()).records.size(), 1) << "draw " << draw;
    }
}

TEST(WireFaults, SameDrawDoesTheSame)
{
    EXPECT_EQ(withFlippedBits(someFrame(), 5), withFlippedBits(someFrame(), 5));
    EXPECT_EQ(piecesOf(someFrame(), 5), piecesOf(someFrame(), 5));
    EXPECT_EQ(junkBytes(5), junkBytes(5));
    EXPECT_NE(junkBytes(5), junkBytes(6));
}

/** A host that notes each write and its time. */
class NotingPeer final : public Peer
{
public:
    NotingPeer()
        : Peer(std::make_unique<biz::host::DemoFrameCodec>())
    {
        clock.start();
    }

    bool isOpen() const override { return open; }
    void hangUp() override { open = false; }

    QVector<QByteArray> written;
    QVector<qint64> times;
    QElapsedTimer clock;
    bool open = true;

protected:
    void write(const QByteArray &bytes) override
    {
        written.append(bytes);
        times.append(clock.elapsed());
    }
};

TEST(SimulatorPeer, WritesPartsApartAndWhatIsSentLaterAfterThem)
{
    NotingPeer peer;
    EXPECT_EQ(peer.send({"a", "b", "c"}, 30), Peer::Sending::Done);
    EXPECT_EQ(peer.send({"d"}, 0), Peer::Sending::Done);
    ASSERT_TRUE(waitFor([&] { return peer.written.size() == 4; }));
    EXPECT_EQ(peer.written, (QVector<QByteArray>{"a", "b", "c", "d"}));
    EXPECT_GE(peer.times.at(1) - peer.times.at(0), 29);
    EXPECT_GE(peer.times.at(2) - peer.times.at(1), 29);
}

TEST(SimulatorPeer, TakesNothingOnceItIsGone)
{
    NotingPeer peer;
    peer.hangUp();
    EXPECT_EQ(peer.send({"a"}, 0), Peer::Sending::HostIsGone);
    EXPECT_TRUE(peer.written.isEmpty());
}

// --- Where devices listen ------------------------------------------------------------------

QString readBack(const QString &url)
{
    ListenAddress address;
    try {
        address = readListenUrl(url);
    } catch (const biz::tools::UsageError &error) {
        return error.text();
    }
    return address.scheme == Scheme::Serial ? QStringLiteral("serial %1").arg(address.path)
                                            : urlOf(address.scheme, address.host, address.port);
}

TEST(ListenUrl, NamesSchemeAddressAndPort)
{
    EXPECT_EQ(readBack("tcp://127.0.0.1:9000"), "tcp://127.0.0.1:9000");
    EXPECT_EQ(readBack("udp://127.0.0.1"), "udp://127.0.0.1:15700");
    EXPECT_EQ(readBack("udp://[::1]:0"), "udp://[::1]:0");
    EXPECT_EQ(readBack("serial:"), "serial ");
    EXPECT_EQ(readBack("serial:///tmp/a2"), "serial /tmp/a2");
}

TEST(ListenUrl, OfAnotherFormIsRefused)
{
    for (const char *url : {"", "tcp", "tcp://", "tcp://host:1", "tcp://127.0.0.1:65536", "tcp://127.0.0.1/path",
                            "http://127.0.0.1", "udp://me@127.0.0.1", "serial:a2", "serial://a2", "serial:///",
                            "serial:///tmp/a2?baud=9600", "127.0.0.1:15700"}) {
        EXPECT_EQ(
            readBack(url),
            QStringLiteral("\"%1\": expected tcp://ADDRESS[:PORT], udp://ADDRESS[:PORT], serial: or serial:///PATH")
                .arg(url));
    }
}

// --- Files of devices ------------------------------------------------------------------------

TEST(DeviceFile, ExampleDescribesADeviceForEachKindOfLine)
{
    QFile file(QStringLiteral(BIZ_SESSIONS "/../devices/wall.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const Settings settings = readDeviceFile({"wall.json", file.readAll()});
    ASSERT_EQ(settings.devices.size(), 4);
    EXPECT_EQ(settings.devices.at(0).name, "left");
    EXPECT_EQ(settings.devices.at(0).delayMs, 5);
    EXPECT_EQ(settings.devices.at(0).faults.rates.size(), 3);
    EXPECT_EQ(settings.devices.at(1).listen.scheme, Scheme::Udp);
    EXPECT_EQ(settings.devices.at(2).listen.scheme, Scheme::Serial);
    EXPECT_EQ(settings.devices.at(2).faults.script.at(0).burstSize, 200);
    EXPECT_EQ(settings.devices.at(3).name, "A5");
    ASSERT_EQ(settings.osdGroups.size(), 2);
    EXPECT_EQ(settings.osdGroups.at(0).faults.script.size(), 2);
    EXPECT_EQ(settings.osdGroups.at(1).faults.measures.lateByMs, 2500);
}

TEST(DeviceFile, DevicesOfOneSeedMeetDifferentFaults)
{
    const Settings settings = readDeviceFile({"wall.json", R"({"seed": 5, "devices": [
        {"model": "A2", "listen": "serial:", "rates": {"silence": 0.5}},
        {"model": "A3", "listen": "serial:", "rates": {"silence": 0.5}}]})"});
    FaultPlan first(settings.devices.at(0).faults);
    FaultPlan second(settings.devices.at(1).faults);
    int differences = 0;
    for (int i = 0; i < 100; ++i) {
        differences += first.next({}).has_value() != second.next({}).has_value() ? 1 : 0;
    }
    EXPECT_GT(differences, 20);
}

struct BadFile
{
    const char *json;
    const char *error; ///< a part of the message
};

void PrintTo(const BadFile &file, std::ostream *out)
{
    *out << file.error;
}

class BadDeviceFile : public testing::TestWithParam<BadFile>
{
};

TEST_P(BadDeviceFile, IsRefusedWithThePlaceAndWhatWasExpected)
{
    try {
        readDeviceFile({"wall.json", GetParam().json});
        FAIL() << "was accepted";
    } catch (const biz::tools::InputError &error) {
        EXPECT_TRUE(error.text().contains(GetParam().error)) << error.what();
        EXPECT_TRUE(error.text().startsWith("wall.json:")) << error.what();
        EXPECT_TRUE(error.text().contains(QRegularExpression("expected|did you mean"))) << error.what();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadDeviceFile,
    testing::Values(
        BadFile{"{\"devices\": [\n{\"model\" \"A2\"}]}", "wall.json:2:10: "}, BadFile{"[]", "wall.json:1:1: an object"},
        BadFile{"{}", "devices: at least one device"}, BadFile{R"({"device": []})", "device: unknown key"},
        BadFile{R"({"devices": {}})", "devices: an array"}, BadFile{R"({"devices": [3]})", "devices[0]: an object"},
        BadFile{R"({"seed": -1})", "seed: a whole number"},
        BadFile{R"({"devices": [{"listen": "serial:"}]})", "devices[0].model: \"\" is no model: expected one of A2, "},
        BadFile{R"({"devices": [{"model": "A9", "listen": "serial:"}]})",
                "devices[0].model: \"A9\" is no model: expected one of A2, "},
        BadFile{R"({"devices": [{"model": "A2"}]})", "devices[0].listen: \"\": expected tcp://"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:", "port": 3}]})", "devices[0].port: unknown key"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:", "delay": 1.5}]})", "devices[0].delay: a whole"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:", "rates": {"junk": 2}}]})",
                "devices[0].rates.junk: a probability from 0 to 1 expected, not 2"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:", "rates": {"jnk": 0.1}}]})",
                "devices[0].rates.jnk: unknown key"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:", "faults": [{"fault": "jnk"}]}]})",
                "devices[0].faults[0].fault: \"jnk\" is no fault"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:",
                                 "faults": [{"device": "127.1.0.1", "fault": "junk"}]}]})",
                "devices[0].faults[0].device: an address"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "udp://127.0.0.1", "rates": {"close": 0.1}}]})",
                "devices[0]: close: a UDP device has no connection"},
        BadFile{R"({"devices": [{"model": "A2", "listen": "serial:"}, {"model": "A2", "listen": "serial:"}]})",
                "devices[1]: a \"name\" of its own expected; another device is named \"A2\""},
        BadFile{R"({"osd": [{"count": 3}]})", "osd[0].first: \"\": expected an address"},
        BadFile{R"({"osd": [{"first": "10.0.0.1"}]})", "osd[0].first: \"10.0.0.1\": expected an address"},
        BadFile{R"({"osd": [{"first": "127.1.0.1", "count": 0}]})", "osd[0].count: a whole number from 1"},
        BadFile{R"({"osd": [{"first": "127.1.0.1", "silent": ["127.1.0.2"]}]})",
                "osd[0]: \"127.1.0.2\" is none of the OSD devices"},
        BadFile{R"({"osd": [{"first": "127.1.0.1", "silent": [""]}]})",
                "osd[0].silent[0]: the address of an OSD device"},
        BadFile{R"({"osd": [{"first": "127.1.0.1", "faults": [{"fault": "late"}]}]})", "osd[0].faults[0]: \"device\""},
        BadFile{R"({"osd": [{"first": "127.1.0.1", "rates": {"close": 1}}]})", "osd[0]: close: an OSD device"}));

} // namespace
