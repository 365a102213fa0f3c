#ifndef BIZ_HISTORY_DEVICE_BOOK_H
#define BIZ_HISTORY_DEVICE_BOOK_H

#include <vector>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <history/history.h>
#include <history/reading/bounds.h>
#include <history/reading/refusal_book.h>

namespace biz::history {

/** The devices of a history by their titles, which name them in the logs. */
class DeviceBook
{
public:
    DeviceBook(History *history, const Bounds &bounds)
        : m_history(*history)
        , m_bounds(bounds)
    {
    }

    /** The place of the device with the title of `made`, which is put in where it is not known. */
    int placeOf(const Device &made);

    /** The place of the device with this title; negative: there is none. */
    int find(const QString &title) const { return m_places.value(title, -1); }

    Device &at(int place) { return m_history.devices[static_cast<std::size_t>(place)]; }

    void addRefusal(int place, const Refusal &refusal, const model_Protocoldata &reply, int deviceType);
    void noteAccepted(int place, const QByteArray &head, int payloadSize);

private:
    History &m_history;
    const Bounds m_bounds;
    QHash<QString, int> m_places;
    std::vector<RefusalBook> m_refusals; ///< of each device
};

} // namespace biz::history

#endif
