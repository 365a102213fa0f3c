#ifndef BIZ_HOST_LINES_LINE_OUTPUT_P_H
#define BIZ_HOST_LINES_LINE_OUTPUT_P_H

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>

namespace biz::host {

/**
 * Lines on their way out through a pipe, a socket or a file, without ever waiting for the reader. A line leaves
 * within write() as long as there is room for it, and is held otherwise.
 */
class LineOutput : public QObject
{
    Q_OBJECT

public:
    /** Held bytes from which on a client counts as one that does not read. */
    static constexpr qint64 fullAt = qint64{256} * 1024;

    /** Held bytes from which on lines are dropped that nobody waits for. */
    static constexpr qint64 overfullAt = 16 * fullAt;

    /** The descriptor stays the caller's. */
    explicit LineOutput(int descriptor, QObject *parent = nullptr);
    ~LineOutput() override;

    /** The text is one line, with its end. */
    void write(const QByteArray &line);

    /** Whether all lines have left this process. */
    bool hasLeft() const { return held() == 0; }

    /** Bytes that have left this process since the beginning. */
    qint64 bytesLeft() const { return m_bytesLeft; }

    /** Whether a short line would leave now; also true where a write will tell what is wrong. */
    bool hasRoom() const;

    bool isFull() const { return held() >= fullAt; }
    bool isOverfull() const { return held() >= overfullAt; }

    /** Nobody can read any more what is written. */
    bool isGone() const { return m_isGone; }

    /** It is gone for another reason than that its reader has: a full disk, or a closed descriptor. */
    bool hasFailed() const { return m_hasFailed; }

Q_SIGNALS:
    /** It had been full and has left. */
    void left();
    void gone();

private:
    qint64 held() const { return m_held.size() - m_begin; }
    void push();
    void onWritable();
    qint64 writeSome(const char *bytes, qint64 size) const;

    const int m_descriptor;
    bool m_isSocket;
    bool m_isGone = false;
    bool m_hasFailed = false;
    QByteArray m_held;
    int m_begin = 0; ///< of what is held: bytes before it have left
    qint64 m_bytesLeft = 0;
    QSocketNotifier m_notifier;
};

} // namespace biz::host

#endif
