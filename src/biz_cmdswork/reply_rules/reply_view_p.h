#ifndef BIZ_REPLY_RULES_REPLY_VIEW_P_H
#define BIZ_REPLY_RULES_REPLY_VIEW_P_H

#include <algorithm>
#include <limits>

#include <biz_cmdswork/reply_rules/reply_p.h>
#include <model/model_protocoldata.h>

namespace biz::rules {

/** The length that the rules judge. Qt 6 can hold more bytes than an int can tell: those count as the most it can. */
inline int lengthOf(const QByteArray &payload)
{
    constexpr qint64 longest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min<qint64>(payload.size(), longest));
}

/** The part of a record that the reply rules look at. */
inline Reply viewOf(const model_Protocoldata &record)
{
    return {record.ucHead[1], record.ucHead[2], record.ucHead[3],
            record.ucHead[4], record.ucHead[5], lengthOf(record.baData)};
}

} // namespace biz::rules

#endif
