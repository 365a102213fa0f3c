#include "answering_network.h"

#include <array>
#include <cstring>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace biz::test {

namespace {

constexpr int roomForAll = 64 * 1024 * 1024; ///< bytes; what the system does not give is left to its limit
constexpr int pollMs = 5;

struct alignas(cmsghdr) ControlBytes
{
    std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> bytes{};
};

/** One message of one part, with room for the address at this end. */
msghdr messageOf(sockaddr_in &peer, iovec &part, ControlBytes &control)
{
    msghdr message{};
    message.msg_name = &peer;
    message.msg_namelen = sizeof(peer);
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes.data();
    message.msg_controllen = control.bytes.size();
    return message;
}

} // namespace

AnsweringNetwork::AnsweringNetwork()
    : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    constexpr int on = 1;
    EXPECT_EQ(::setsockopt(m_socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof(on)), 0);
    if (::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUFFORCE, &roomForAll, sizeof(roomForAll)) != 0) {
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &roomForAll, sizeof(roomForAll));
    }
    sockaddr_in any{};
    any.sin_family = AF_INET;
    EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr *>(&any), sizeof(any)), 0);
    m_thread = std::thread([this] { run(); });
}

AnsweringNetwork::~AnsweringNetwork()
{
    m_isOver = true;
    m_thread.join();
    ::close(m_socket);
}

void AnsweringNetwork::keepAnswersUntil(int commands, std::chrono::milliseconds pause)
{
    m_pause = pause;
    m_keepUntil = commands;
}

quint16 AnsweringNetwork::port() const
{
    sockaddr_in own{};
    socklen_t size = sizeof(own);
    EXPECT_EQ(::getsockname(m_socket, reinterpret_cast<sockaddr *>(&own), &size), 0);
    return ntohs(own.sin_port);
}

void AnsweringNetwork::run()
{
    using Clock = std::chrono::steady_clock;

    Clock::time_point lastAt;
    while (!m_isOver) {
        pollfd readable{m_socket, POLLIN, 0};
        ::poll(&readable, 1, pollMs);
        for (Command command; read(&command);) {
            lastAt = Clock::now();
            ++m_commands;
            if (m_keepUntil == 0) {
                answer(command);
            } else {
                m_kept.push_back(command);
            }
        }
        if (!m_kept.empty() && m_commands >= m_keepUntil && Clock::now() - lastAt >= m_pause.load()) {
            for (const Command &command : m_kept) {
                answer(command);
            }
            m_kept.clear();
        }
    }
}

bool AnsweringNetwork::read(Command *command) const
{
    constexpr std::size_t longest = 65536;
    static thread_local std::vector<char> buffer(longest);
    iovec part{buffer.data(), buffer.size()};
    ControlBytes control;
    msghdr message = messageOf(command->sender, part, control);
    const ssize_t size = ::recvmsg(m_socket, &message, 0);
    if (size < 0) {
        return false;
    }
    command->bytes = QByteArray(buffer.data(), static_cast<int>(size));
    in_pktinfo info{};
    std::memcpy(&info, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof(info));
    command->device = info.ipi_addr;
    return true;
}

void AnsweringNetwork::answer(const Command &command)
{
    sockaddr_in to = command.sender;
    iovec part{const_cast<char *>(command.bytes.constData()), static_cast<std::size_t>(command.bytes.size())};
    ControlBytes control;
    msghdr message = messageOf(to, part, control);
    cmsghdr *const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_spec_dst = command.device;
    std::memcpy(CMSG_DATA(header), &info, sizeof(info));
    pollfd writable{m_socket, POLLOUT, 0};
    while (::sendmsg(m_socket, &message, 0) < 0 && !m_isOver) {
        ::poll(&writable, 1, pollMs);
    }
    ++m_answers;
}

} // namespace biz::test
