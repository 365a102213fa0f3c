#include <host/support/cable.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

namespace biz::test {

namespace {

int currentNamespace()
{
    return ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
}

/** Runs the system's tool for networks in the namespace of this thread; returns what is wrong. */
QString ip(const QStringList &arguments)
{
    QProcess tool;
    tool.setProcessChannelMode(QProcess::MergedChannels);
    tool.start(QStringLiteral("ip"), arguments);
    if (!tool.waitForStarted() || !tool.waitForFinished()) {
        return QStringLiteral("ip: ") + tool.errorString();
    }
    if (tool.exitCode() != 0) {
        return QStringLiteral("ip %1: %2")
            .arg(arguments.join(QLatin1Char(' ')), QString::fromLocal8Bit(tool.readAll()));
    }
    return {};
}

bool writeFile(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) == text.size();
}

/** A user who is not the system's administrator is one in a namespace of users of his own. */
bool unshareAsAdministratorOfOneself()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    return unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 && writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/uid_map", "0 " + user + " 1") && writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

} // namespace

Cable::Cable()
{
    makeNamespaces();
    if (m_problem.isEmpty()) {
        connectNamespaces();
    }
}

Cable::~Cable()
{
    // Who had to become an administrator of his own cannot go back; the tests that follow need a loopback.
    if (m_home >= 0 && setns(m_home, CLONE_NEWNET) != 0) {
        ip({QStringLiteral("link"), QStringLiteral("set"), QStringLiteral("lo"), QStringLiteral("up")});
    }
    for (const int descriptor : {m_home, m_device, m_host}) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
}

void Cable::atDevice(const std::function<void()> &call) const
{
    ASSERT_EQ(setns(m_device, CLONE_NEWNET), 0);
    call();
    ASSERT_EQ(setns(m_host, CLONE_NEWNET), 0);
}

void Cable::pull() const
{
    atDevice([] { ASSERT_EQ(ip(QStringLiteral("link set device0 down").split(QLatin1Char(' '))), QString()); });
}

void Cable::plug() const
{
    atDevice([] { ASSERT_EQ(ip(QStringLiteral("link set device0 up").split(QLatin1Char(' '))), QString()); });
}

void Cable::resolveForGood() const
{
    const QString hardware = QStringLiteral("02:00:00:00:00:02");
    atDevice([&] {
        const QString line = QStringLiteral("link set device0 address ") + hardware;
        ASSERT_EQ(ip(line.split(QLatin1Char(' '))), QString());
    });
    const QString line = QStringLiteral("neigh replace %1 lladdr %2 dev host0 nud permanent")
                             .arg(QLatin1String(deviceAddress()), hardware);
    ASSERT_EQ(ip(line.split(QLatin1Char(' '))), QString());
}

void Cable::makeNamespaces()
{
    m_home = currentNamespace();
    if (unshare(CLONE_NEWNET) != 0 && !unshareAsAdministratorOfOneself()) {
        m_problem = QStringLiteral("no network namespace can be made: ") + QString::fromLocal8Bit(std::strerror(errno));
        return;
    }
    m_device = currentNamespace();
    if (unshare(CLONE_NEWNET) != 0) {
        m_problem = QStringLiteral("no second network namespace can be made");
        return;
    }
    m_host = currentNamespace();
}

void Cable::connectNamespaces()
{
    const QString device = QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(m_device);
    const auto words = [](const QString &line) {
        return line.split(QLatin1Char(' '));
    };
    m_problem = ip(words(QStringLiteral("link add host0 type veth peer name device0 netns ") + device));
    if (m_problem.isEmpty()) {
        m_problem = ip(words(QStringLiteral("addr add 192.168.77.1/30 dev host0")));
    }
    if (m_problem.isEmpty()) {
        m_problem = ip(words(QStringLiteral("link set host0 up")));
    }
    if (m_problem.isEmpty()) {
        atDevice([&] {
            m_problem = ip(words(QStringLiteral("addr add %1/30 dev device0").arg(QLatin1String(deviceAddress()))));
        });
        plug();
    }
}

} // namespace biz::test
