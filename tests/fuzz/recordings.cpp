// What must hold: the reader of recordings reads or refuses with a reason, and what it read
// does not differ from itself.

#include "fuzz_target.h"

#include <biz_console/recording/line_text.h>
#include <biz_console/recording/recording_compare.h>
#include <biz_console/recording/recording_reader.h>
#include <common/errors.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace biz::console;
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QByteArray &line : text.split('\n')) {
        try {
            const QString shown = lineText(biz::tools::RecordingLine(line, QStringLiteral("input"), 1));
            biz::fuzz::require(!shown.contains(QChar(0x1b)), "nothing that is shown steers the terminal");
        } catch (const biz::tools::InputError &error) {
            biz::fuzz::require(error.what()[0] != '\0', "an error says what is wrong");
        }
    }
    try {
        const Recording recording = readRecording(text);
        biz::fuzz::require(differences(recording, recording).isEmpty(), "a recording does not differ from itself");
        for (const RecordedStep &step : recording.steps) {
            biz::fuzz::require(step.delayMs >= 0, "nothing is played before what it follows");
        }
    } catch (const biz::tools::InputError &error) {
        biz::fuzz::require(error.what()[0] != '\0', "an error says what is wrong");
    }
    return 0;
}
