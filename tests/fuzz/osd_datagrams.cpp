// What must hold: an OSD host takes each datagram for one thing, whoever sends it and whatever is in it, and counts it
// and its bytes once. The input is a row of datagrams: who sends it, how it is made, how long it is, its bytes.

#include "fuzz_target.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>

namespace {

using namespace biz::host;
using biz::fuzz::Input;
using biz::fuzz::require;

/** The network is what the input says. */
class InputNetwork final : public DatagramTransport
{
public:
    QString open(const QHostAddress & /*local*/) override { return {}; }
    void close() override {}
    void readPending() override {}
    SendResult send(const QHostAddress & /*device*/, quint16 /*port*/, const QByteArray & /*datagram*/) override
    {
        return {};
    }
};

const QStringList devices{QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")};
const QStringList senders{devices.at(0), devices.at(1), QStringLiteral("10.0.0.3"), QStringLiteral("::ffff:10.0.0.1"),
                          QStringLiteral("fe80::1")};

/** One host for all inputs, since its loops run until the process ends. */
class Bench
{
public:
    Bench()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\nbiz.host*=false"));
        auto transport = std::make_unique<InputNetwork>();
        m_network = transport.get();
        require(m_host.setTransport(std::move(transport)) && m_host.start(), "the host starts");
    }

    void play(Input &input)
    {
        const Counters before = m_host.counters();
        quint64 datagrams = 0;
        quint64 bytes = 0;
        for (const QString &device : devices) {
            model_OsdParam command;
            command.qsIp = device;
            require(m_host.enqueue(command) != 0, "a command is taken");
        }
        while (!input.atEnd()) {
            const QHostAddress sender(senders.at(input.below(static_cast<int>(senders.size()))));
            const QByteArray datagram = read(input);
            Q_EMIT m_network->received(sender, datagram);
            ++datagrams;
            bytes += static_cast<quint64>(datagram.size());
            QCoreApplication::processEvents();
        }
        m_host.clear();
        QCoreApplication::processEvents();
        const Counters after = m_host.counters();
        require(after.bytesIn - before.bytesIn == bytes, "each byte is counted once");
        require(takenOf(after) - takenOf(before) == datagrams, "each datagram is taken for one thing");
    }

private:
    /** Few inputs would have a sound length and CRC: every other datagram is made so. */
    static QByteArray read(Input &input)
    {
        const bool isSound = input.below(2) == 0;
        QByteArray bytes;
        for (int left = input.byte(); left > 0 && !input.atEnd(); --left) {
            bytes.append(static_cast<char>(input.byte()));
        }
        model_OsdParam record;
        record.baData = bytes;
        return isSound ? OsdDatagramCodec::encode(record) : bytes;
    }

    static quint64 takenOf(const Counters &counters)
    {
        return counters.answered + counters.late + counters.duplicate + counters.foreign + counters.refusedFrames;
    }

    int m_argc = 1;
    char m_name[5] = "fuzz";
    char *m_argv[2] = {m_name, nullptr};
    const QCoreApplication m_application{m_argc, m_argv};
    OsdHost m_host;
    InputNetwork *m_network = nullptr; ///< the host's
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Bench bench;
    Input input(data, size);
    bench.play(input);
    return 0;
}
