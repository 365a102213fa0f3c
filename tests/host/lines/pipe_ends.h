#ifndef BIZ_TESTS_HOST_LINES_PIPE_ENDS_H
#define BIZ_TESTS_HOST_LINES_PIPE_ENDS_H

#include <csignal>
#include <utility>

#include <QtCore/QByteArray>

#include <fcntl.h>
#include <unistd.h>

namespace biz::test {

/** A pipe. Neither end of it blocks this process, and a write that nobody reads is an error and no signal. */
class PipeEnds
{
public:
    PipeEnds()
    {
        std::signal(SIGPIPE, SIG_IGN);
        if (pipe2(m_ends, O_CLOEXEC) == 0) {
            fcntl(m_ends[0], F_SETFL, O_NONBLOCK);
        }
    }
    ~PipeEnds()
    {
        closeRead();
        closeWrite();
    }
    PipeEnds(const PipeEnds &) = delete;
    PipeEnds &operator=(const PipeEnds &) = delete;

    int readEnd() const { return m_ends[0]; }
    int writeEnd() const { return m_ends[1]; }
    void closeRead() { closeEnd(m_ends[0]); }
    void closeWrite() { closeEnd(m_ends[1]); }

    void write(const QByteArray &bytes) const
    {
        if (::write(m_ends[1], bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size()) {
            qFatal("the pipe is full");
        }
    }

    /** All that is in the pipe now. */
    QByteArray readAll() const
    {
        QByteArray all;
        char bytes[4096];
        for (auto size = read(m_ends[0], bytes, sizeof(bytes)); size > 0;
             size = read(m_ends[0], bytes, sizeof(bytes))) {
            all.append(bytes, static_cast<int>(size));
        }
        return all;
    }

private:
    static void closeEnd(int &end)
    {
        if (end >= 0) {
            close(std::exchange(end, -1));
        }
    }

    int m_ends[2] = {-1, -1};
};

} // namespace biz::test

#endif
