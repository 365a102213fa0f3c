#ifndef BIZ_HOST_LINES_LINE_SPLITTER_P_H
#define BIZ_HOST_LINES_LINE_SPLITTER_P_H

#include <functional>

#include <QtCore/QByteArray>

namespace biz::host {

/** One line of an input. */
struct InputLine
{
    qint64 number = 0;      ///< from 1
    QByteArray text;        ///< without its end
    bool isTooLong = false; ///< the text has been thrown away
};

/**
 * Makes lines of bytes as they arrive. It holds one line at most, and of one that is too long nothing: that
 * is told as soon as it is known, and the rest of the line is skipped.
 */
class LineSplitter
{
public:
    using Take = std::function<void(const InputLine &)>;

    /** The longest line that is taken, without its end. */
    static constexpr int longestLine = 256 * 1024;

    /** Calls `take` for each line that ends with these bytes. */
    void add(const QByteArray &bytes, const Take &take);

    /** The input has ended: calls `take` for a last line that has no end. */
    void finish(const Take &take);

private:
    void addToLine(const char *begin, int size, const Take &take);
    void endLine(const Take &take);

    QByteArray m_line;
    qint64 m_number = 1;
    bool m_isSkipping = false;
};

} // namespace biz::host

#endif
