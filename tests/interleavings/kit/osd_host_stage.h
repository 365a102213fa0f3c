#ifndef BIZ_INTERLEAVINGS_OSD_HOST_STAGE_H
#define BIZ_INTERLEAVINGS_OSD_HOST_STAGE_H

#include <memory>
#include <vector>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <host/osd_host.h>
#include <interleavings/kit/host_stage.h>

namespace biz::interleavings {

/** Datagrams to devices that the script plays. */
class ScriptedTransport final : public host::DatagramTransport
{
public:
    struct Arrived
    {
        QHostAddress device;
        QByteArray datagram;
        nanoseconds at;
    };

    explicit ScriptedTransport(std::function<nanoseconds()> now)
        : m_now(std::move(now))
    {
    }

    std::vector<Arrived> arrived; ///< at the devices, and not answered

    /** What a device has sent is there when the host looks for it. */
    void answer(std::size_t index);

    QString open(const QHostAddress & /*local*/) override { return {}; }
    void close() override { m_answers.clear(); }
    SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) override;
    void readPending() override;

private:
    std::function<nanoseconds()> m_now;
    std::vector<Arrived> m_answers;
};

/** An OsdHost with the channel's loops, and its devices. */
class OsdHostStage final : public HostStage
{
public:
    OsdHostStage(RecordingChooser &chooser, bool planted);
    ~OsdHostStage() override;
    OsdHostStage(const OsdHostStage &) = delete;
    OsdHostStage &operator=(const OsdHostStage &) = delete;

    using Script = void (*)(OsdHostStage &stage);
    static Findings play(Script script, RecordingChooser &chooser, bool planted);

    // --- For the script -------------------------------------------------------------------

    void start();
    host::OsdHost &host() { return *m_host; }
    host::Ticket give(const QString &ip, int waitMs = longWaitOfHostMs);

    /** The device answers what has arrived last, and the host looks. */
    void answerLast();

    /** The worker whose loops run. */
    static biz_Osd_CMDSWork &worker();

private:
    void finish();
    void connectHost();
    void answerWhatHasArrived() override;

    std::unique_ptr<host::OsdHost> m_host;
    ScriptedTransport *m_transport = nullptr; ///< the host's
};

} // namespace biz::interleavings

#endif
