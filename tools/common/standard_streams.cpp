#include <common/standard_streams.h>

#include <csignal>

namespace biz::tools {

void guardStandardStreams()
{
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace biz::tools
