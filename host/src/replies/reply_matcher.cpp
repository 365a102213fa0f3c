#include <host/reply_matcher.h>

namespace biz::host {

ReplyMatcher::~ReplyMatcher() = default;

bool SequenceByteMatcher::matches(const model_Protocoldata &command, const model_Protocoldata &reply) const
{
    return command.ucHead[0] == reply.ucHead[0];
}

bool AnyReplyMatcher::matches(const model_Protocoldata & /*command*/, const model_Protocoldata & /*reply*/) const
{
    return true;
}

OsdReplyMatcher::~OsdReplyMatcher() = default;

} // namespace biz::host
