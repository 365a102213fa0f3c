#include <history/findings/findings.h>

#include <algorithm>

#include <QtCore/QStringList>

#include <host/reply_words.h>

namespace biz::history {

namespace {

host::ReplyJudgement judge(int deviceType, const ReplyShape &shape)
{
    model_Protocoldata reply;
    std::copy_n(shape.head.constBegin(), std::min<qsizetype>(shape.head.size(), sizeof(reply.ucHead)), reply.ucHead);
    // The rules look at the size of a payload alone.
    reply.baData = QByteArray(shape.payloadSize, '\0');
    return host::judgeReply(deviceType, reply);
}

/** How many of the shapes obey a rule of the model; negative when one breaks a rule. */
int obeyed(int deviceType, const std::vector<ReplyShape> &shapes)
{
    int count = 0;
    for (const ReplyShape &shape : shapes) {
        const host::ReplyJudgement judgement = judge(deviceType, shape);
        if (!judgement.accepted) {
            return -1;
        }
        count += judgement.rule.isEmpty() ? 0 : 1;
    }
    return count;
}

} // namespace

QString betterModelOf(const Device &device)
{
    // A single kind of reply fits other models by chance too easily.
    constexpr std::size_t fewestShapes = 2;
    if (device.refusedShapes.size() < fewestShapes) {
        return {};
    }
    QStringList best;
    int mostObeyed = static_cast<int>(device.refusedShapes.size()) / 2;
    const QVector<host::CheckedModel> models = host::checkedModels();
    for (const host::CheckedModel &model : models) {
        const int count = obeyed(model.deviceType, device.refusedShapes);
        if (count < mostObeyed || count <= 0 || obeyed(model.deviceType, device.acceptedShapes) < 0) {
            continue;
        }
        if (count > mostObeyed) {
            best.clear();
        }
        mostObeyed = count;
        best.append(model.name);
    }
    return best.join(QStringLiteral(" or "));
}

} // namespace biz::history
