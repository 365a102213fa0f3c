#ifndef BIZ_TESTS_HOST_OSD_OSD_HOST_FIXTURE_H
#define BIZ_TESTS_HOST_OSD_OSD_HOST_FIXTURE_H

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include <QtCore/QByteArrayList>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QUdpSocket>

#include <gtest/gtest.h>

#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <host/support/wait_for.h>

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArrayList &bytes, std::ostream *out)
{
    *out << '"' << bytes.join("\", \"").toStdString() << '"';
}
QT_END_NAMESPACE

namespace biz::test {

/** A device on a loopback address of its own that the test plays. */
class PlayedDevice : public QObject
{
public:
    /** Port 0 takes a free one, which further devices then share. */
    PlayedDevice(const QString &address, quint16 port)
        : ip(address)
    {
        m_socket.setProxy(QNetworkProxy::NoProxy); // else Qt asks the system for one, on a thread of its own
        EXPECT_TRUE(m_socket.bind(QHostAddress(address), port)) << m_socket.errorString().toStdString();
        QObject::connect(&m_socket, &QUdpSocket::readyRead, this, [this] { read(); });
    }

    const QString ip;
    std::vector<model_OsdParam> commands;
    bool answers = true;

    QByteArrayList payloads() const
    {
        QByteArrayList all;
        for (const model_OsdParam &command : commands) {
            all.append(command.baData);
        }
        return all;
    }

    quint16 port() const { return m_socket.localPort(); }

    void reply(const model_OsdParam &record) { send(host::OsdDatagramCodec::encode(record)); }

    void send(const QByteArray &datagram) { m_socket.writeDatagram(datagram, m_hostAddress, m_hostPort); }

    /** Where the host was heard from; for devices that speak without having been asked. */
    void learnHostFrom(const PlayedDevice &other)
    {
        m_hostAddress = other.m_hostAddress;
        m_hostPort = other.m_hostPort;
    }

private:
    void read()
    {
        while (m_socket.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = m_socket.receiveDatagram();
            m_hostAddress = datagram.senderAddress();
            m_hostPort = static_cast<quint16>(datagram.senderPort());
            model_OsdParam command;
            QString why;
            EXPECT_TRUE(host::OsdDatagramCodec::decode(datagram.data(), &command, &why)) << why.toStdString();
            commands.push_back(command);
            if (answers) {
                reply(command);
            }
        }
    }

    QUdpSocket m_socket;
    QHostAddress m_hostAddress;
    quint16 m_hostPort = 0;
};

/** The channel looks at its devices twice a second. */
constexpr int timeoutPeriodMs = 500;

/** What an application does that is busy with other things: no event is handled meanwhile. */
inline void keepThreadBusy(int milliseconds)
{
    for (const QDeadlineTimer busy(milliseconds); !busy.hasExpired();) {
        std::this_thread::yield();
    }
}

/**
 * An OSD host and devices that the test plays. At the end the host is stopped, and every
 * command that was given must have ended exactly once.
 */
class OsdHostFixture : public ::testing::Test
{
protected:
    struct Event
    {
        QString signal;
        host::Ticket ticket = 0;
        QString text; ///< sender or reason
        model_OsdParam record;
        double afterEndMs = 0.0;
    };

    /** The channel counts whole seconds; two of them leave at least one for an answer. */
    static constexpr int answeredWaitMs = 2000;
    /** The same, where no answer comes: it leaves even a busy machine the time to write the command. */
    static constexpr int givenUpWaitMs = answeredWaitMs;
    /** Longer than any test. */
    static constexpr int endlessWaitMs = 60000;

    OsdHostFixture()
    {
        device(0); // whose port all devices listen on
        makeHost();
    }

    void TearDown() override
    {
        if (host) {
            host->stop();
            EXPECT_TRUE(waitFor([this] { return ends.size() == given.size(); }));
        }
        for (const host::Ticket ticket : given) {
            EXPECT_EQ(ends[ticket].size(), 1U) << "ticket " << ticket;
        }
        EXPECT_EQ(ends.size(), given.size()) << "an unknown ticket ended";
    }

    /** In place of the host that there was; what that one said is forgotten. */
    void makeHost()
    {
        host.reset(); // first, since it holds the channel
        events.clear();
        ends.clear();
        given.clear();
        host = std::make_unique<host::OsdHost>();
        usePort();
        attach();
    }

