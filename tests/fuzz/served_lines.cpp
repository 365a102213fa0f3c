#include "fuzz_target.h"

#include <fleet/worker_line_p.h>
#include <lines/line_splitter_p.h>
#include <serve/request_p.h>

// What a client and a worker may say to each other: whatever it is, it is taken or explained, and stays in its bounds.

namespace {

using namespace biz::host;
using biz::fuzz::require;

void readAsRequest(const QByteArray &line, ServedChannel channel)
{
    const ReadRequest read = readRequest(line, channel);
    require(read.id.size() <= longestRequestId, "an id is bounded");
    if (!read.problem.isEmpty()) {
        return;
    }
    const bool needsId = read.request.what == Request::Do::Command || read.request.what == Request::Do::Cancel;
    require(needsId == !read.request.id.isEmpty(), "who needs an id has one");
    require(read.request.device.iWaitTime <= longestRequestMs, "a wait is bounded");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    LineSplitter splitter;
    qint64 lastNumber = 0;
    const auto take = [&lastNumber](const InputLine &line) {
        require(line.number > lastNumber, "lines are numbered in their order");
        lastNumber = line.number;
        require(line.text.size() <= LineSplitter::longestLine, "a line is bounded");
        readAsRequest(line.text, ServedChannel::Device);
        readAsRequest(line.text, ServedChannel::Osd);
        if (const auto said = readWorkerLine(line.text)) {
            require(said->event.history.size() <= maxCommandEvents, "a history is bounded");
            recordOf(said->event);
        }
    };
    splitter.add(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)), take);
    splitter.finish(take);
    return 0;
}
