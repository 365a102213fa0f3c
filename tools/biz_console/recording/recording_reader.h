#ifndef BIZ_CONSOLE_RECORDING_READER_H
#define BIZ_CONSOLE_RECORDING_READER_H

#include <QtCore/QHash>

#include <biz_console/recording/recording.h>
#include <recording/recording_line.h>

namespace biz::console {

/**
 * Makes a recording of its lines, which have to be given in their order. An InputError names the
 * line that is none, and what was expected. A recording that was cut off, as by a power cut, is
 * one up to the cut.
 */
class RecordingReader
{
public:
    /** The next line; `name` is the file as messages show it. */
    void read(const QByteArray &json, const QString &name, int lineNumber);

    /** What the lines held. Without a summary among them it was cut off in `lastLine`. */
    Recording take(int lastLine);

private:
    using Reader = void (RecordingReader::*)(const tools::RecordingLine &line);

    /** Where the script of a device stands: what happened to it, and when the last of it did. */
    struct Anchor
    {
        int writes = 0;
        int ends = 0;
        int reopenings = 0;
        double atMs = 0.0;
    };

    static Reader readerOf(const QString &event);
    static QString keyOf(const tools::RecordingLine &line) { return line.text("device", {}); }

    void readHead(const QByteArray &json, const QString &name);
    void readGiven(const tools::RecordingLine &line);
    void readSent(const tools::RecordingLine &line);
    void readReply(const tools::RecordingLine &line);
    void readEnd(const tools::RecordingLine &line);
    void readRefused(const tools::RecordingLine &line);
    void readProblem(const tools::RecordingLine &line);
    void readLink(const tools::RecordingLine &line);
    void readLinkOpening(const tools::RecordingLine &line);
    void readLinkState(const tools::RecordingLine &line);
    void breakOff(const tools::RecordingLine &line);
    void cutOff(int lastLine);
    void readBytesOut(const tools::RecordingLine &line);
    void readSummary(const tools::RecordingLine &line);
    void readOpened(const tools::RecordingLine & /*line*/) { m_isOpened = true; }
    void passOver(const tools::RecordingLine & /*line*/) {}

    RecordedCommand *commandOf(const tools::RecordingLine &line);
    bool isOfEarlierPart(const tools::RecordingLine &line) const;
    void beginPart(double atMs);
    Anchor &anchorOf(const tools::RecordingLine &line);
    QString recordText(const tools::RecordingLine &line) const;
    void addStep(RecordedStep::Kind kind, const tools::RecordingLine &line, double atMs);
    void appendStep(RecordedStep::Kind kind, const QString &device, const Anchor &anchor, double atMs);
    void addInterruption(double atMs);
    void addDatagram(const tools::RecordingLine &line, double atMs);

    Recording m_recording;
    QHash<int, int> m_placeOfTicket;
    QHash<QString, Anchor> m_anchors; ///< by device; the device channel has one
    int m_lineNumber = 0;
    double m_lastAtMs = 0.0;
    Turn m_turn; ///< how many commands have ended
    double m_lastEndMs = 0.0;
    double m_beginMs = 0.0; ///< what steps follow that nothing precedes
    bool m_isOpened = false;
    bool m_hasSent = false;
    bool m_isLinkUp = false;    ///< a step has opened it
    bool m_isLinkLost = false;  ///< as the host has told
    bool m_isBrokenOff = false; ///< a step ends the run before all commands have ended by themselves
    bool m_hasSummary = false;
};

/** Reads a file, "-" for the standard input. Throws InputError when it is none, or one of its lines is none. */
Recording readRecordingFile(const QString &path);

/** Reads the lines of a recording that was made in memory. */
Recording readRecording(const QByteArray &lines);

} // namespace biz::console

#endif
