#ifndef BIZ_LONG_RUN_ERROR_LOG_CHECK_H
#define BIZ_LONG_RUN_ERROR_LOG_CHECK_H

#include <string>
#include <vector>

#include <QtCore/QByteArray>

#include <model/model_protocoldata.h>

namespace biz::long_run {

/** The error log as it should be: one line for each refused reply, in their order, and no other. */
class ErrorLogCheck
{
public:
    /** For at most so many lines, so that the check itself takes no more memory later. */
    explicit ErrorLogCheck(std::size_t lines) { m_lines.reserve(lines); }

    /** A reply has come that breaks its rule. */
    void expect(const model_Protocoldata &reply);

    std::size_t expected() const { return m_lines.size(); }

    /** What is wrong with the log below the working directory; empty when it is as it should be. */
    std::string problem() const;

    /** Takes the last line away, to see that problem() finds out. */
    static void loseLastLine();

private:
    /** Of the many lines of a day no more is kept. */
    struct Line
    {
        qint64 atUtcMs;
        quint32 digest; ///< of what stands behind the time
    };

    std::string problemOf(const Line &expected, const QByteArray &line, const QByteArray &day) const;

    std::vector<Line> m_lines;
};

} // namespace biz::long_run

#endif
