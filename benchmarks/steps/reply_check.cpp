// What judging a reply costs beyond handing the record over by value.

#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_cmdswork/reply_rules_p.h>
#include <peers/accept_all_checker.h>

namespace {

constexpr int deviceTypes[] = {0x1400, 0x1700, 0x1800, 0x7A40, 0x3E0100, 0x7A4200, 0x190000};
constexpr std::size_t replyCount = 4096;

/** Replies whose command and sub-code a rule of the model names, with any other bytes. */
std::vector<model_Protocoldata> makeReplies(int deviceType, bool random)
{
    using namespace biz::rules;

    std::mt19937 engine(1);
    const ModelTable own = tableOf(*modelOfDeviceType(deviceType));
    std::vector<model_Protocoldata> replies(replyCount);
    for (std::size_t i = 0; i < replyCount; ++i) {
        const Row &row = own.table->rows[random ? engine() % own.table->rowCount : 0];
        int subCode = static_cast<int>(random ? engine() % 256 : 0);
        while (!row.subCodes.contains(subCode)) {
            subCode = (subCode + 1) % 256;
        }
        replies[i].ucHead[1] = row.command;
        replies[i].ucHead[2] = static_cast<uchar>(subCode);
        for (int byte = 3; random && byte <= 5; ++byte) {
            replies[i].ucHead[byte] = static_cast<uchar>(engine() % 32);
        }
        // As hosts fill them: the copies share texts and payload.
        replies[i].qsText1 = QStringLiteral("device").repeated(2);
        replies[i].qsText2 = QStringLiteral("command").repeated(2);
        replies[i].qsText3 = QStringLiteral("screen").repeated(2);
        replies[i].baData = QByteArray(static_cast<int>(random ? engine() % 400 : 16), 'x');
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
    // The one debug line of the checkers is not what is measured.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
