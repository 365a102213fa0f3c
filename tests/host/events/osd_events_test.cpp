#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <host/event_log.h>
#include <host/event_source.h>
#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <host/support/wait_for.h>

namespace {

using namespace biz::host;
using namespace biz::test;

/** Answers at once, or never. */
class PlayedNetwork : public DatagramTransport
{
public:
    bool answers = true;
    QByteArray last; ///< what was sent, which is also its own reply

    QString open(const QHostAddress & /*local*/) override { return {}; }
    void close() override {}
    SendResult send(const QHostAddress &device, quint16 /*port*/, const QByteArray &datagram) override
    {
        last = datagram;
        if (answers) {
            QMetaObject::invokeMethod(
                this, [=] { Q_EMIT received(device, datagram); }, Qt::QueuedConnection);
        }
        return {};
    }
    void readPending() override {}
};

class OsdEventsTest : public ::testing::Test
{
protected:
    OsdEventsTest()
    {
        auto own = std::make_unique<PlayedNetwork>();
        network = own.get();
        EXPECT_TRUE(host.setTransport(std::move(own)));
        QObject::connect(events.get(), &EventSource::happened, events.get(),
                         [this](const Event &event) { told.push_back(event); });
        EXPECT_TRUE(host.start());
    }

    Ticket enqueue()
    {
        model_OsdParam command;
        command.qsIp = QStringLiteral("127.0.0.9");
        command.qsOsdText = QStringLiteral("hello");
        CommandOptions options;
        options.id = QStringLiteral("seven");
        return host.enqueue(command, options);
    }

    bool waitForEnd()
    {
        return waitFor([this] { return !told.empty() && outcomeOf(told.back().kind).has_value(); });
    }

    std::unique_ptr<OsdHost> owned = std::make_unique<OsdHost>();
    OsdHost &host = *owned;
    PlayedNetwork *network = nullptr;
    std::unique_ptr<EventSource> events = eventsOf(&host);
    std::vector<Event> told;
};

TEST_F(OsdEventsTest, FollowACommandFromItsGivingToItsEnd)
{
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd());

    QStringList kinds;
    for (const Event &event : told) {
        if (event.ticket == ticket) {
            kinds.append(eventName(event.kind));
            EXPECT_EQ(event.id, QStringLiteral("seven"));
            EXPECT_EQ(event.device, QStringLiteral("127.0.0.9"));
        }
    }
    EXPECT_EQ(kinds, (QStringList{"given", "writing", "sent", "answered"}));
}

TEST_F(OsdEventsTest, TellOfDatagramsThatBelongToNoCommandAndOfThoseThatHoldNone)
{
    const QHostAddress stranger(QStringLiteral("127.0.0.8"));
    Q_EMIT network->received(stranger, OsdDatagramCodec::encode({}));
    Q_EMIT network->received(stranger, QByteArray("junk"));
    ASSERT_TRUE(waitFor([this] { return told.size() >= 3; }));

    const Event &foreign = told.at(1);
    EXPECT_EQ(eventName(foreign.kind), "foreign");
    EXPECT_EQ(foreign.device, stranger.toString());
    const Event &refused = told.at(2);
    EXPECT_EQ(eventName(refused.kind), "refused");
    EXPECT_EQ(refused.device, stranger.toString());
    EXPECT_EQ(refused.bytes, 4);
    EXPECT_FALSE(refused.reason.isEmpty());
}

TEST_F(OsdEventsTest, TellOfASecondReplyAndOfOneAfterTheEnd)
{
    const QHostAddress device(QStringLiteral("127.0.0.9"));
    const Ticket answered = enqueue();
    ASSERT_TRUE(waitForEnd());
    Q_EMIT network->received(device, network->last);
    ASSERT_TRUE(waitFor([this] { return told.back().kind == EventKind::Duplicate; }));
    EXPECT_EQ(told.back().ticket, answered);

    network->answers = false;
    const Ticket givenUp = enqueue();
    ASSERT_TRUE(waitForEnd());
    Q_EMIT network->received(device, network->last);
    ASSERT_TRUE(waitFor([this] { return told.back().kind == EventKind::Late; }));
    EXPECT_EQ(told.back().ticket, givenUp);
    EXPECT_GE(told.back().afterEndMs.value_or(-1.0), 0.0);
}

TEST_F(OsdEventsTest, AreWrittenByAnEventLogOfTheHost)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("events.jsonl"));
    EventLog log(&host, EventFile(path));
    ASSERT_NE(enqueue(), 0U);
    ASSERT_TRUE(waitForEnd());
    ASSERT_TRUE(log.flush());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("\"answered\""));
}

TEST_F(OsdEventsTest, EndWithTheirHost)
{
    owned.reset();

    EXPECT_TRUE(events->state().isEmpty());
    EXPECT_TRUE(events->headLines().contains("\"osd\""));
    events.reset();
}

TEST_F(OsdEventsTest, NameTheDevicesThatAreSilentAndSinceWhen)
{
    network->answers = false;
    ASSERT_NE(enqueue(), 0U);
    ASSERT_TRUE(waitForEnd());

    const QJsonArray silent = events->state().value("silentDevices").toArray();
    ASSERT_EQ(silent.size(), 1);
    EXPECT_EQ(silent.at(0).toObject().value("device").toString(), QStringLiteral("127.0.0.9"));
    EXPECT_TRUE(silent.at(0).toObject().value("silentSince").toString().endsWith(QLatin1Char('Z')));
}

TEST_F(OsdEventsTest, DoNotNameADeviceThatAnswers)
{
    ASSERT_NE(enqueue(), 0U);
    ASSERT_TRUE(waitForEnd());

    EXPECT_TRUE(host.devices().at(0).reachable);
    EXPECT_TRUE(events->state().value("silentDevices").toArray().isEmpty());
}

TEST_F(OsdEventsTest, DoNotNameADeviceThatIsForgotten)
{
    network->answers = false;
    ASSERT_NE(enqueue(), 0U);
    ASSERT_TRUE(waitForEnd());
    host.forget(QStringLiteral("127.0.0.9"));

    EXPECT_TRUE(events->state().value("silentDevices").toArray().isEmpty());
}

} // namespace
