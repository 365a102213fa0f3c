#ifndef BIZ_SIMULATOR_TRANSPORT_H
#define BIZ_SIMULATOR_TRANSPORT_H

#include <memory>

#include <biz_simulator/address/listen_address.h>
#include <lines/transport_p.h>

namespace biz::simulator {

using namespace testkit; // whose devices the simulator plays

/** Where a device waits for hosts. */
std::unique_ptr<Transport> makeTransport(const ListenAddress &address);

} // namespace biz::simulator

#endif
