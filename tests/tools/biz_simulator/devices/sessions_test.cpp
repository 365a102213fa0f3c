#include <gtest/gtest.h>

#include <set>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_simulator/options/fault_script.h>
#include <devices/reply_maker_p.h>
#include <faults/fault_plan_p.h>

// The example sessions against the rule tables and against the script that plays with them.

namespace {

using namespace biz;
using namespace biz::simulator;

QByteArray contentsOf(const QString &name)
{
    QFile file(QStringLiteral(BIZ_SESSIONS "/") + name);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    return file.readAll();
}

QJsonObject sessionOf(const QString &name)
{
    QJsonParseError error;
    QJsonObject session = QJsonDocument::fromJson(contentsOf(name), &error).object();
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    return session;
}

model_Protocoldata recordOf(const QJsonObject &command)
{
    const QByteArray head = QByteArray::fromHex(command.value("head").toString().toLatin1());
    EXPECT_EQ(head.size(), 6);
    model_Protocoldata record;
    std::copy(head.begin(), head.end(), record.ucHead + 1);
    record.baData = QByteArray::fromHex(command.value("data").toString().toLatin1());
    return record;
}

/** "pvn410max2" */
std::string nameOf(const rules::ModelRules &model)
{
    return QString::fromLatin1(model.name.data(), static_cast<int>(model.name.size())).toLower().toStdString();
}

class ModelSession : public testing::TestWithParam<rules::ModelRules>
{
protected:
    const QJsonObject session = sessionOf(QString::fromStdString(nameOf(GetParam()) + ".json"));
    const QJsonArray commands = session.value("commands").toArray();
};

TEST_P(ModelSession, IsForItsModel)
{
    bool isNumber = false;
    EXPECT_EQ(session.value("deviceType").toString().toInt(&isNumber, 16), GetParam().deviceType);
}

TEST_P(ModelSession, CoversEveryRuleOfItsTable)
{
    std::set<const rules::Row *> covered;
    const rules::ModelRules &own = rules::rulesOf(GetParam().model);
    for (const QJsonValue &command : commands) {
        const model_Protocoldata record = recordOf(command.toObject());
        covered.insert(&own.table->rowOf(record.ucHead[1], record.ucHead[2]));
    }
    for (const rules::Row &row : *own.table) {
        EXPECT_TRUE(own.ruleOf(row).empty() || covered.count(&row) == 1)
            << "row " << &row - own.table->begin() << ", command 0x" << std::hex << int{row.command};
    }
}

TEST_P(ModelSession, HoldsOnlyHeadsThatTheDeviceCanSendBack)
{
    for (const QJsonValue &command : commands) {
        const model_Protocoldata record = recordOf(command.toObject());
        const model_Protocoldata reply = makeReply(GetParam().model, record);
        EXPECT_TRUE(std::equal(record.ucHead, record.ucHead + sizeof record.ucHead, reply.ucHead))
            << command.toObject().value("name").toString().toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Sessions, ModelSession, testing::ValuesIn(rules::modelRules),
                         [](const auto &instance) { return nameOf(instance.param); });

// --- The session with each fault ---------------------------------------------------------

class FaultSession : public testing::Test
{
protected:
    FaultSession() { settings.script = readFaultScript({"script.json", contentsOf("faults_a2_script.json")}); }

    const QJsonArray commands = sessionOf("faults_a2.json").value("commands").toArray();
    FaultSettings settings;
};

/** What a host sees of one command, first from the faults, then from the session. */
struct Ending
{
    QString outcome;
    std::set<QString> events;

    bool operator==(const Ending &other) const { return outcome == other.outcome && events == other.events; }
};

/** What one reception yields: whether the host gets its answer, and the event that it sees. */
bool isAnswered(const model_Protocoldata &command, const std::optional<Fault> &fault, std::set<QString> *events)
{
    if (!fault) {
        return true;
    }
    switch (fault->kind) {
    case FaultKind::Silence:
        return false;
    case FaultKind::Late:
        events->insert("late");
        return false;
    case FaultKind::Duplicate:
        events->insert("duplicate");
        return true;
    case FaultKind::WrongSequence:
        events->insert("foreign");
        return false;
    case FaultKind::FlippedBits:
        return false;
    case FaultKind::MergedFrames: // waits for the reply to the resend, and comes with it
        events->insert("duplicate");
        return false;
    case FaultKind::SplitFrames:
    case FaultKind::Junk:
        return true;
    case FaultKind::Burst:
        events->insert("foreign");
        return true;
    default:
        break;
    }
    const auto reply = makeReply(rules::Model::OrlixA2, command);
    if (!withFault(rules::Model::OrlixA2, reply, fault->kind)) {
        return true;
    }
    events->insert("rejected");
    return false;
}

/** A command without its answer is given a second time, and then given up. */
Ending endingWith(FaultPlan &plan, const model_Protocoldata &command)
{
    Ending ending{QStringLiteral("answered"), {}};
    const CommandCode code{command.ucHead[1], command.ucHead[2]};
    if (!isAnswered(command, plan.next(code), &ending.events)) {
        ending.events.insert("resent");
        if (!isAnswered(command, plan.next(code), &ending.events)) {
            ending.outcome = "gaveUp";
        }
    }
    return ending;
}

Ending expectedEnding(const QJsonObject &command)
{
    const QJsonObject expect = command.value("expect").toObject();
    Ending ending{expect.value("outcome").toString(), {}};
    const QJsonArray events = expect.value("events").toArray();
    for (const QJsonValue &event : events) {
        ending.events.insert(event.toString());
    }
    return ending;
}

TEST_F(FaultSession, ExpectsWhatItsScriptDoes)
{
    FaultPlan plan(settings);
    for (const QJsonValue &value : commands) {
        const QJsonObject command = value.toObject();
        for (int i = 0; i < command.value("repeat").toInt(1); ++i) {
            EXPECT_EQ(endingWith(plan, recordOf(command)), expectedEnding(command))
                << command.value("name").toString().toStdString();
        }
    }
}

TEST_F(FaultSession, MeetsEveryKindOfFaultButOutages)
{
    FaultPlan plan(settings);
    std::set<FaultKind> met;
    for (const QJsonValue &value : commands) {
        const model_Protocoldata command = recordOf(value.toObject());
        const auto fault = plan.next({command.ucHead[1], command.ucHead[2]});
        if (fault) {
            met.insert(fault->kind);
        }
    }
    // These end more than one reply.
    const std::set<FaultKind> outages{FaultKind::Close, FaultKind::Vanish, FaultKind::Stall, FaultKind::Blackout};
    for (const FaultKind outage : outages) {
        EXPECT_EQ(met.count(outage), 0U);
    }
    EXPECT_EQ(met.size() + outages.size(), static_cast<std::size_t>(faultKinds));
}

TEST(OsdSession, NamesTheSilentDevicesThatTheSimulatorSilences)
{
    const QJsonObject session = sessionOf("osd_100.json");
    const QJsonObject devices = session.value("devices").toObject();
    EXPECT_EQ(devices.value("first").toString(), "127.1.0.1");
    EXPECT_EQ(devices.value("count").toInt(), 100);
    const QJsonArray silent = session.value("silent").toArray();
    ASSERT_EQ(silent.size(), 10);
    EXPECT_EQ(silent.first().toString(), "127.1.0.91");
    EXPECT_EQ(silent.last().toString(), "127.1.0.100");
}

TEST(OsdSession, DiffersFromTheOneWithoutSilentDevicesInNothingElse)
{
    QJsonObject session = sessionOf("osd_100.json");
    QJsonObject allAnswer = sessionOf("osd_100_all_answer.json");
    session.remove("silent");
    session.remove("description");
    allAnswer.remove("description");
    EXPECT_EQ(session, allAnswer);
}

} // namespace
