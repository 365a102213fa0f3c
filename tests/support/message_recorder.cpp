#include <support/message_recorder.h>

#include <atomic>
#include <utility>

#include <QtCore/QString>

namespace biz::test {

namespace {

std::atomic<MessageRecorder *> current{nullptr};

} // namespace

MessageRecorder::MessageRecorder(NamedLocks watched, Journal *journal)
    : m_watched(std::move(watched))
    , m_journal(journal)
{
    current = this;
    m_before = qInstallMessageHandler(&MessageRecorder::handle);
}

MessageRecorder::~MessageRecorder()
{
    qInstallMessageHandler(m_before);
    current = nullptr;
}

void MessageRecorder::handle(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (MessageRecorder *recorder = current) {
        recorder->record(type, text);
    }
}

void MessageRecorder::record(QtMsgType type, const QString &text)
{
    DebugMessage message{text.toStdString(), type, VirtualTime::currentThread(), heldOf(m_watched)};
    if (m_journal != nullptr) {
        m_journal->add("message " + message.text);
    }
    const std::lock_guard<std::mutex> lock(m_guard);
    m_messages.push_back(std::move(message));
}

std::vector<DebugMessage> MessageRecorder::messages() const
{
    const std::lock_guard<std::mutex> lock(m_guard);
    return m_messages;
}

std::vector<std::string> MessageRecorder::texts() const
{
    std::vector<std::string> texts;
    for (const DebugMessage &message : messages()) {
        texts.push_back(message.text);
    }
    return texts;
}

void MessageRecorder::clear()
{
    const std::lock_guard<std::mutex> lock(m_guard);
    m_messages.clear();
}

} // namespace biz::test
