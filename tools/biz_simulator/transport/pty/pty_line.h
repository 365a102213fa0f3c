#ifndef BIZ_SIMULATOR_PTY_LINE_H
#define BIZ_SIMULATOR_PTY_LINE_H

#include <memory>

#include <QtCore/QSocketNotifier>

#include <lines/peer_p.h>

namespace biz::simulator {

/** A pseudo-terminal in raw mode: the far end of a serial line whose near end is a port for hosts. */
class PtyLine final : public testkit::Peer
{
    Q_OBJECT

public:
    PtyLine();
    ~PtyLine() override;

    /** Throws CannotListen when the system gives none. */
    void open();

    /** The port's name, such as "/dev/pts/3". */
    QString port() const { return m_port; }

    void setReading(bool on);

    bool isOpen() const override { return m_far >= 0; }

    /** As when an adapter is pulled out: the port is gone for good. */
    void hangUp() override;

Q_SIGNALS:
    void received(const QByteArray &bytes);

protected:
    void write(const QByteArray &bytes) override;

private:
    bool openBothEnds();
    void read();
    void writePending();

    QString m_port;
    int m_far = -1;
    int m_near = -1; ///< held open, so that the line outlives its hosts
    QByteArray m_pending;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
};

} // namespace biz::simulator

#endif
