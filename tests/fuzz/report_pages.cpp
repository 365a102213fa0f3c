// What must hold: of any file a page is made, or it is refused with a reason; and what a file holds is text in the
// page, whatever it holds.

#include "fuzz_target.h"

#include <biz_console/report/history_files.h>
#include <common/errors.h>
#include <fuzz/input_in_memory.h>
#include <history/findings/findings.h>
#include <report/report_page.h>

namespace {

using biz::fuzz::require;

QByteArray pageOf(const biz::history::History &history)
{
    return biz::report::reportPage(history, biz::history::findingsOf(history), {QStringLiteral("fuzzer"), 0.0});
}

int countOf(const char *what, const QByteArray &page)
{
    return static_cast<int>(page.count(what));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const int scripts = countOf("<script", pageOf({}));
    const biz::fuzz::InputInMemory file(data, size);
    try {
        const QByteArray page = pageOf(biz::console::readHistory({file.path()}));
        require(countOf("<script", page) == scripts, "what a file holds is no script");
        require(countOf("<img", page) == 0 && countOf("\033", page) == 0, "what a file holds is text");
    } catch (const biz::tools::InputError &refusal) {
        require(refusal.what()[0] != '\0', "a refused file is explained");
    }
    return 0;
}
