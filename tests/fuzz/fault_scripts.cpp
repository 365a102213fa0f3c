// What must hold: the simulator's readers read a file or refuse it with a reason. What they
// read is compared with nothing.

#include "fuzz_target.h"

#include <biz_simulator/options/device_file.h>
#include <biz_simulator/options/fault_script.h>
#include <common/errors.h>

namespace {

using namespace biz::simulator;
using biz::fuzz::require;

template<typename Reader>
void read(Reader reader, const QByteArray &text)
{
    try {
        reader({QStringLiteral("input"), text});
    } catch (const biz::tools::InputError &refusal) {
        require(refusal.what()[0] != '\0', "a refused file is explained");
    }
}

template<typename Reader>
void readOption(Reader reader, const QByteArray &text)
{
    try {
        reader(QString::fromUtf8(text));
    } catch (const biz::tools::UsageError &refusal) {
        require(refusal.what()[0] != '\0', "a refused option is explained");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    read(readFaultScript, text);
    read(readDeviceFile, text);

    readOption(readFaultOption, text);
    readOption(readFaultRate, text);
    return 0;
}
