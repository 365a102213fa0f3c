#ifndef BIZ_HOST_LINES_LINE_INPUT_P_H
#define BIZ_HOST_LINES_LINE_INPUT_P_H

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <lines/line_splitter_p.h>

namespace biz::host {

/** Lines from a pipe, a socket or a file, read as they come and as long as they are wanted. */
class LineInput : public QObject
{
    Q_OBJECT

public:
    /** The descriptor stays the caller's. */
    explicit LineInput(int descriptor, QObject *parent = nullptr);
    ~LineInput() override;

    /** While paused nothing is read; what has been read is told to its end. */
    void setPaused(bool isPaused);

    /** From here on nothing is told. */
    void stop();

Q_SIGNALS:
    void line(const biz::host::InputLine &line);

    /** The last line has been told; or the other side has ended while paused. */
    void ended();

private:
    void read();
    void lookForEnd();
    void end();

    const int m_descriptor;
    bool m_isStopped = false;
    LineSplitter m_splitter;
    QSocketNotifier m_notifier;
    QTimer m_looking; ///< for the end, while paused
};

} // namespace biz::host

#endif
