#include <host/device_link.h>

namespace biz::host {

DeviceLink::DeviceLink(QObject *parent)
    : QObject(parent)
{
}

DeviceLink::~DeviceLink() = default;

bool DeviceLink::canWrite() const
{
    return isOpen();
}

qint64 DeviceLink::bytesHeld() const
{
    return 0;
}

void DeviceLink::discard() {}

bool DeviceLink::keepsMessageBoundaries() const
{
    return false;
}

bool DeviceLink::endWriting()
{
    return false;
}

} // namespace biz::host
