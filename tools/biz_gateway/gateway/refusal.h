#ifndef BIZ_GATEWAY_REFUSAL_H
#define BIZ_GATEWAY_REFUSAL_H

#include <QtCore/QString>

namespace biz::gateway {

/** Why nothing was done about a message. Its id, if it has one, means what it meant before. */
enum class RefusalCode {
    BadMessage,    ///< it cannot be read, or asks for what there is not
    Retained,      ///< it was sent to be kept, and a command is for now
    UnknownDevice, ///< the gateway has no such device
    OtherCommand,  ///< its id names another command
    OverAllowance, ///< its client asks for more than it may
    NoRoom,        ///< the journal cannot take it
    DeviceRefuses, ///< the device's host does not take it
    Stopping,      ///< the gateway is about to end
};

/** The name in JSON: "badMessage"... */
QString refusalName(RefusalCode code);

struct Refusal
{
    RefusalCode code = RefusalCode::BadMessage;
    QString reason;
};

} // namespace biz::gateway

#endif
