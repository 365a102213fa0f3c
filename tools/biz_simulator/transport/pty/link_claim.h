#ifndef BIZ_SIMULATOR_LINK_CLAIM_H
#define BIZ_SIMULATOR_LINK_CLAIM_H

#include <QtCore/QString>

namespace biz::simulator {

/**
 * Tells other simulators that a symbolic link belongs to this one. A claim ends with its process, however that
 * ends, and leaves no file: it is a socket in the system's abstract name space that nobody sends to.
 */
class LinkClaim
{
public:
    LinkClaim() = default;
    ~LinkClaim();
    LinkClaim(const LinkClaim &) = delete;
    LinkClaim &operator=(const LinkClaim &) = delete;

    /** Throws CannotListen when it cannot be claimed. */
    void take(const QString &linkPath);

    void release();

private:
    int m_socket = -1;
};

} // namespace biz::simulator

#endif
