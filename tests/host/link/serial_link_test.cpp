#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include "link_journal.h"
#include <host/support/pseudo_terminal.h>
#include <host/support/wait_for.h>

namespace {

using namespace biz::test;

class SerialLink : public testing::Test
{
protected:
    SerialLink() { journal.make(QStringLiteral("serial://") + line.port()); }

    void open()
    {
        const int before = journal.opened;
        journal.link->open();
        ASSERT_TRUE(waitFor([&] { return journal.opened > before || !journal.closed.isEmpty(); }));
        ASSERT_TRUE(journal.closed.isEmpty()) << journal.closed.first().toStdString();
    }

    bool deviceGets(const QByteArray &expected)
    {
        QByteArray got;
        return waitFor([&] {
            got += line.read();
            return got == expected;
        });
    }

    PseudoTerminal line;
    LinkJournal journal;
};

const QString form = QStringLiteral("; expected serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none]");

} // namespace

TEST(MakeSerialLink, AUrlNamesThePortAndLeavesTheRestToTheDefaults)
{
    EXPECT_EQ(nameFor("serial:///dev/ttyUSB0"),
              QStringLiteral("serial:///dev/ttyUSB0?baud=115200&parity=none&data=8&stop=1&flow=none"));
    EXPECT_EQ(nameFor("serial:/dev/ttyS1?baud=9600"),
              QStringLiteral("serial:///dev/ttyS1?baud=9600&parity=none&data=8&stop=1&flow=none"));
    EXPECT_EQ(nameFor("serial:///dev/serial/by-id/x?flow=hardware&stop=2&data=7&parity=even&baud=250000"),
              QStringLiteral("serial:///dev/serial/by-id/x?baud=250000&parity=even&data=7&stop=2&flow=hardware"));
}

TEST(MakeSerialLink, AUrlThatNamesNoSerialLinkIsExplained)
{
    EXPECT_EQ(complaintAbout("serial://dev/ttyS0"),
              QStringLiteral("\"serial://dev/ttyS0\": a serial link takes no host, but has \"dev\"; are there three "
                             "slashes?") +
                  form);
    EXPECT_EQ(complaintAbout("serial:///"), QStringLiteral("\"serial:///\": it names no serial port") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?baud=fast"),
              QStringLiteral("\"serial:///dev/ttyS0?baud=fast\": baud is \"fast\", a number from 1 is needed") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?baud=0"),
              QStringLiteral("\"serial:///dev/ttyS0?baud=0\": baud is \"0\", a number from 1 is needed") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?parity=maybe"),
              QStringLiteral("\"serial:///dev/ttyS0?parity=maybe\": parity is \"maybe\", allowed: none, even, odd, "
                             "mark, space") +
                  form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?data=9"),
              QStringLiteral("\"serial:///dev/ttyS0?data=9\": data is \"9\", allowed: 5, 6, 7, 8") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?stop=3"),
              QStringLiteral("\"serial:///dev/ttyS0?stop=3\": stop is \"3\", allowed: 1, 1.5, 2") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?flow=rts"),
              QStringLiteral("\"serial:///dev/ttyS0?flow=rts\": flow is \"rts\", allowed: none, hardware, software") +
                  form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?speed=9600"),
              QStringLiteral("\"serial:///dev/ttyS0?speed=9600\": there is no parameter \"speed\", but baud, parity, "
                             "data, stop and flow") +
                  form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0?baud=1&baud=2"),
              QStringLiteral("\"serial:///dev/ttyS0?baud=1&baud=2\": baud is given twice") + form);
    EXPECT_EQ(complaintAbout("serial:///dev/ttyS0#1"),
              QStringLiteral("\"serial:///dev/ttyS0#1\": a serial link takes no fragment") + form);
}

TEST_F(SerialLink, OpensAfterOpenHasReturned)
{
    journal.link->open();
    EXPECT_EQ(journal.opened, 0);
    EXPECT_FALSE(journal.link->write("too soon"));

    ASSERT_TRUE(waitFor([this] { return journal.opened > 0; }));
    EXPECT_TRUE(journal.link->isOpen());
}

TEST_F(SerialLink, CarriesAllBytesBothWaysUnchanged)
{
    QByteArray all;
    for (int byte = 0; byte < 256; ++byte) {
        all.append(static_cast<char>(byte));
    }
    open();
    EXPECT_TRUE(journal.link->write(all));
    EXPECT_TRUE(deviceGets(all));
    line.write(all);
    EXPECT_TRUE(waitFor([&] { return journal.received == all; }));
}

