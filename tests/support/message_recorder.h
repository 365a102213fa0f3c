#ifndef BIZ_TEST_MESSAGE_RECORDER_H
#define BIZ_TEST_MESSAGE_RECORDER_H

#include <mutex>
#include <string>
#include <vector>

#include <QtCore/QtGlobal>

#include <support/held_locks.h>
#include <support/journal.h>
#include <support/virtual_time.h>

namespace biz::test {

/** One message of Qt's debug output, as the handler got it. */
struct DebugMessage
{
    std::string text;
    QtMsgType type;
    ThreadId thread;
    std::vector<std::string> heldLocks; ///< of those that the recorder watches
};

/** Takes Qt's debug output during its life. One at a time. */
class MessageRecorder
{
public:
    explicit MessageRecorder(NamedLocks watched, Journal *journal = nullptr);
    ~MessageRecorder();
    MessageRecorder(const MessageRecorder &) = delete;
    MessageRecorder &operator=(const MessageRecorder &) = delete;

    std::vector<DebugMessage> messages() const;

    /** The texts alone, in order. */
    std::vector<std::string> texts() const;

    void clear();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);
    void record(QtMsgType type, const QString &text);

    NamedLocks m_watched;
    Journal *m_journal;
    QtMessageHandler m_before;
    mutable std::mutex m_guard;
    std::vector<DebugMessage> m_messages;
};

} // namespace biz::test

#endif
