#include <biz_gateway/gateway/refusal.h>

namespace biz::gateway {

QString refusalName(RefusalCode code)
{
    switch (code) {
    case RefusalCode::BadMessage:
        return QStringLiteral("badMessage");
    case RefusalCode::Retained:
        return QStringLiteral("retained");
    case RefusalCode::UnknownDevice:
        return QStringLiteral("unknownDevice");
    case RefusalCode::OtherCommand:
        return QStringLiteral("otherCommand");
    case RefusalCode::OverAllowance:
        return QStringLiteral("overAllowance");
    case RefusalCode::NoRoom:
        return QStringLiteral("noRoom");
    case RefusalCode::DeviceRefuses:
        return QStringLiteral("deviceRefuses");
    case RefusalCode::Stopping:
        return QStringLiteral("stopping");
    }
    return {};
}

} // namespace biz::gateway
