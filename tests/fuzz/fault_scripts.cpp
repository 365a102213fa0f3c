#include "fuzz_target.h"

#include <biz_simulator/fault_script.h>

namespace {

using namespace biz::simulator;
using biz::fuzz::require;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QString error;

    QVector<ScriptEntry> entries;
    require(readFaultScript(text, &entries, &error) || !error.isEmpty(), "a refused script is explained");

    error.clear();
    ScriptEntry entry;
    require(readFaultOption(QString::fromUtf8(text), &entry, &error) || !error.isEmpty(),
            "a refused option is explained");

    error.clear();
    FaultRate rate;
    require(readFaultRate(QString::fromUtf8(text), &rate, &error) || !error.isEmpty(), "a refused rate is explained");
    return 0;
}
