#ifndef BIZ_TESTKIT_RECORDED_ANSWERS_P_H
#define BIZ_TESTKIT_RECORDED_ANSWERS_P_H

#include <memory>

#include <QtCore/QHash>

#include <recording/recorded_devices.h>

namespace biz::testkit {

/**
 * What a recorded device says to its commands: to each copy of the same command what it said in the recording, in that
 * order, and from then on what it said the last time.
 */
class RecordedAnswers
{
public:
    explicit RecordedAnswers(const tools::RecordedDevice &device)
        : m_device(device)
    {
    }

    /** The next answer to a command; null when it was never given in the recording. */
    const tools::RecordedAnswer *next(const QByteArray &key);

private:
    const tools::RecordedDevice m_device;
    QHash<QByteArray, int> m_given; ///< how often a command has come
};

/** A recorded reply as one to this command: with its sequence byte, if it had that of its own command. */
model_Protocoldata replyTo(const model_Protocoldata &command, const tools::RecordedReply &recorded);
model_OsdParam osdReplyOf(const tools::RecordedReply &recorded);

} // namespace biz::testkit

#endif
