#include <gtest/gtest.h>

#include <QtSerialPort/QSerialPortInfo>

#include <tools/support/running_console.h>

using namespace biz::test;

namespace {

TEST(ConsolePorts, EachSerialPortOfTheMachineIsListedAsALinkIsNamed)
{
    RunningConsole console({"ports"});
    EXPECT_EQ(console.exitStatus(), 0);
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    EXPECT_EQ(console.output().count(QLatin1Char('\n')), ports.size());
    for (const QSerialPortInfo &port : ports) {
        EXPECT_TRUE(console.output().contains("serial://" + port.systemLocation())) << qPrintable(console.output());
    }
    const QString none = "biz_console: this machine has no serial port\n";
    EXPECT_EQ(console.errors(), ports.isEmpty() ? none : QString());
}

TEST(ConsolePorts, TakesNoArgument)
{
    RunningConsole console({"ports", "usb"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().startsWith("biz_console: unexpected argument 'usb'\n"));
}

} // namespace