    void attach()
    {
        using Host = host::OsdHost;
        using host::OsdCommandResult;
        using host::Ticket;
        const auto on = [this](auto signal, auto slot) {
            QObject::connect(host.get(), signal, &m_context, slot, Qt::DirectConnection);
        };
        on(&Host::started, [this] { add({"started", 0, {}, {}, 0.0}); });
        on(&Host::sent, [this](Ticket ticket, const model_OsdParam &command) {
            add({"sent", ticket, {}, command, 0.0});
        });
        on(&Host::ended, [this](Ticket ticket, const OsdCommandResult &result) {
            ends[ticket].push_back(result);
            add({"ended", ticket, result.reason, result.reply, 0.0});
        });
        on(&Host::late, [this](Ticket ticket, const model_OsdParam &reply, double afterEndMs) {
            add({"late", ticket, {}, reply, afterEndMs});
        });
        on(&Host::duplicate, [this](Ticket ticket, const model_OsdParam &reply) {
            add({"duplicate", ticket, {}, reply, 0.0});
        });
        on(&Host::foreign, [this](const QString &sender, const model_OsdParam &reply) {
            add({"foreign", 0, sender, reply, 0.0});
        });
        on(&Host::refused, [this](const QString &sender, int, const QString &) {
            add({"refused", 0, sender, {}, 0.0});
        });
        on(&Host::received, [this](const model_OsdParam &reply) { add({"received", 0, {}, reply, 0.0}); });
        on(&Host::socketError, [this](const QString &why) { add({"socketError", 0, why, {}, 0.0}); });
    }

    PlayedDevice &device(int number)
    {
        std::unique_ptr<PlayedDevice> &made = devices[number];
        if (!made) {
            const QString ip = QStringLiteral("127.15.%1.%2").arg(number / 200).arg(number % 200 + 1);
            made = std::make_unique<PlayedDevice>(ip, m_port);
            m_port = made->port();
        }
        return *made;
    }

    void usePort() { EXPECT_TRUE(host->setPort(m_port)); }

    void start()
    {
        const int before = count("started");
        ASSERT_TRUE(host->start()) << host->errorString().toStdString();
        ASSERT_TRUE(waitFor([&] { return count("started") > before; }));
    }

    static model_OsdParam command(const QString &ip, int waitMs, const QByteArray &payload = QByteArray())
    {
        model_OsdParam record;
        record.qsIp = ip;
        record.iWaitTime = waitMs;
        record.baData = payload;
        return record;
    }

    host::Ticket enqueue(const model_OsdParam &record, const host::CommandOptions &options = {})
    {
        m_insideCall = true;
        const host::Ticket ticket = host->enqueue(record, options);
        m_insideCall = false;
        EXPECT_NE(ticket, 0U) << host->errorString().toStdString();
        EXPECT_TRUE(given.insert(ticket).second) << "ticket " << ticket << " was given twice";
        return ticket;
    }

    host::Ticket enqueue(PlayedDevice &to, int waitMs = answeredWaitMs, const QByteArray &payload = QByteArray())
    {
        return enqueue(command(to.ip, waitMs, payload));
    }

    host::Ticket enqueue(PlayedDevice &to, const QByteArray &payload, const host::CommandOptions &options)
    {
        return enqueue(command(to.ip, answeredWaitMs, payload), options);
    }

    /** A command that nobody answers is in flight to the device. */
    host::Ticket occupy(PlayedDevice &silent)
    {
        silent.answers = false;
        const std::size_t before = silent.commands.size();
        const host::Ticket ticket = enqueue(silent, endlessWaitMs, "occupying");
        EXPECT_TRUE(waitFor([&] { return silent.commands.size() > before; }));
        return ticket;
    }

    bool waitForEnd(host::Ticket ticket)
    {
        return waitFor([&] { return ends.count(ticket) != 0; });
    }

    QString outcomeOf(host::Ticket ticket)
    {
        return ends.count(ticket) != 0 ? host::outcomeName(ends[ticket].front().outcome) : QStringLiteral("none");
    }

    /** Waits for its end; "none" if that does not come. */
    QString waitForOutcome(host::Ticket ticket)
    {
        waitForEnd(ticket);
        return outcomeOf(ticket);
    }

    QString reasonOf(host::Ticket ticket) { return ends.count(ticket) != 0 ? ends[ticket].front().reason : QString(); }

    int count(const QString &signal) const
    {
        int found = 0;
        for (const Event &event : events) {
            found += event.signal == signal ? 1 : 0;
        }
        return found;
    }

    Event first(const QString &signal) const
    {
        for (const Event &event : events) {
            if (event.signal == signal) {
                return event;
            }
        }
        return {};
    }

    std::unique_ptr<host::OsdHost> host;
    std::map<int, std::unique_ptr<PlayedDevice>> devices;
    std::vector<Event> events;
    std::map<host::Ticket, std::vector<host::OsdCommandResult>> ends;
    std::set<host::Ticket> given;

    /** Called inside each signal's slot. */
    std::function<void(const Event &)> onSignal;

private:
    void add(const Event &event)
    {
        EXPECT_FALSE(m_insideCall) << event.signal.toStdString() << " left inside a call of the host";
        EXPECT_FALSE(m_insideSlot) << event.signal.toStdString() << " left inside another signal's slot";
        EXPECT_EQ(QThread::currentThread(), m_context.thread()) << event.signal.toStdString();
        events.push_back(event);
        m_insideSlot = true;
        if (onSignal) {
            onSignal(event);
        }
        m_insideSlot = false;
    }

    QObject m_context;
    bool m_insideCall = false;
    bool m_insideSlot = false;
    quint16 m_port = 0;
};

} // namespace biz::test

#endif
