#ifndef BIZ_REPLY_RULES_REPLY_VIEW_P_H
#define BIZ_REPLY_RULES_REPLY_VIEW_P_H

#include <biz_cmdswork/reply_rules/reply_p.h>
#include <model/model_protocoldata.h>

namespace biz::rules {

/** The part of a record that the reply rules look at. */
inline Reply viewOf(const model_Protocoldata &record)
{
    return {record.ucHead[1], record.ucHead[2], record.ucHead[3],
            record.ucHead[4], record.ucHead[5], record.baData.size()};
}

} // namespace biz::rules

#endif
