#ifndef BIZ_CONSOLE_LAST_PART_H
#define BIZ_CONSOLE_LAST_PART_H

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QMap>
#include <QtCore/QSet>

namespace biz::console {

/**
 * Keeps the last part of a recording in memory, however long the run is: a Recorder writes its
 * lines here. The part begins between two commands, with the link up, wherever the run has such a moment, so that it
 * can be replayed: the commands that waited then are given first.
 */
class LastPart : public QIODevice
{
    Q_OBJECT

public:
    /** Of a longer run at least a quarter of so much is kept, at most all of it and the commands that waited. */
    explicit LastPart(int maxBytes);

    /** The part as a recording of its own. */
    QByteArray recording() const;

protected:
    qint64 readData(char * /*data*/, qint64 /*maxSize*/) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override;

private:
    /** The lines from one moment on, and the commands that waited at it. */
    struct Chunk
    {
        QMap<qint64, QByteArray> waiting; ///< by ticket
        QByteArray lines;
        bool isAmidCommands = false; ///< it begins while replies are awaited
    };

    void takeLine(const QByteArray &line);
    void follow(const QByteArray &line);
    void beginChunkIfFull();

    int m_maxBytes;
    QByteArray m_unfinished; ///< what was written of a line
    QByteArray m_head;
    QByteArray m_opening; ///< how the link was opened, once it is
    bool m_isOpened = false;
    bool m_isLinkLost = false;
    bool m_hasLost = false; ///< the run is longer than what is kept
    QMap<qint64, QByteArray> m_waiting;
    QSet<qint64> m_inFlight;
    Chunk m_before;
    Chunk m_now;
};

} // namespace biz::console

#endif
