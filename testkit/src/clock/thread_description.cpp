#include <clock/thread_description_p.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

#include <sys/syscall.h>
#include <unistd.h>

namespace biz::testkit {

namespace {

struct BlockingCall
{
    long number;
    const char *name;
    bool hasDescriptor; ///< as its first argument
};

/** What threads wait in most often. */
constexpr BlockingCall blockingCalls[] = {
    {SYS_read, "read()", true},
    {SYS_write, "write()", true},
    {SYS_recvfrom, "recvfrom()", true},
    {SYS_recvmsg, "recvmsg()", true},
    {SYS_sendto, "sendto()", true},
    {SYS_sendmsg, "sendmsg()", true},
    {SYS_connect, "connect()", true},
    {SYS_accept, "accept()", true},
    {SYS_accept4, "accept4()", true},
    {SYS_epoll_pwait, "epoll_wait()", true},
    {SYS_ppoll, "poll()", false},
    {SYS_pselect6, "select()", false},
    {SYS_futex, "futex()", false},
    {SYS_wait4, "wait()", false},
    {SYS_waitid, "waitid()", false},
    {SYS_clock_nanosleep, "clock_nanosleep()", false},
#ifdef SYS_poll
    {SYS_poll, "poll()", false},
    {SYS_select, "select()", false},
    {SYS_epoll_wait, "epoll_wait()", true},
#endif
};

std::string firstLineOf(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string fileOfThread(int thread, const char *name)
{
    return "/proc/self/task/" + std::to_string(thread) + "/" + name;
}

} // namespace

std::string nameOfThread(int thread)
{
    return thread == 0 ? "that has not begun" : "\"" + firstLineOf(fileOfThread(thread, "comm")) + "\"";
}

std::string describeDescriptor(int descriptor)
{
    std::array<char, 256> target{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
    return std::to_string(descriptor) +
           (size > 0 ? " (" + std::string(target.data(), static_cast<std::size_t>(size)) + ")" : std::string());
}

std::string describeActivity(int thread)
{
    std::istringstream line(firstLineOf(fileOfThread(thread, "syscall")));
    long number = -1;
    std::string argument;
    if (!(line >> number >> argument)) {
        return "runs";
    }
    const auto *const known = std::find_if(std::begin(blockingCalls), std::end(blockingCalls),
                                           [number](const BlockingCall &call) { return call.number == number; });
    if (known == std::end(blockingCalls)) {
        return "is in the system's call " + std::to_string(number);
    }
    std::string text = std::string("is in the system's call ") + known->name;
    if (known->hasDescriptor) {
        text += " of " + describeDescriptor(static_cast<int>(std::stoul(argument, nullptr, 16)));
    }
    return text;
}

} // namespace biz::testkit
