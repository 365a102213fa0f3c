#ifndef BIZ_TESTKIT_DEVICE_TALLY_H
#define BIZ_TESTKIT_DEVICE_TALLY_H

#include <array>

#include <QtCore/QString>

#include <testkit/fault_kind.h>

namespace biz::testkit {

/** What devices did with the commands that they received. */
struct DeviceTally
{
    quint64 received = 0;
    quint64 replies = 0;                      ///< frames or datagrams that were sent
    std::array<quint64, faultKinds> faults{}; ///< commands that met a fault of each kind
    quint64 unfit = 0;                        ///< faults that could not do harm to their command
    quint64 lost = 0;                         ///< replies that could not be delivered
    quint64 refused = 0;                      ///< things received that held no valid frame

    void count(FaultKind fault) { ++faults[static_cast<std::size_t>(fault)]; }
};

/** "12 commands, 10 replies, 3 faults (1 silence, 2 junk)..." */
QString summaryText(const DeviceTally &tally);

} // namespace biz::testkit

#endif