TEST_F(SerialLink, TheLineIsSetAsTheUrlSays)
{
    journal.make(QStringLiteral("serial://%1?baud=9600&stop=2&flow=software").arg(line.port()));
    open();
    termios set = line.settings();
    EXPECT_EQ(cfgetospeed(&set), static_cast<speed_t>(B9600));
    EXPECT_NE(set.c_cflag & CSTOPB, 0U);
    EXPECT_NE(set.c_iflag & IXON, 0U);
    journal.link->close();

    journal.make(QStringLiteral("serial://") + line.port());
    open();
    set = line.settings();
    EXPECT_EQ(cfgetospeed(&set), static_cast<speed_t>(B115200));
    EXPECT_EQ(set.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(set.c_cflag & (CSTOPB | PARENB), 0U);
    EXPECT_EQ(set.c_iflag & (IXON | IXOFF), 0U);
}

TEST_F(SerialLink, APortThatIsNotThereIsReportedOnceAndAfterOpenHasReturned)
{
    journal.make(QStringLiteral("serial:///dev/no-such-port"));
    journal.link->open();
    EXPECT_TRUE(journal.closed.isEmpty());

    ASSERT_TRUE(waitFor([this] { return !journal.closed.isEmpty(); }));
    EXPECT_EQ(journal.closed.size(), 1);
    EXPECT_TRUE(journal.closed.first().startsWith(QStringLiteral("cannot open serial:///dev/no-such-port?")))
        << journal.closed.first().toStdString();
    EXPECT_FALSE(journal.link->isOpen());
}

TEST_F(SerialLink, WhatIsNoTerminalIsNoPort)
{
    journal.make(QStringLiteral("serial:///dev/null"));
    journal.link->open();
    ASSERT_TRUE(waitFor([this] { return !journal.closed.isEmpty(); }));
    EXPECT_TRUE(journal.closed.first().endsWith(QStringLiteral(": it is no serial port")))
        << journal.closed.first().toStdString();
}

TEST_F(SerialLink, APortThatGoesAwayIsReportedOnce)
{
    open();
    line.hangUp();

    ASSERT_TRUE(waitFor([this] { return !journal.closed.isEmpty(); }));
    EXPECT_TRUE(journal.closed.first().startsWith(journal.link->name() + QStringLiteral(" was closed: it hung up; ")))
        << journal.closed.first().toStdString();
    EXPECT_FALSE(journal.link->isOpen());
    EXPECT_FALSE(journal.link->write("too late"));
    EXPECT_EQ(journal.closed.size(), 1);
}

TEST_F(SerialLink, IsOpenedOnceHoweverOftenItIsAskedTo)
{
    journal.link->open();
    open();
    journal.link->open();
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_EQ(journal.opened, 1);
}

TEST_F(SerialLink, ACloseIsSilentAlsoWhileItOpensAndItOpensAgain)
{
    journal.link->open();
    journal.link->close();
    for (int round = 1; round <= 5; ++round) {
        open();
        EXPECT_EQ(journal.opened, round);
        EXPECT_TRUE(journal.link->write("hello"));
        EXPECT_TRUE(deviceGets("hello"));
        journal.link->close();
        EXPECT_FALSE(journal.link->isOpen());
    }
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(SerialLink, CanBeClosedFromTheSlotThatReceives)
{
    open();
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::received, journal.link.get(),
                     [this] { journal.link->close(); });
    line.write("bye");
    ASSERT_TRUE(waitFor([this] { return !journal.link->isOpen(); }));
    EXPECT_EQ(journal.received, QByteArray("bye"));
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(SerialLink, HeldBytesAreThrownAwayAndTheNextOnesArrive)
{
    open();
    const QByteArray stale(1'000'000, 'x');
    EXPECT_TRUE(journal.link->write(stale));
    EXPECT_FALSE(journal.link->canWrite());
    ASSERT_TRUE(waitFor([this, &stale] { return journal.link->bytesHeld() < stale.size(); })); // the line is full

    journal.link->discard();
    EXPECT_EQ(journal.link->bytesHeld(), 0);
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_TRUE(journal.link->write("fresh"));
    QByteArray got;
    EXPECT_TRUE(waitFor([&] {
        got += line.read();
        return got.endsWith("fresh");
    }));
    EXPECT_LT(got.size(), stale.size() / 2);
    EXPECT_TRUE(journal.closed.isEmpty());
}

TEST_F(SerialLink, TellsOfRoomWhenTheLineGoesOn)
{
    int writable = 0;
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::writable, journal.link.get(), [&] { ++writable; });
    open();
    const QByteArray sent(1'000'000, 'x');
    EXPECT_TRUE(journal.link->write(sent));
    EXPECT_FALSE(journal.link->canWrite());
    qint64 got = 0;
    EXPECT_TRUE(waitFor([&] {
        got += line.read().size();
        return got == sent.size() && writable > 0;
    }));
    EXPECT_TRUE(journal.link->canWrite());
    EXPECT_EQ(writable, 1);
}

TEST_F(SerialLink, WhatThePseudoTerminalHasTakenCannotBeRecalled)
{
    open();
    EXPECT_TRUE(journal.link->write("on its way"));
    ASSERT_TRUE(waitFor([this] { return journal.link->bytesHeld() == 0; }));
    journal.link->discard();
    EXPECT_TRUE(deviceGets("on its way"));
}

TEST_F(SerialLink, APortThatIsPluggedInAgainCanBeOpenedAgain)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("port"));
    auto adapter = std::make_unique<PseudoTerminal>();
    ASSERT_TRUE(QFile::link(adapter->port(), path));
    journal.make(QStringLiteral("serial://") + path);
    open();

    adapter->hangUp();
    ASSERT_TRUE(waitFor([this] { return !journal.closed.isEmpty(); }));
    ASSERT_TRUE(QFile::remove(path));
    journal.link->open();
    ASSERT_TRUE(waitFor([this] { return journal.closed.size() == 2; }));
    EXPECT_TRUE(journal.closed.last().startsWith(QStringLiteral("cannot open "))) << qPrintable(journal.closed.last());

    PseudoTerminal again;
    ASSERT_TRUE(QFile::link(again.port(), path));
    journal.link->open();
    ASSERT_TRUE(waitFor([this] { return journal.opened == 2; }));
    EXPECT_TRUE(journal.link->write("hello"));
    EXPECT_TRUE(waitFor([&] { return again.read() == "hello"; }));
}

TEST_F(SerialLink, StandsACloseAndAnOpenFromTheSlotThatGetsItsLastBytes)
{
    open();
    QObject::connect(journal.link.get(), &biz::host::DeviceLink::received, journal.link.get(), [this] {
        journal.link->close();
        journal.link->open();
    });
    line.write("bye");
    ASSERT_TRUE(waitFor([this] { return journal.opened == 2; }));
    EXPECT_TRUE(journal.link->isOpen());
    EXPECT_TRUE(journal.closed.isEmpty());
}
