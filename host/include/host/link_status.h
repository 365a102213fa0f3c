#ifndef BIZ_HOST_LINK_STATUS_H
#define BIZ_HOST_LINK_STATUS_H

#include <QtCore/QDateTime>
#include <QtCore/QMetaType>
#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/** A link at one moment. */
struct LinkStatus
{
    LinkState state = LinkState::Closed;
    QDateTime since;           ///< UTC; since when it is in this state
    int attempts = 0;          ///< to open it since it was last up, or since the start; while up, those it took
    Error error = Error::None; ///< while lost: LinkCannotOpen, LinkClosed or LinkSilent
    QString reason;            ///< while lost, or connecting anew: the sentence that says why
};

} // namespace biz::host

Q_DECLARE_METATYPE(biz::host::LinkStatus)

#endif
