#include <devices/recorded_answers_p.h>

#include <algorithm>
#include <iterator>

namespace biz::testkit {

const tools::RecordedAnswer *RecordedAnswers::next(const QByteArray &key)
{
    const auto known = m_device.answers.constFind(key);
    if (known == m_device.answers.constEnd()) {
        return nullptr;
    }
    int &given = m_given[key];
    const int last = static_cast<int>(known->size()) - 1;
    const int place = std::min(given, last);
    given = std::min(given + 1, last);
    return &known->at(place);
}

model_Protocoldata replyTo(const model_Protocoldata &command, const tools::RecordedReply &recorded)
{
    model_Protocoldata reply;
    std::copy(recorded.head.begin(), recorded.head.end(), std::begin(reply.ucHead));
    reply.ucHead[0] = static_cast<uchar>(command.ucHead[0] + recorded.sequenceOffset);
    reply.baData = recorded.data;
    return reply;
}

model_OsdParam osdReplyOf(const tools::RecordedReply &recorded)
{
    model_OsdParam reply;
    std::copy(recorded.head.begin(), recorded.head.end(), std::begin(reply.ucOsdHead));
    reply.ucOsdFlag = recorded.flag;
    reply.baData = recorded.data;
    return reply;
}

} // namespace biz::testkit
