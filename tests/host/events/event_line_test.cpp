#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaEnum>

#include <gtest/gtest.h>

#include <host/event.h>

namespace {

using namespace biz::host;

Event eventOf(EventKind kind)
{
    Event event;
    event.kind = kind;
    return event;
}

QJsonObject parsed(const QByteArray &line)
{
    QJsonParseError error{};
    const QJsonObject object = QJsonDocument::fromJson(line, &error).object();
    EXPECT_EQ(error.error, QJsonParseError::NoError) << line.toStdString();
    return object;
}

TEST(EventLine, HasNoKeyForWhatAnEventDoesNotHave)
{
    EXPECT_EQ(jsonLine(eventOf(EventKind::Sent)),
              "{\"event\":\"sent\",\"utc\":\"1970-01-01T00:00:00.000Z\",\"atMs\":0}\n");
}

TEST(EventLine, TellsTheTimeInUtcWithMilliseconds)
{
    Event event = eventOf(EventKind::Sent);
    event.utcMs = 1772356087006;
    event.atMs = 12.3456;

    EXPECT_EQ(jsonLine(event), "{\"event\":\"sent\",\"utc\":\"2026-03-01T09:08:07.006Z\",\"atMs\":12.346}\n");
}

TEST(EventLine, TellsNegativeNumbersWithTheirSign)
{
    Event event = eventOf(EventKind::Sent);
    event.atMs = -0.5;
    event.attempts = -7;

    const QJsonObject line = parsed(jsonLine(event));
    EXPECT_EQ(line.value("atMs").toDouble(), -0.5);
    EXPECT_EQ(line.value("attempts").toInt(), -7);
}

TEST(EventLine, TellsAZeroThatIsAValue)
{
    Event event = eventOf(EventKind::Answered);
    event.sequence = 0;
    event.roundTripMs = 0.0;

    const QJsonObject line = parsed(jsonLine(event));
    EXPECT_EQ(line.value("sequence").toInt(-1), 0);
    EXPECT_EQ(line.value("roundTripMs").toDouble(-1), 0.0);
}

TEST(EventLine, TellsBytesInHexadecimal)
{
    Event event = eventOf(EventKind::Sent);
    event.head = QByteArray::fromHex("07F1080A0000FF");

    EXPECT_EQ(parsed(jsonLine(event)).value("head").toString(), QStringLiteral("07 F1 08 0A 00 00 FF"));
}

TEST(EventLine, KeepsHostileTextsWhole)
{
    const QString hostile = QStringLiteral("\"\\ \n\r\t\x01\x1b[2J\x7f ") + QChar(0xE9) + QChar(0x2028) +
                            QString::fromUtf8("\xF0\x9F\x98\x80") + QChar(0);
    Event event = eventOf(EventKind::Failed);
    event.reason = hostile;

    const QByteArray line = jsonLine(event);
    EXPECT_EQ(parsed(line).value("reason").toString(), hostile);
    EXPECT_EQ(line.count('\n'), 1);
    EXPECT_FALSE(line.contains('\x1b')) << "a terminal must not obey a log";
}

TEST(EventLine, KeepsEachCharacter)
{
    constexpr int manyScripts = 0x2100;
    for (int character = 0; character < manyScripts; ++character) {
        Event event = eventOf(EventKind::Failed);
        event.reason = QChar(character);
        EXPECT_EQ(parsed(jsonLine(event)).value("reason").toString(), event.reason) << character;
    }
}

TEST(EventLine, TakesATextOfAnyLength)
{
    Event event = eventOf(EventKind::Failed);
    event.reason = QString(100000, QLatin1Char('\n'));

    EXPECT_EQ(parsed(jsonLine(event)).value("reason").toString(), event.reason);
}

TEST(EventLine, TellsTheHistoryInItsOrder)
{
    Event event = eventOf(EventKind::GaveUp);
    event.history = {{0.0, QStringLiteral("queued")}, {1.5, QStringLiteral("sent")}};

    const QJsonArray history = parsed(jsonLine(event)).value("history").toArray();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history.at(1).toObject().value("atMs").toDouble(), 1.5);
    EXPECT_EQ(history.at(1).toObject().value("text").toString(), QStringLiteral("sent"));
}

TEST(EventLine, TellsWhyAReplyWasRejectedAsTheBrokenClause)
{
    Event event = eventOf(EventKind::Rejected);
    event.reason = QStringLiteral("length 353 instead of 354");

    const QJsonObject line = parsed(jsonLine(event));
    EXPECT_TRUE(line.contains("broken"));
    EXPECT_FALSE(line.contains("reason"));
}

TEST(EventLine, TellsALostLinkWithItsErrorAsACode)
{
    Event event = eventOf(EventKind::LinkStateChanged);
    event.link = LinkStatus();
    event.link->state = LinkState::Lost;
    event.error = Error::LinkSilent;

    const QJsonObject line = parsed(jsonLine(event));
    EXPECT_EQ(line.value("state").toString(), QStringLiteral("lost"));
    EXPECT_EQ(line.value("error").toString(), QStringLiteral("linkSilent"));
}

TEST(EventLine, EndsWithFurtherKeys)
{
    const QByteArray line = jsonLine(eventOf(EventKind::Start), {{QStringLiteral("format"), eventFormat}});

    EXPECT_EQ(parsed(line).value("format").toInt(), eventFormat);
    EXPECT_TRUE(line.startsWith("{\"event\":\"start\""));
}

TEST(EventNames, AreFoundAgainForEveryKind)
{
    const QMetaEnum kinds = QMetaEnum::fromType<EventKind>();
    for (int i = 0; i < kinds.keyCount(); ++i) {
        const auto kind = static_cast<EventKind>(kinds.value(i));
        EXPECT_EQ(eventFromName(eventName(kind)), kind) << kinds.key(i);
    }
    EXPECT_FALSE(eventFromName(QStringLiteral("Sent")));
}

TEST(EventNames, AreThoseOfTheOutcomesForTheEnds)
{
    const QMetaEnum outcomes = QMetaEnum::fromType<Outcome>();
    for (int i = 0; i < outcomes.keyCount(); ++i) {
        const auto outcome = static_cast<Outcome>(outcomes.value(i));
        EXPECT_EQ(eventName(endEvent(outcome)), outcomeName(outcome));
        EXPECT_EQ(outcomeOf(endEvent(outcome)), outcome);
    }
    EXPECT_FALSE(outcomeOf(EventKind::Sent));
}

TEST(CountersInJson, AreAllOfTheTable)
{
    Counters counters;
    quint64 value = 0;
    for (const CounterRow &row : counterRows) {
        counters.*row.value = ++value;
    }

    const QJsonObject object = toJson(counters);
    EXPECT_EQ(object.size(), static_cast<int>(counterRows.size()));
    EXPECT_EQ(object.value("enqueued").toInt(), 1);
    EXPECT_EQ(object.value("bytesIn").toInt(), static_cast<int>(counters.bytesIn));
}

} // namespace
