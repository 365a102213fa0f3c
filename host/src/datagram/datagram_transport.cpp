#include <host/datagram_transport.h>

namespace biz::host {

DatagramTransport::DatagramTransport(QObject *parent)
    : QObject(parent)
{
}

DatagramTransport::~DatagramTransport() = default;

void DatagramTransport::forget(const QHostAddress & /*device*/) {}

} // namespace biz::host
