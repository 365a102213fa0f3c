// What judging a reply costs beyond handing the record over by value.

#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_cmdswork/reply_rules/models_p.h>
#include <peers/accept_all_checker.h>

namespace {

constexpr int deviceTypes[] = {0x1400, 0x1700, 0x1800, 0x7A40, 0x3E0100, 0x7A4200, 0x190000};
constexpr std::size_t replyCount = 4096;

/** The one reply whose refusal writes a debug line too, which is not what is measured. */
bool isReported(const model_Protocoldata &reply)
{
    return reply.ucHead[1] == 0xF1 && reply.ucHead[2] == 0x05;
}

model_Protocoldata makeReply(const biz::rules::Table &table, std::mt19937 &engine)
{
    model_Protocoldata reply;
    do {
        const auto rowCount = static_cast<std::size_t>(table.end() - table.begin());
        const biz::rules::Row &row = table.begin()[engine() % rowCount];
        auto subCode = static_cast<int>(engine() % 256);
        while (!row.subCodes.contains(subCode)) {
            subCode = (subCode + 1) % 256;
        }
        reply.ucHead[1] = row.command;
        reply.ucHead[2] = static_cast<uchar>(subCode);
    } while (isReported(reply));
    for (int byte = 3; byte <= 5; ++byte) {
        reply.ucHead[byte] = static_cast<uchar>(engine() % 32);
    }
    // As hosts fill them: the copies share texts and payload.
    reply.qsText1 = QStringLiteral("device").repeated(2);
    reply.qsText2 = QStringLiteral("command").repeated(2);
    reply.qsText3 = QStringLiteral("screen").repeated(2);
    reply.baData = QByteArray(static_cast<int>(engine() % 400), 'x');
    return reply;
}

/**
 * Replies whose command and sub-code a rule of the model names, with any other bytes: each
 * a different one, or the same one again and again in memory of its own.
 */
std::vector<model_Protocoldata> makeReplies(int deviceType, bool random)
{
    using namespace biz::rules;

    std::mt19937 engine(1);
    const Table &table = *rulesOf(*modelOfDeviceType(deviceType)).table;
    std::vector<model_Protocoldata> replies;
    for (std::size_t i = 0; i < replyCount; ++i) {
        if (!random) {
            engine.seed(1);
        }
        replies.push_back(makeReply(table, engine));
    }
    return replies;
}

template<typename Checker>
void judge(benchmark::State &state, Checker &checker)
{
    const int deviceType = deviceTypes[state.range(0)];
    biz_CMDSWork::deviceType = deviceType;
    const auto replies = makeReplies(deviceType, state.range(1) != 0);
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(checker.checkRecvData(replies[next]));
        next = (next + 1) % replyCount;
    }
}

void library(benchmark::State &state)
{
    biz_CMDSWork worker;
    judge(state, worker);
}

void acceptAll(benchmark::State &state)
{
    AcceptAllChecker checker;
    judge(state, checker);
}

void everyModel(benchmark::internal::Benchmark *benchmark)
{
    for (int model = 0; model < static_cast<int>(std::size(deviceTypes)); ++model) {
        benchmark->Args({model, 0})->Args({model, 1});
    }
}

} // namespace

BENCHMARK(library)->Apply(everyModel);
BENCHMARK(acceptAll)->Apply(everyModel);

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
