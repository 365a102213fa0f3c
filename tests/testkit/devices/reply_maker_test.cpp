#include <gtest/gtest.h>

#include <array>

#include <biz_cmdswork/biz_cmdswork.h>
#include <devices/reply_maker_p.h>
#include <support/message_recorder.h>

// What simulated devices say is judged by the library's own checkers, as a host would.

namespace {

using namespace biz;
using biz::testkit::FaultKind;
using biz::testkit::makeReply;
using biz::testkit::withFault;

model_Protocoldata commandOf(int command, int subCode, int index, int byte4, int byte5, int payload = 0)
{
    model_Protocoldata record;
    const std::array<int, 7> head = {0x5C, command, subCode, index, byte4, byte5, 0x77};
    for (std::size_t i = 0; i < head.size(); ++i) {
        record.ucHead[i] = static_cast<uchar>(head[i]);
    }
    record.baData = QByteArray(payload, 'x');
    return record;
}

/** Commands of one code with everything that the reply maker may find in their heads. */
std::vector<model_Protocoldata> commandsOf(int command, int subCode)
{
    std::vector<model_Protocoldata> commands;
    for (const int index : {0, 1, 3, 16, 64, 255}) {
        for (const int byte4 : {0, 2, 22, 98, 255}) {
            for (const int byte5 : {0, 1, 255}) {
                commands.push_back(commandOf(command, subCode, index, byte4, byte5));
            }
        }
    }
    commands.push_back(commandOf(command, subCode, 0, 5, 0, 2000));
    return commands;
}

QByteArray headOf(const model_Protocoldata &record)
{
    return {reinterpret_cast<const char *>(record.ucHead), sizeof record.ucHead};
}

class ReplyMaker : public testing::TestWithParam<rules::ModelRules>
{
protected:
    void SetUp() override { biz_CMDSWork::deviceType = GetParam().deviceType; }
    void TearDown() override { biz_CMDSWork::deviceType = -1; }

    bool accepted(const model_Protocoldata &reply) { return worker.checkRecvData(reply); }
    rules::Model model() const { return GetParam().model; }

    /** Calls `visit` with every command and sub-code that has a rule in this model. */
    template<typename Visit>
    void forEachRule(Visit visit)
    {
        int visited = 0;
        for (int command = 0; command <= 0xFF; ++command) {
            for (int subCode = 0; subCode <= 0xFF; ++subCode) {
                if (!rules::rulesOf(model())
                         .ruleFor(static_cast<quint8>(command), static_cast<quint8>(subCode))
                         .empty()) {
                    visit(command, subCode);
                    ++visited;
                }
            }
        }
        ASSERT_GT(visited, 0);
    }

    /** Whether a value of the bytes that `fault` may change gets the reply refused. */
    bool canBeRefused(model_Protocoldata reply, FaultKind fault)
    {
        switch (fault) {
        case FaultKind::IndexOutOfRange:
            for (int index = 0; index <= 0xFF; ++index) {
                reply.ucHead[3] = static_cast<uchar>(index);
                if (!accepted(reply)) {
                    return true;
                }
            }
            return false;
        case FaultKind::DeclaredLength:
            // From 0x000 to 0x7FF and on the 256 highest: every rule's limits lie well within.
            for (int declared = 0; declared <= 0xFFFF; declared += declared == 0x7FF ? 0xFF00 - 0x7FF : 1) {
                reply.ucHead[4] = static_cast<uchar>(declared & 0xFF);
                reply.ucHead[5] = static_cast<uchar>(declared >> 8);
                if (!accepted(reply)) {
                    return true;
                }
            }
            return false;
        default:
            reply.baData.clear(); // no rule asks for fewer bytes than none
            return !accepted(reply);
        }
    }

    void expectOnlyChanged(const model_Protocoldata &reply, const model_Protocoldata &faulty, FaultKind fault)
    {
        model_Protocoldata mended = faulty;
        if (fault == FaultKind::IndexOutOfRange) {
            mended.ucHead[3] = reply.ucHead[3];
        } else if (fault == FaultKind::DeclaredLength) {
            mended.ucHead[4] = reply.ucHead[4];
            mended.ucHead[5] = reply.ucHead[5];
        } else {
            EXPECT_LT(faulty.baData.size(), reply.baData.size());
            mended.baData = reply.baData;
        }
        EXPECT_EQ(headOf(mended), headOf(reply));
        EXPECT_EQ(mended.baData, reply.baData);
    }

