#ifndef BIZ_HOST_REPLY_WORDS_H
#define BIZ_HOST_REPLY_WORDS_H

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/host_export.h>
#include <model/model_protocoldata.h>

/** The reply rules in words for people; the rules themselves are the library's. */
namespace biz::host {

/** A model that has a reply checker. */
struct CheckedModel
{
    int deviceType = 0;
    QString name; ///< "A2"
};
BIZ_HOST_EXPORT QVector<CheckedModel> checkedModels();

/** How the rules of a device type judge one reply. */
struct ReplyJudgement
{
    bool accepted = true;
    QString rule;                 ///< the whole rule: "index at most 15, then length 354"; empty: there is none
    QString broken;               ///< the clause that failed, with what the reply held; empty when accepted
    QVector<int> brokenHeadBytes; ///< the head bytes, by number, that the failed clause is about
    bool brokenPayload = false;   ///< the failed clause is about the size of the payload
};
BIZ_HOST_EXPORT ReplyJudgement judgeReply(int deviceType, const model_Protocoldata &reply);

/** One row of a model's table in words. */
struct RuleInWords
{
    quint8 command = 0;
    QString subCodes; ///< "12, 13, 15, 23", "27 to 33"
    QString rule;
};
BIZ_HOST_EXPORT QVector<RuleInWords> rulesInWords(int deviceType);

/** "F1/08": command and sub-code as people write them. */
BIZ_HOST_EXPORT QString commandText(const model_Protocoldata &record);

} // namespace biz::host

Q_DECLARE_METATYPE(biz::host::ReplyJudgement)

#endif
