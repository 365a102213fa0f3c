// Memory of a waiting command, against its record and against a waiting Modbus request.

#include <cstdio>

#include <QtCore/QCoreApplication>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusTcpClient>

#include <biz_cmdswork/biz_cmdswork.h>
#include <steps/counted_memory.h>

namespace {

constexpr int waiting = 10000;

double bytesPerCommand()
{
    model_Protocoldata command;
    command.qsText1 = QStringLiteral("shared");
    command.baData = QByteArray(64, 'x');
    const std::size_t before = heapInUse();
    for (int i = 0; i < waiting; ++i) {
        biz_CMDSWork::queueHexCmd.push(command);
    }
    const double bytes = static_cast<double>(heapInUse() - before) / waiting;
    biz_CMDSWork::queueHexCmd = std::queue<model_Protocoldata>();
    return bytes;
}

/** The client connects to nobody who answers, so every request waits. */
double bytesPerModbusRequest(const QModbusTcpClient &connected)
{
    auto &client = const_cast<QModbusTcpClient &>(connected);
    const QModbusDataUnit unit(QModbusDataUnit::HoldingRegisters, 0, 8);
    const std::size_t before = heapInUse();
    for (int i = 0; i < waiting; ++i) {
        client.sendReadRequest(unit, 1);
    }
    return static_cast<double>(heapInUse() - before) / waiting;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    std::printf("{\"name\": \"queue_memory\", \"qt\": \"%s\", \"library_bytes\": %.2f, \"record_bytes\": %zu",
                qVersion(), bytesPerCommand(), sizeof(model_Protocoldata));
    QModbusTcpClient client;
    client.setConnectionParameter(QModbusDevice::NetworkAddressParameter, QStringLiteral("127.0.0.1"));
    client.setConnectionParameter(QModbusDevice::NetworkPortParameter, argc > 1 ? atoi(argv[1]) : 15802);
    client.setTimeout(600000);
    client.connectDevice();
    for (int i = 0; i < 200 && client.state() != QModbusDevice::ConnectedState; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    if (client.state() != QModbusDevice::ConnectedState) {
        std::printf("}\n");
        std::fprintf(stderr, "no Modbus server to connect to\n");
        return 1;
    }
    std::printf(", \"modbus_bytes\": %.2f}\n", bytesPerModbusRequest(client));
    return 0;
}
