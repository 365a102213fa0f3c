// One line of the error log against the same bytes written with plain Qt calls.

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <biz_cmdswork/biz_cmdswork.h>
#include <peers/plain_error_log.h>

namespace {

model_Protocoldata rejectedReply(benchmark::State &state)
{
    model_Protocoldata reply;
    reply.ucHead[1] = 0xF1;
    reply.ucHead[2] = 0x08;
    const int size = static_cast<int>(state.range(0));
    for (int i = 0; i < size; ++i) {
        reply.baData.append(static_cast<char>(i));
    }
    return reply;
}

template<typename Write>
void writeLines(benchmark::State &state, Write write)
{
    biz_CMDSWork::deviceType = 0x1400;
    const model_Protocoldata reply = rejectedReply(state);
    const QTemporaryDir scratch;
    QDir::setCurrent(scratch.path());
    for (auto _ : state) {
        write(reply);
    }
    QDir::setCurrent(QDir::rootPath());
}

void library(benchmark::State &state)
{
    biz_CMDSWork worker;
    writeLines(state, [&worker](const model_Protocoldata &reply) { worker.writeErrorLog(reply); });
}

void withTable(benchmark::State &state)
{
    writeLines(state, writeWithTable);
}

void withArg(benchmark::State &state)
{
    writeLines(state, writeWithArg);
}

} // namespace

BENCHMARK(library)->Arg(0)->Arg(16)->Arg(354)->Arg(1457);
BENCHMARK(withTable)->Arg(0)->Arg(16)->Arg(354)->Arg(1457);
BENCHMARK(withArg)->Arg(354);

BENCHMARK_MAIN();
