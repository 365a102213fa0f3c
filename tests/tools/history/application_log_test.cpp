#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <history/findings/findings.h>
#include <history/reading/history_builder.h>
#include <host/device_host.h>
#include <host/event_log.h>

using namespace biz;

namespace {

TEST(HistoryBuilder, ReadsTheLogThatAnApplicationWrites)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("events.jsonl"));
    {
        host::DeviceHost device;
        host::EventLog log(&device, path);
        ASSERT_TRUE(device.setModel(QStringLiteral("A2")));
        ASSERT_NE(device.enqueue(host::makeCommand(0xF1, 0x08)), 0U);
        device.clear();
        QCoreApplication::processEvents();
        ASSERT_TRUE(log.flush());
    }
    history::HistoryBuilder builder;
    builder.beginFile(path);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    while (!file.atEnd()) {
        EXPECT_TRUE(builder.readEventLine(file.readLine()));
    }
    const history::History history = builder.take();
    ASSERT_EQ(history.devices.size(), 1U);
    ASSERT_EQ(history.devices.at(0).commands.size(), 1U);
    EXPECT_EQ(history.devices.at(0).commands.at(0).outcome, host::Outcome::Cleared);
    EXPECT_EQ(history.names.value(history.devices.at(0).commands.at(0).name), QStringLiteral("F1/08"));
}

} // namespace
