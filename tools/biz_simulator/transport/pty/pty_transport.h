#ifndef BIZ_SIMULATOR_PTY_TRANSPORT_H
#define BIZ_SIMULATOR_PTY_TRANSPORT_H

#include <biz_simulator/transport/pty/link_claim.h>
#include <lines/transport_p.h>

namespace biz::simulator {

class PtyLine;

/**
 * A serial line: a pseudo-terminal. It gets a name of the system's choice each time that it is
 * opened; a symbolic link to it, if one is wanted, keeps its name.
 */
class PtyTransport final : public testkit::Transport
{
    Q_OBJECT

public:
    /** `linkPath`: of the symbolic link; empty: none. */
    explicit PtyTransport(const QString &linkPath);
    ~PtyTransport() override;

    bool open() override;
    void close() override;
    void setReading(bool on) override;
    bool isOpen() const override;
    QString url() const override;
    QString errorString() const override { return m_error; }

private:
    void openLine();
    void makeLink();
    bool isLeftOver() const;

    QString m_linkPath;
    LinkClaim m_claim; ///< held while open with a link
    QString m_port;    ///< "/dev/pts/3"
    QString m_error;
    std::shared_ptr<PtyLine> m_line;
};

} // namespace biz::simulator

#endif
