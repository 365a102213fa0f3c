#ifndef BIZ_TESTKIT_REPLY_MAKER_P_H
#define BIZ_TESTKIT_REPLY_MAKER_P_H

#include <optional>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <model/model_protocoldata.h>
#include <testkit/fault_kind.h>

/**
 * Replies made from the library's own rule tables. Nothing here knows what a rule says:
 * replies are tried until the tables judge one as wanted.
 */
namespace biz::testkit {

/**
 * A reply that the model accepts. The sequence byte and every value of the command that
 * its rule admits are kept.
 */
model_Protocoldata makeReply(rules::Model model, const model_Protocoldata &command);

/**
 * The reply with the fault in it; none when the fault cannot make the model refuse it, and
 * for the faults that leave a reply's bytes alone.
 */
std::optional<model_Protocoldata> withFault(rules::Model model, const model_Protocoldata &reply, FaultKind fault);

} // namespace biz::testkit

#endif
