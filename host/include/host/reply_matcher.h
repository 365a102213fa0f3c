#ifndef BIZ_HOST_REPLY_MATCHER_H
#define BIZ_HOST_REPLY_MATCHER_H

#include <host/host_export.h>
#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

namespace biz::host {

/**
 * Says which reply belongs to which command of the device channel; an application brings its
 * own by deriving. It is asked on the host's thread, for each command in flight, the oldest
 * first, and for the command that ended last, whose further replies are told apart so. What it throws leaves the event
 * loop of that thread; the reply is lost then.
 */
class BIZ_HOST_EXPORT ReplyMatcher
{
public:
    virtual ~ReplyMatcher();

    /** `command` is as the application gave it, with its sequence number in byte 0 of the head. */
    virtual bool matches(const model_Protocoldata &command, const model_Protocoldata &reply) const = 0;
};

/** The default: byte 0 of the head, the sequence number, is the same. */
class BIZ_HOST_EXPORT SequenceByteMatcher : public ReplyMatcher
{
public:
    bool matches(const model_Protocoldata &command, const model_Protocoldata &reply) const override;
};

/**
 * For protocols whose replies say nothing of their command: any reply belongs to the oldest
 * command in flight. A late reply is then taken for the next command's; only a wait that is
 * longer than the slowest reply keeps that from happening.
 */
class BIZ_HOST_EXPORT AnyReplyMatcher : public ReplyMatcher
{
public:
    bool matches(const model_Protocoldata &command, const model_Protocoldata &reply) const override;
};

/**
 * Says whether a datagram of an OSD device is the reply to the command that is in flight to
 * it, by bytes of their heads for example. Without one, every datagram of the device is.
 */
class BIZ_HOST_EXPORT OsdReplyMatcher
{
public:
    virtual ~OsdReplyMatcher();

    virtual bool matches(const model_OsdParam &command, const model_OsdParam &reply) const = 0;
};

} // namespace biz::host

#endif
