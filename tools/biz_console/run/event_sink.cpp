#include <biz_console/run/event_sink.h>

namespace biz::console {

QString RunEvent::kindName() const
{
    switch (kind) {
    case Kind::Opened:
        return QStringLiteral("opened");
    case Kind::LinkStateChanged:
        return QStringLiteral("linkStateChanged");
    case Kind::Given:
        return QStringLiteral("given");
    case Kind::Happened:
        return eventName(event);
    case Kind::Ended:
        return host::outcomeName(outcome);
    case Kind::Refused:
        return QStringLiteral("refused");
    case Kind::Failed:
        return QStringLiteral("failed");
    case Kind::Problem:
        return QStringLiteral("problem");
    }
    return {};
}

} // namespace biz::console
