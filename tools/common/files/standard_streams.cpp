#include <common/files/standard_streams.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace biz::tools {

namespace {

bool isClosed(int stream)
{
    return fcntl(stream, F_GETFD) < 0 && errno == EBADF;
}

} // namespace

void guardStandardStreams()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (isClosed(stream)) {
            // Takes the lowest number that is free, which is this one, for the wrong direction.
            const int taken = open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
            static_cast<void>(taken);
        }
    }
}

bool printText(const QString &text)
{
    return std::fputs(qUtf8Printable(text), stdout) >= 0 && std::fflush(stdout) == 0;
}

QString outputFailedText()
{
    return QStringLiteral("the output cannot be written");
}

} // namespace biz::tools