    biz_CMDSWork worker;

private:
    // The checkers of two models report one refused reply; here it is refused a thousand times.
    test::MessageRecorder m_reports{{}};
};

TEST_P(ReplyMaker, ItsReplyIsAcceptedWhateverTheCommandHolds)
{
    forEachRule([this](int command, int subCode) {
        for (const model_Protocoldata &given : commandsOf(command, subCode)) {
            const model_Protocoldata reply = makeReply(model(), given);
            EXPECT_TRUE(accepted(reply)) << headOf(given).toHex(' ').constData() << " answered "
                                         << headOf(reply).toHex(' ').constData() << " payload " << reply.baData.size();
        }
    });
}

TEST_P(ReplyMaker, SequenceByteCodeAndLastByteAreTheCommands)
{
    forEachRule([this](int command, int subCode) {
        const model_Protocoldata given = commandOf(command, subCode, 255, 255, 255);
        const model_Protocoldata reply = makeReply(model(), given);
        EXPECT_EQ(headOf(reply).left(3), headOf(given).left(3));
        EXPECT_EQ(reply.ucHead[6], given.ucHead[6]);
    });
}

TEST_P(ReplyMaker, HeadThatTheRuleAdmitsIsKept)
{
    forEachRule([this](int command, int subCode) {
        for (model_Protocoldata given : commandsOf(command, subCode)) {
            given.baData = QByteArray(rules::combineTwoByte(given.ucHead[4], given.ucHead[5]), 'x');
            if (accepted(given)) {
                EXPECT_EQ(headOf(makeReply(model(), given)), headOf(given));
            }
        }
    });
}

TEST_P(ReplyMaker, CommandWithoutRuleIsEchoed)
{
    const model_Protocoldata given = commandOf(0x01, 0x02, 9, 8, 7, 6);
    const model_Protocoldata reply = makeReply(model(), given);
    EXPECT_EQ(headOf(reply), headOf(given));
    EXPECT_EQ(reply.baData, given.baData);
    for (const FaultKind fault : {FaultKind::DeclaredLength, FaultKind::ShortPayload, FaultKind::IndexOutOfRange}) {
        EXPECT_FALSE(withFault(model(), reply, fault));
    }
}

TEST_P(ReplyMaker, FaultGetsTheReplyRefusedWhereverItCan)
{
    for (const FaultKind fault : {FaultKind::DeclaredLength, FaultKind::ShortPayload, FaultKind::IndexOutOfRange}) {
        forEachRule([this, fault](int command, int subCode) {
            const model_Protocoldata reply = makeReply(model(), commandOf(command, subCode, 0, 0, 0));
            const auto faulty = withFault(model(), reply, fault);
            ASSERT_EQ(faulty.has_value(), canBeRefused(reply, fault))
                << testkit::faultName(fault).toStdString() << ' ' << headOf(reply).toHex(' ').constData();
            if (faulty) {
                EXPECT_FALSE(accepted(*faulty));
                expectOnlyChanged(reply, *faulty, fault);
            }
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Models, ReplyMaker, testing::ValuesIn(rules::modelRules),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(ReplyMakerOfA2, LengthRuleGetsThePayloadThatItAsksFor)
{
    const model_Protocoldata reply = makeReply(rules::Model::OrlixA2, commandOf(0xF1, 0x08, 15, 0, 0));
    EXPECT_EQ(rules::combineTwoByte(reply.ucHead[4], reply.ucHead[5]), 354);
    EXPECT_EQ(reply.baData.size(), 354);
}

TEST(ReplyMakerOfA2, ByteThatTheRuleDoesNotLookAtIsKeptBesideOneThatChanges)
{
    const model_Protocoldata reply = makeReply(rules::Model::OrlixA2, commandOf(0x68, 0x28, 200, 7, 200));
    EXPECT_EQ(reply.ucHead[3], 200);
    EXPECT_EQ(reply.ucHead[4], 7);
    EXPECT_LE(reply.ucHead[5], 15);
}

TEST(ReplyMakerOfA1Max, ByteThatTheRuleDoesNotLookAtIsKeptBesideOneThatChanges)
{
    const model_Protocoldata reply = makeReply(rules::Model::OrlixA1Max, commandOf(0x72, 0x00, 200, 200, 9));
    EXPECT_EQ(reply.ucHead[3], 200);
    EXPECT_LE(reply.ucHead[4], 7);
    EXPECT_EQ(reply.ucHead[5], 9);
}

TEST(ReplyMakerOfA2, EachFaultOfTheRejectingKindAppliesToAReadOfManyBytes)
{
    const model_Protocoldata reply = makeReply(rules::Model::OrlixA2, commandOf(0xF1, 0x08, 15, 0x62, 0x01));
    EXPECT_EQ(withFault(rules::Model::OrlixA2, reply, FaultKind::ShortPayload)->baData.size(), 353);
    EXPECT_EQ(withFault(rules::Model::OrlixA2, reply, FaultKind::IndexOutOfRange)->ucHead[3], 16);
    EXPECT_EQ(withFault(rules::Model::OrlixA2, reply, FaultKind::DeclaredLength)->ucHead[4], 0x63);
}

TEST(ReplyMakerOfK250, ShortPayloadAppliesToNoReplySinceNoRuleLooksAtThePayload)
{
    const model_Protocoldata reply = makeReply(rules::Model::K250, commandOf(0x68, 0x08, 35, 0, 0, 100));
    EXPECT_EQ(reply.baData.size(), 100);
    EXPECT_FALSE(withFault(rules::Model::K250, reply, FaultKind::ShortPayload));
}

} // namespace
