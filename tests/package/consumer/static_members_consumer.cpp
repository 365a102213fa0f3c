#include <cstdio>
#include <dlfcn.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

// Each static member is one object, which host and library both read and write: what the host
// writes by name is read where the library has it, and the other way round.

namespace {

void *library = nullptr;
int failures = 0;

void expect(bool holds, const char *claim, const char *symbol)
{
    if (!holds) {
        ++failures;
        std::fprintf(stderr, "%s: %s\n", symbol, claim);
    }
}

template<typename T>
T *inLibrary(const char *symbol)
{
    return static_cast<T *>(dlsym(library, symbol));
}

long valueOf(int value)
{
    return value;
}

long valueOf(bool value)
{
    return value ? 1 : 0;
}

template<typename Container>
long valueOf(const Container &container)
{
    return static_cast<long>(container.size());
}

/** `one` and `other` differ, and both from what the member begins with. */
template<typename T>
void expectShared(const char *symbol, T &member, const T &one, const T &other)
{
    T *const there = inLibrary<T>(symbol);
    if (there == nullptr) {
        expect(false, "the library has no such member", symbol);
        return;
    }
    member = one;
    expect(valueOf(*there) == valueOf(one), "the library does not see what the host wrote", symbol);
    *there = other;
    expect(valueOf(member) == valueOf(other), "the host does not see what the library has", symbol);
}

void expectSharedLock(const char *symbol, std::mutex &member)
{
    std::mutex *const there = inLibrary<std::mutex>(symbol);
    if (there == nullptr) {
        expect(false, "the library has no such member", symbol);
        return;
    }
    const std::lock_guard<std::mutex> lock(member);
    const bool isFree = there->try_lock();
    expect(!isFree, "the library's lock is free while the host holds its own", symbol);
    if (isFree) {
        there->unlock();
    }
}

template<typename Record>
std::queue<Record> queueOf(int count)
{
    std::queue<Record> queue;
    for (int i = 0; i < count; ++i) {
        queue.push(Record());
    }
    return queue;
}

void expectSharedDeviceChannel()
{
    using Channel = biz_CMDSWork;
    using Record = model_Protocoldata;
    expectShared("_ZN12biz_CMDSWork11queueHexCmdE", Channel::queueHexCmd, queueOf<Record>(1), queueOf<Record>(2));
    expectShared("_ZN12biz_CMDSWork18receivequeueHexCmdE", Channel::receivequeueHexCmd, queueOf<Record>(3),
                 queueOf<Record>(4));
    expectShared("_ZN12biz_CMDSWork8ListCMDSE", Channel::ListCMDS, QList<Record>{Record()},
                 QList<Record>{Record(), Record()});
    expectShared("_ZN12biz_CMDSWork10deviceTypeE", Channel::deviceType, 101, 102);
    expectShared("_ZN12biz_CMDSWork3iSNE", Channel::iSN, 103, 104);
    expectShared("_ZN12biz_CMDSWork8iTimeoutE", Channel::iTimeout, 105, 106);
    expectShared("_ZN12biz_CMDSWork13iTimeoutCountE", Channel::iTimeoutCount, 107, 108);
    expectShared("_ZN12biz_CMDSWork17iWatchdogSleepCntE", Channel::iWatchdogSleepCnt, 109, 110);
    expectShared("_ZN12biz_CMDSWork8nSysPlanE", Channel::nSysPlan, 111, 112);
    expectShared("_ZN12biz_CMDSWork8bRetFlagE", Channel::bRetFlag, !Channel::bRetFlag, Channel::bRetFlag);
    expectShared("_ZN12biz_CMDSWork16iTimeDisplayToUIE", Channel::iTimeDisplayToUI, !Channel::iTimeDisplayToUI,
                 Channel::iTimeDisplayToUI);
    expectSharedLock("_ZN12biz_CMDSWork10HexCmdlockE", Channel::HexCmdlock);
    expectSharedLock("_ZN12biz_CMDSWork17receiveHexCmdlockE", Channel::receiveHexCmdlock);
}

void expectSharedOsdChannel()
{
    using Channel = biz_Osd_CMDSWork;
    using Record = model_OsdParam;
    const QString ip = QStringLiteral("127.0.0.1");
    const QString otherIp = QStringLiteral("127.0.0.2");
    using Queues = QVector<std::queue<Record>>;
    expectShared("_ZN16biz_Osd_CMDSWork6m_qsIpE", Channel::m_qsIp, QVector<QString>{ip}, QVector<QString>{ip, otherIp});
    expectShared("_ZN16biz_Osd_CMDSWork11queueHexCmdE", Channel::queueHexCmd, Queues(1), Queues(2));
    expectShared("_ZN16biz_Osd_CMDSWork10m_bRetFlagE", Channel::m_bRetFlag, QMap<QString, bool>{{ip, true}},
                 QMap<QString, bool>{{ip, true}, {otherIp, false}});
    expectShared("_ZN16biz_Osd_CMDSWork18receivequeueHexCmdE", Channel::receivequeueHexCmd, queueOf<Record>(5),
                 queueOf<Record>(6));
    expectSharedLock("_ZN16biz_Osd_CMDSWork10HexCmdlockE", Channel::HexCmdlock);
    expectSharedLock("_ZN16biz_Osd_CMDSWork17receiveHexCmdlockE", Channel::receiveHexCmdlock);
}

} // namespace

int main()
{
    library = dlopen(BIZ_SONAME, RTLD_LAZY | RTLD_NOLOAD);
    if (library == nullptr) {
        std::fprintf(stderr, "the library is not loaded: %s\n", dlerror());
        return 1;
    }
    expectSharedDeviceChannel();
    expectSharedOsdChannel();
    return failures == 0 ? 0 : 1;
}
