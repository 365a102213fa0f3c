#ifndef BIZ_CONSOLE_CHECKED_REPLY_H
#define BIZ_CONSOLE_CHECKED_REPLY_H

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/reply_words.h>

namespace biz::console {

/** The model of a name, in any case. Throws UsageError. */
host::CheckedModel modelNamed(const QString &name);

/** A payload of a written size; what its bytes are is all the same to the rules. Throws UsageError. */
QByteArray payloadOfSize(const QString &text);

/** A reply that was written down, and how the rules of its model judge it. */
class CheckedReply
{
public:
    /** Five head bytes, 1 to 5, and a payload. */
    CheckedReply(const host::CheckedModel &model, const QByteArray &head, const QByteArray &payload);

    /**
     * The reply of a line, "F1 08 03 62 01  354 bytes", head and payload in hexadecimal, or a
     * line of the error log, whose model does not count then. Throws UsageError.
     */
    static CheckedReply fromText(const host::CheckedModel &model, const QString &text);

    /** The same for a line that names the model: "A2  F1 08 03 62 01  354 bytes", or one of the error log. */
    static CheckedReply fromTextWithModel(const QString &text);

    bool isAccepted() const { return m_judgement.accepted; }

    /** "refused: index is 16, at most 15 allowed". */
    QString verdict() const;

    /** The reply, marks under the bytes that broke the rule, and the rule. */
    QStringList explanation() const;

    /** What its bytes mean, in one line. */
    QString meaning() const;

    QJsonObject toJson() const;

private:
    CheckedReply(const host::CheckedModel &model, const model_Protocoldata &reply);
    QString marks() const;

    host::CheckedModel m_model;
    model_Protocoldata m_reply;
    host::ReplyJudgement m_judgement;
};

/** Five head bytes in hexadecimal. Throws UsageError. */
QByteArray checkedHeadOf(const QString &text);

/** "f1 08 03 62 01": the head bytes that the rules look at. */
QString judgedHeadText(const model_Protocoldata &reply);

} // namespace biz::console

#endif
