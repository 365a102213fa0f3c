#ifndef BIZ_HOST_FILE_SINK_P_H
#define BIZ_HOST_FILE_SINK_P_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>

#include <event_log/line_sink_p.h>
#include <host/event_log.h>

namespace biz::host {

/** Files that follow each other, the last few of which are kept. Each begins with a `start` line. */
class FileSink final : public LineSink
{
public:
    explicit FileSink(EventFile file);

    Result begin(const QByteArray &head) override;
    Result write(const QByteArray &lines) override;
    Result writeLost() override;

private:
    int sizeThatFits(const QByteArray &lines, qint64 written) const;
    QByteArray put(QByteArray lines);
    bool open();
    bool writeStart();
    bool append(const QByteArray &lines, qint64 written);
    bool beginNext();
    Result fail();

    const EventFile m_settings;
    QFile m_file;
    QByteArray m_startLine;
    bool m_needsStart = false; ///< the file that is open, or is to be opened, lacks it
    bool m_hasBegun = false;   ///< a start line since the last write() began
    qint64 m_lostLines = 0;
    QElapsedTimer m_sinceFailure;
};

} // namespace biz::host

#endif
