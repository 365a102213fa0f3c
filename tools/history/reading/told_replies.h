#ifndef BIZ_HISTORY_TOLD_REPLIES_H
#define BIZ_HISTORY_TOLD_REPLIES_H

#include <map>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <history/history.h>
#include <model/model_protocoldata.h>

namespace biz::history {

/** A line of an error log. */
struct LoggedReply
{
    double atMs = never;
    QString loggedName;  ///< the model as the log names it
    int deviceType = -1; ///< -1: of no model that has rules
    QString model;
    model_Protocoldata reply;
};

/** Refused replies that the events have told of, and that the error log may tell of again. */
class ToldReplies
{
public:
    void add(const model_Protocoldata &reply, double atMs);

    /** Whether the events told of it; each of theirs stands for one line. */
    bool take(const LoggedReply &logged);

private:
    std::multimap<QByteArray, double> m_refusedAtMs;
};

} // namespace biz::history

#endif
