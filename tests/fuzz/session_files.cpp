// What must hold: the console's readers read a file or refuse it with a reason. What they read
// is compared with nothing.

#include "fuzz_target.h"

#include <biz_console/session/session_reader.h>
#include <common/errors.h>

namespace {

using namespace biz::console;

template<typename Reader>
void read(Reader reader, const QByteArray &text)
{
    try {
        reader({QStringLiteral("input"), text});
    } catch (const biz::tools::InputError &error) {
        biz::fuzz::require(error.what()[0] != '\0', "an error says what is wrong");
        biz::fuzz::require(!error.text().contains(QChar(0x1b)), "nothing that is shown steers the terminal");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    read(readDeviceSession, text);
    read(readOsdSession, text);
    return 0;
}
