#include <host/serve.h>

#include <memory>

#include <serve/session_p.h>

namespace biz::host {

int serve(DeviceHost &host, int input, int output)
{
    const std::unique_ptr<EventSource> events = eventsOf(&host);
    ServedDeviceHost served(host);
    return Session(served, *events, input, output).run();
}

int serve(OsdHost &host, int input, int output)
{
    const std::unique_ptr<EventSource> events = eventsOf(&host);
    ServedOsdHost served(host);
    return Session(served, *events, input, output).run();
}

} // namespace biz::host
