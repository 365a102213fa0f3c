#ifndef BIZ_TESTS_DEBUG_LINES_H
#define BIZ_TESTS_DEBUG_LINES_H

#include <string>

#include <QtCore/QString>

/** Catches Qt's messages while it lives, instead of printing them. One at a time. */
class DebugLines
{
public:
    DebugLines()
    {
        forget();
        m_before = qInstallMessageHandler(&DebugLines::take);
    }
    ~DebugLines() { qInstallMessageHandler(m_before); }
    DebugLines(const DebugLines &) = delete;
    DebugLines &operator=(const DebugLines &) = delete;

    static int count() { return s_count; }
    static const std::string &last() { return s_last; }
    static void forget()
    {
        s_count = 0;
        s_last.clear();
    }

private:
    static void take(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
    {
        ++s_count;
        s_last = (type == QtDebugMsg ? std::string() : std::string("not a debug line: ")) + text.toStdString();
    }

    inline static int s_count = 0;
    inline static std::string s_last;
    QtMessageHandler m_before;
};

#endif
