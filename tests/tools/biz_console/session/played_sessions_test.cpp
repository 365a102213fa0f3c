#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <tools/support/running_console.h>
#include <tools/support/running_simulator.h>

// The console plays the example sessions against the simulator that each is made for.

using namespace biz::test;

namespace {

QString sessionFile(const QString &name)
{
    return QStringLiteral(BIZ_SESSIONS "/") + name;
}

struct PlayedSession
{
    QString session;
    QString simulatorArguments;
    QStringList consoleOptions = {};
};

void PrintTo(const PlayedSession &played, std::ostream *out)
{
    *out << qPrintable(played.session);
}

class PlayedDeviceSession : public testing::TestWithParam<PlayedSession>
{
};

TEST_P(PlayedDeviceSession, EndsAsItExpects)
{
    RunningSimulator simulator(GetParam().simulatorArguments + QStringLiteral(" --port 0"));
    const quint16 port = simulator.listeningPort();
    ASSERT_NE(port, 0) << qPrintable(simulator.allErrors());
    const QTemporaryDir logs;
    RunningConsole console(QStringList{"run", sessionFile(GetParam().session), "--device",
                                       QStringLiteral("tcp://127.0.0.1:%1").arg(port), "--log-dir", logs.path()} +
                           GetParam().consoleOptions);
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output() + console.errors());
}

/** A model's session is named after it. */
QVector<PlayedSession> sessionsOfModels()
{
    QVector<PlayedSession> sessions;
    const auto names = QDir(QStringLiteral(BIZ_SESSIONS)).entryList({QStringLiteral("*.json")});
    for (const QString &name : names) {
        if (!name.contains(QLatin1Char('_'))) {
            sessions.append({name, QStringLiteral("--model ") + QString(name).remove(QStringLiteral(".json"))});
        }
    }
    return sessions;
}

INSTANTIATE_TEST_SUITE_P(Models, PlayedDeviceSession, testing::ValuesIn(sessionsOfModels()));
INSTANTIATE_TEST_SUITE_P(Faults, PlayedDeviceSession,
                         testing::Values(PlayedSession{"faults_a2.json",
                                                       "--model A2 --script " + sessionFile("faults_a2_script.json")},
                                         PlayedSession{"outage_a2.json",
                                                       "--model A2 --script " + sessionFile("outage_a2_script.json"),
                                                       {"--reconnect"}}));

class PlayedOsdSession : public testing::TestWithParam<PlayedSession>
{
};

TEST_P(PlayedOsdSession, EndsAsItExpects)
{
    RunningSimulator simulator(GetParam().simulatorArguments + QStringLiteral(" --port 0"));
    const quint16 port = simulator.listeningPort();
    ASSERT_NE(port, 0) << qPrintable(simulator.allErrors());
    RunningConsole console({"osd", sessionFile(GetParam().session), "--port", QString::number(port)});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output() + console.errors());
}

INSTANTIATE_TEST_SUITE_P(Console, PlayedOsdSession,
                         testing::Values(PlayedSession{"osd_100.json", "--osd 100 --osd-silent 10"},
                                         PlayedSession{"osd_100_all_answer.json", "--osd 100"}));

TEST(PlayedFault, WithAFaultThatItDoesNotExpectIsNotAsExpected)
{
    RunningSimulator simulator("--model A2 --fault 1=silence --port 0");
    const quint16 port = simulator.listeningPort();
    ASSERT_NE(port, 0) << qPrintable(simulator.allErrors());
    const QTemporaryDir logs;
    RunningConsole console({"run", sessionFile("a2.json"), "--device", QStringLiteral("tcp://127.0.0.1:%1").arg(port),
                            "--log-dir", logs.path()});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("expected answered without events, was answered with resent"))
        << qPrintable(console.output());
}

} // namespace
