#ifndef BIZ_TESTKIT_ANSWER_P_H
#define BIZ_TESTKIT_ANSWER_P_H

#include <optional>

#include <QtCore/QVector>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <faults/fault_plan_p.h>
#include <model/model_protocoldata.h>

namespace biz::testkit {

/** What a device says to one command, before anything happens to it on its way. */
struct Answer
{
    QVector<model_Protocoldata> replies; ///< in the order in which they leave
    int unrequested = 0;                 ///< how many of them, from the first, nobody asked for
    bool faultApplies = true;            ///< false: the fault could do the reply no harm
};

/** By the rules of the model. */
Answer answerTo(rules::Model model, const model_Protocoldata &command, const std::optional<Fault> &fault);

/** This reply, and what the fault makes of it. */
Answer answerWith(rules::Model model, const model_Protocoldata &reply, const std::optional<Fault> &fault);

} // namespace biz::testkit

#endif
