// What must hold: show, log and check print any file or refuse it with a reason, and nothing that they print
// steers the terminal.

#include "fuzz_target.h"

#include <QtCore/QTextStream>

#include <biz_console/verbs/verbs.h>
#include <common/errors.h>
#include <fuzz/input_in_memory.h>

namespace {

using namespace biz::console;
using biz::fuzz::require;

void requirePlain(const QString &text)
{
    for (const QChar letter : text) {
        require(letter == QLatin1Char('\n') || letter.category() != QChar::Other_Control,
                "nothing that is shown steers the terminal");
    }
}

void play(int (*verb)(const QStringList &, const Output &), const QStringList &arguments)
{
    QString shown;
    QTextStream stream(&shown);
    try {
        verb(arguments, {stream, stream, false});
    } catch (const biz::tools::InputError &refusal) {
        require(!refusal.problems().isEmpty(), "a refused file is explained");
        stream << refusal.problems().join(QLatin1Char('\n'));
    }
    stream.flush();
    requirePlain(shown);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const biz::fuzz::InputInMemory file(data, size);
    play(runShow, {file.path()});
    play(runShow, {file.path(), QStringLiteral("--command"), QStringLiteral("F1/08"), QStringLiteral("--event"),
                   QStringLiteral("rejected"), QStringLiteral("--since"), QStringLiteral("14:00")});
    play(runLog, {file.path()});
    play(runLog, {file.path(), QStringLiteral("--json")});
    play(runCheck, {QStringLiteral("--file"), file.path()});
    play(runCheck, {QStringLiteral("A2"), QStringLiteral("--file"), file.path(), QStringLiteral("--json")});
    return 0;
}
