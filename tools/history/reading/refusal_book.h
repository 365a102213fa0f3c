#ifndef BIZ_HISTORY_REFUSAL_BOOK_H
#define BIZ_HISTORY_REFUSAL_BOOK_H

#include <cstddef>
#include <map>
#include <set>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <history/history.h>
#include <history/reading/bounds.h>
#include <model/model_protocoldata.h>

namespace biz::history {

/** The replies of one device that were refused, by the clause that they broke, and the shapes of all its replies. */
class RefusalBook
{
public:
    /** Counts a refused reply. By `deviceType`, or by the model that says the same where that is unknown, it is marked.
     */
    void add(Device &device, const Refusal &refusal, const model_Protocoldata &reply, int deviceType,
             const Bounds &bounds);

    void noteAccepted(Device &device, const QByteArray &head, int payloadSize);

private:
    void noteShape(std::vector<ReplyShape> &shapes, char side, const QByteArray &head, int payloadSize);
    void forgetOldest(std::vector<Refusal> &refusals);

    std::set<QByteArray> m_shapes;            ///< those that are known
    std::map<QString, std::size_t> m_clauses; ///< the places of the refusals
};

} // namespace biz::history

#endif
