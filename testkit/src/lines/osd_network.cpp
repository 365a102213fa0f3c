#include <lines/osd_network_p.h>

namespace biz::testkit {

OsdNetwork::OsdNetwork(QObject *parent)
    : QObject(parent)
{
}

OsdNetwork::~OsdNetwork() = default;

} // namespace biz::testkit
