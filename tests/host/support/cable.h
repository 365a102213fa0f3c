#ifndef BIZ_TESTS_HOST_CABLE_H
#define BIZ_TESTS_HOST_CABLE_H

#include <functional>

#include <QtCore/QString>

namespace biz::test {

/**
 * A network cable between this thread and a device that the test plays: two network namespaces of the
 * test's own. While the cable stands, new sockets of this thread are at the host's end, except those
 * that atDevice() makes.
 */
class Cable
{
public:
    Cable();
    ~Cable();
    Cable(const Cable &) = delete;
    Cable &operator=(const Cable &) = delete;

    /** Why this machine allows no such cable; empty when it stands. */
    QString problem() const { return m_problem; }

    static const char *deviceAddress() { return "192.168.77.2"; }

    /** Makes the call with new sockets at the device's end. */
    void atDevice(const std::function<void()> &call) const;

    void pull() const;
    void plug() const;

    /**
     * From now on the host's system knows where the device is without asking: no packet waits for the answer, from
     * where nobody could recall it.
     */
    void resolveForGood() const;

private:
    void makeNamespaces();
    void connectNamespaces();

    int m_home = -1;
    int m_device = -1;
    int m_host = -1;
    QString m_problem;
};

} // namespace biz::test

#endif
