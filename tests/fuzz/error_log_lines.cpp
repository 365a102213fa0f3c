// What must hold: a line that is understood can be written again byte by byte.

#include "fuzz_target.h"

#include <biz_console/replies/error_log_line.h>

namespace {

using namespace biz::console;

/** The line that the error log writes for what was read. */
QByteArray written(const ErrorLogLine &line)
{
    QByteArray text = '[' + line.loggedName.toLatin1() + "][" + line.time.toLatin1().replace('.', ' ') + "]<";
    for (int i = 1; i <= 5; ++i) {
        text += (i == 1 ? "" : " ") + QByteArray(1, static_cast<char>(line.reply.ucHead[i])).toHex();
    }
    text += '>';
    for (const char byte : line.reply.baData) {
        text += (static_cast<signed char>(byte) < 0 ? "ffffffffffffff" : "") + QByteArray(1, byte).toHex();
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QByteArray &one : text.split('\n')) {
        if (const auto line = readErrorLogLine(one)) {
            biz::fuzz::require(written(*line) == one, "a line that is understood can be written again");
        }
    }
    return 0;
}
