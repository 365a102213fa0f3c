// The peer: a Modbus client and server of Qt SerialBus on loopback.
// bench_modbus server PORT                        answers until it is killed
// bench_modbus paced PORT START WINDOWS SECONDS   a request every 10 ms; CPU per request
// bench_modbus flat-out PORT SECONDS              the next request upon each reply

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusTcpClient>
#include <QtSerialBus/QModbusTcpServer>

namespace {

constexpr int registers = 8;

double now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

long long cpuNs()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

void connectTo(QModbusDevice &device, const char *port)
{
    device.setConnectionParameter(QModbusDevice::NetworkAddressParameter, QStringLiteral("127.0.0.1"));
    device.setConnectionParameter(QModbusDevice::NetworkPortParameter, std::atoi(port));
    device.connectDevice();
}

int serve(const char *port)
{
    QModbusTcpServer server;
    server.setMap({{QModbusDataUnit::HoldingRegisters, {QModbusDataUnit::HoldingRegisters, 0, registers}}});
    server.setServerAddress(1);
    connectTo(server, port);
    std::printf("listening\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

QModbusReply *ask(QModbusTcpClient &client)
{
    QModbusReply *reply = client.sendReadRequest({QModbusDataUnit::HoldingRegisters, 0, registers}, 1);
    if (reply != nullptr) {
        QObject::connect(reply, &QModbusReply::finished, reply, &QObject::deleteLater);
    }
    return reply;
}

struct Window
{
    long long cpu = 0;
    long long requests = 0;
};

int askPaced(const char *port, double start, int windows, double seconds)
{
    QModbusTcpClient client;
    connectTo(client, port);
    long long requests = 0;
    QTimer pace;
    pace.setTimerType(Qt::PreciseTimer);
    QObject::connect(&pace, &QTimer::timeout, [&] { requests += ask(client) != nullptr ? 1 : 0; });
    pace.start(10);

    int window = -1;
    Window last;
    QTimer look;
    look.setTimerType(Qt::PreciseTimer);
    QObject::connect(&look, &QTimer::timeout, [&] {
        if (now() < start + (window + 1) * seconds) {
            return;
        }
        const Window present{cpuNs(), requests};
        if (window >= 0) {
            std::printf("{\"window\": %d, \"loop\": \"modbus\", \"passes\": %lld, \"cpu_ns\": %lld}\n", window,
                        present.requests - last.requests, present.cpu - last.cpu);
        }
        last = present;
        if (++window == windows) {
            QCoreApplication::quit();
        }
    });
    look.start(20);
    return QCoreApplication::exec();
}

int askFlatOut(const char *port, int seconds)
{
    QModbusTcpClient client;
    long long requests = 0;
    double sumOfDelays = 0;
    std::function<void()> next = [&] {
        const double asked = now();
        if (QModbusReply *reply = ask(client)) {
            QObject::connect(reply, &QModbusReply::finished, [&, asked] {
                sumOfDelays += now() - asked;
                ++requests;
                next();
            });
        }
    };
    QObject::connect(&client, &QModbusClient::stateChanged, [&](QModbusDevice::State state) {
        if (state == QModbusDevice::ConnectedState) {
            next();
        }
    });
    connectTo(client, port);
    QTimer::singleShot(seconds * 1000, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    std::printf("{\"name\": \"modbus_flat_out\", \"requests_per_second\": %.0f, \"mean_delay_us\": %.1f}\n",
                static_cast<double>(requests) / seconds, sumOfDelays / static_cast<double>(requests) * 1e6);
    std::fflush(stdout);
    std::_Exit(0);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QByteArray role(argc > 2 ? argv[1] : "");
    if (role == "server") {
        return serve(argv[2]);
    }
    if (role == "paced" && argc == 6) {
        return askPaced(argv[2], std::atof(argv[3]), std::atoi(argv[4]), std::atof(argv[5]));
    }
    if (role == "flat-out" && argc == 4) {
        return askFlatOut(argv[2], std::atoi(argv[3]));
    }
    std::fprintf(stderr,
                 "usage: bench_modbus server PORT | paced PORT START WINDOWS SECONDS | flat-out PORT SECONDS\n");
    return 2;
}
