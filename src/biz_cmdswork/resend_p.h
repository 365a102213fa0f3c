#ifndef BIZ_RESEND_P_H
#define BIZ_RESEND_P_H

class biz_CMDSWork;

namespace biz::channel {

enum class TimeoutAction { Resent, GaveUp };

/**
 * Counts one time-out of the command in flight, then announces it a second time or, at
 * the limit, gives it up and opens the gate. The send loop and the watchdogs share the
 * count, so a host that runs both reaches the limit sooner.
 */
TimeoutAction resendOrGiveUp(biz_CMDSWork &worker);

} // namespace biz::channel

#endif
