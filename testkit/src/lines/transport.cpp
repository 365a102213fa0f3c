#include <lines/transport_p.h>

namespace biz::testkit {

Transport::Transport(QObject *parent)
    : QObject(parent)
{
}

Transport::~Transport() = default;

} // namespace biz::testkit
