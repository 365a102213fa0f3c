#ifndef BIZ_TESTKIT_SIMULATED_DEVICE_H
#define BIZ_TESTKIT_SIMULATED_DEVICE_H

#include <chrono>
#include <functional>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QVector>

#include <host/device_link.h>
#include <host/frame_codec.h>
#include <model/model_protocoldata.h>
#include <testkit/device_tally.h>
#include <testkit/faults.h>

namespace biz::testkit {

/**
 * A device of a checked model, or of a recording, in the test's own process: it answers as biz_simulator does, without
 * sockets.
 *
 *     SimulatedDevice device("A2");
 *     host.setLink(device.makeLink());
 *     device.failNext(FaultKind::Late);
 *
 * It lives on one thread with the hosts that it serves; TestClock has time go by. Replies come at the moment of the
 * command unless setReplyDelay() says otherwise.
 */
class SimulatedDevice : public QObject
{
    Q_OBJECT

public:
    using MakeCodec = std::function<std::unique_ptr<host::FrameCodec>()>;

    /** Throws std::invalid_argument when there is no such model. */
    explicit SimulatedDevice(const QString &model = QStringLiteral("A2"), const FaultSettings &faults = {},
                             QObject *parent = nullptr);
    /**
     * A device that answers as the one did that `biz_console run --record` has recorded: each command as that one did,
     * copy by copy and after the same time, and from then on as the last time; silent where that one was, and to
     * commands that are not in the recording. Throws std::invalid_argument when the file is no recording of the device
     * channel.
     */
    static std::unique_ptr<SimulatedDevice> fromRecording(const QString &file, const FaultSettings &faults = {});
    ~SimulatedDevice() override;

    /** A link for a host of its own. It may outlive the device, which is then gone for the host. */
    std::unique_ptr<host::DeviceLink> makeLink();

    /**
     * The codec of links that are made from now on; the demonstration frame by default. FaultKind::FlippedBits and
     * FaultKind::Junk know that frame only: with another codec turned bits may make another frame, and junk ends with a
     * zero, which may not end it for that codec.
     */
    void setCodec(MakeCodec makeCodec);

    /** Of a device of a model; a recorded one has its own. */
    void setReplyDelay(std::chrono::milliseconds delay);

    /** Has the next commands go wrong, before any script; a second call is for those behind them. */
    void failNext(FaultKind kind, int times = 1);

    /** Adds a line to the script of faults. */
    void addFault(const ScriptEntry &entry);

    /** Off: its hosts lose their links, and nothing listens until it is on again. */
    void setPower(bool on);
    bool hasPower() const;

    /** Every command that has reached it, in order, since they were last forgotten. */
    const QVector<model_Protocoldata> &commands() const;

    /** Forgets them, so that a run of many hours needs no more memory. */
    void forgetCommands();

    DeviceTally tally() const;

Q_SIGNALS:
    void commandReceived(const model_Protocoldata &command);

private:
    class Private;
    SimulatedDevice(std::unique_ptr<Private> own, QObject *parent);

    std::unique_ptr<Private> d;
};

} // namespace biz::testkit

#endif
