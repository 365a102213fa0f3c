#ifndef BIZ_CONSOLE_LOG_REPORT_H
#define BIZ_CONSOLE_LOG_REPORT_H

#include <functional>
#include <map>
#include <optional>

#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <biz_console/replies/error_log_line.h>

namespace biz::console {

/** A logged reply and what the rules of its model say about it. */
struct Finding
{
    ErrorLogLine line;
    QString model;
    host::ReplyJudgement judgement;

    QString codes() const { return host::commandText(line.reply); }
    QString rule() const;
    QString broken() const;

    /** Whether the same reply was refused again. */
    bool repeats(const Finding &other) const;
};

/** How often each model broke each of its rules, and how. */
class RuleTally
{
public:
    void add(const Finding &finding);
    void print(QTextStream &out) const;
    QJsonObject toJson() const;
    int rejected() const { return m_all; }

private:
    struct Place
    {
        QString model;
        QString codes;
        QString rule;

        bool operator<(const Place &other) const
        {
            return std::tie(model, codes, rule) < std::tie(other.model, other.codes, other.rule);
        }
    };

    struct Breaches
    {
        int replies = 0;
        std::map<QString, int> byClause;
    };

    int m_all = 0;
    std::map<QString, int> m_models;
    std::map<Place, Breaches> m_rules;
};

/**
 * Prints what the lines of error logs hold: each reply, or each row of equal ones, and in the end
 * how often each rule was broken.
 */
class LogReport
{
public:
    LogReport(QTextStream &out, bool asJson)
        : m_out(out)
        , m_asJson(asJson)
    {
    }

    /** Of the replies, these alone. */
    void setFilter(std::function<bool(const Finding &)> isWanted) { m_isWanted = std::move(isWanted); }

    /** Reads a whole log. Throws InputError when it cannot be read, or none of its lines is one of a log. */
    void read(const QString &path);

    /** A line of a log; of one without an end, the log may not have written the rest. */
    void line(const QByteArray &text, const QString &place, bool isWhole = true);

    /** Whether a line was one of a log. */
    bool hasUnderstood() const { return m_understood > 0; }

    /** Prints what was held back. */
    void flush();

    /** The tally. */
    void close();

private:
    void add(const Finding &finding);
    void noteTorn(const QString &place);
    void printGroup();
    void printJson(const Finding &finding);
    void closeJson();
    void printObject(const QJsonObject &object);

    QTextStream &m_out;
    bool m_asJson;
    std::function<bool(const Finding &)> m_isWanted;
    RuleTally m_tally;
    std::optional<Finding> m_group; ///< what the next line may repeat
    int m_groupSize = 0;
    QString m_groupEnd;
    int m_understood = 0;
    int m_notUnderstood = 0;
    QString m_firstNotUnderstood;
};

} // namespace biz::console

#endif
