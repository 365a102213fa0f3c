#ifndef BIZ_TESTS_HOST_OSD_ANSWERING_NETWORK_H
#define BIZ_TESTS_HOST_OSD_ANSWERING_NETWORK_H

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sys/types.h>

#include <QtCore/QByteArray>

namespace biz::test {

/**
 * Any number of devices, played by one socket on all of this machine's addresses: what is sent to an
 * address is answered with the same bytes from that address. A thread of its own answers.
 */
class AnsweringNetwork
{
public:
    /** Each command is answered as soon as it is read. */
    AnsweringNetwork();
    ~AnsweringNetwork();
    AnsweringNetwork(const AnsweringNetwork &) = delete;
    AnsweringNetwork &operator=(const AnsweringNetwork &) = delete;

    /** From now on the answers are kept until so many commands have come, and then sent in one go after a pause. */
    void keepAnswersUntil(int commands, std::chrono::milliseconds pause);

    quint16 port() const;

    /** How many commands have come by now. */
    int commands() const { return m_commands; }

    /** How many answers have been sent by now. */
    int answers() const { return m_answers; }

private:
    struct Command
    {
        sockaddr_in sender;
        in_addr device;
        QByteArray bytes;
    };

    void run();
    bool read(Command *command) const;
    void answer(const Command &command);

    int m_socket = -1;
    std::atomic<int> m_keepUntil{0};
    std::atomic<std::chrono::milliseconds> m_pause{std::chrono::milliseconds(0)};
    std::atomic<int> m_commands{0};
    std::atomic<int> m_answers{0};
    std::atomic<bool> m_isOver{false};
    std::vector<Command> m_kept;
    std::thread m_thread;
};

} // namespace biz::test

#endif
