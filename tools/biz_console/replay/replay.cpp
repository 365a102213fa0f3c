#include <biz_console/replay/replay.h>

#include <algorithm>
#include <mutex>

#include <QtCore/QBuffer>
#include <QtCore/QDateTime>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_console/recording/recorder.h>
#include <biz_console/recording/recording_reader.h>
#include <biz_console/replay/replay_link.h>
#include <biz_console/replay/replay_transport.h>
#include <biz_console/run/session_run.h>
#include <common/errors.h>

namespace biz::console {

namespace {

/** Hears of events for whoever plays the devices. */
class Listener : public EventSink
{
public:
    explicit Listener(std::function<void(const host::Event &)> hear)
        : m_hear(std::move(hear))
    {
    }
    void happened(const host::Event &event) override { m_hear(event); }

private:
    std::function<void(const host::Event &)> m_hear;
};

/** What a replay keeps beside the run. */
struct Notes
{
    Notes() { buffer.open(QIODevice::WriteOnly); }

    QBuffer buffer;
    Recorder recorder{buffer};

    /** Problems of the recorded run occur again, and are not this program's: they go to whoever asked for the replay.
     */
    QString problemText;
    QTextStream problems{&problemText};
};

void hearAndShow(SessionRun &run, Notes &notes, const ShowRun &show, std::function<void(const host::Event &)> hear)
{
    run.addSink(notes.recorder.sink());
    run.addSink(std::make_unique<Listener>(std::move(hear)));
    show(run);
}

/** How the commands of a recording are given. */
RunPlan planOf(const Recording &recording)
{
    RunPlan plan;
    plan.reconnects = recording.reconnects;
    for (const RecordedCommand &command : recording.commands) {
        plan.turns.push_back(command.turn);
    }
    return plan;
}

/** Tells whoever plays the devices of the ends of commands, and of the last of them. */
template<typename Devices>
std::function<void(const host::Event &)> tellingEnds(Devices *devices, int commands)
{
    return [devices, left = commands](const host::Event &event) mutable {
        if (host::outcomeOf(event.kind)) {
            devices->noteEnd(event.device);
            if (--left == 0) {
                devices->noteLastEnd();
            }
        }
    };
}

DeviceSession deviceSessionOf(const Recording &recording)
{
    DeviceSession session;
    session.deviceType = recording.deviceType;
    session.isPipelined = recording.isPipelined;
    for (const RecordedCommand &recorded : recording.commands) {
        DeviceSessionCommand command;
        command.name = recorded.name;
        std::copy(recorded.head.begin(), recorded.head.end(), command.record.ucHead);
        command.record.baData = recorded.data;
        command.record.iWaitTime = recorded.waitMs;
        command.expected = recorded.expected;
        session.commands.append(command);
    }
    return session;
}

void replayDevice(const Recording &recording, Notes &notes, const ShowRun &show)
{
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iSN = recording.firstSequence;
    }
    auto link = std::make_unique<ReplayLink>(recording);
    ReplayLink *device = link.get(); // lives as long as the run
    const RunPlan plan = planOf(recording);
    auto side = std::make_unique<DeviceSide>(deviceSessionOf(recording), notes.recorder.wrap(std::move(link)), plan);
    SessionRun run(std::move(side), plan, notes.problems);
    QObject::connect(device, &ReplayLink::interrupted, &run, &SessionRun::interruptWhenGiven);
    run.setIsMoreToCome([device] { return device->isMoreToCome(); });
    hearAndShow(run, notes, show, tellingEnds(device, static_cast<int>(recording.commands.size())));
    execute(run);
}

/** The commands of a recording as a grid: each one for every device, in the order of the devices. */
OsdSession osdSessionOf(const Recording &recording)
{
    OsdSession session;
    session.port = host::OsdHost::defaultPort; // of no network
    for (const RecordedCommand &command : recording.commands) {
        if (session.devices.contains(command.device)) {
            break;
        }
        session.devices.append(command.device);
    }
    for (int i = 0; i < recording.commands.size(); ++i) {
        const RecordedCommand &recorded = recording.commands.at(i);
        const int place = i % static_cast<int>(session.devices.size());
        if (place == 0) {
            OsdSessionCommand command;
            command.name = recorded.name;
            std::copy(recorded.head.begin(), recorded.head.end(), command.record.ucOsdHead);
            command.record.ucOsdFlag = static_cast<quint8>(recorded.flag);
            command.record.qsOsdText = recorded.text;
            command.record.baData = recorded.data;
            command.record.iWaitTime = recorded.waitMs;
            session.commands.append(command);
        }
        if (session.devices.at(place) != recorded.device) {
            throw tools::InputError(
                QStringLiteral("line %1: every command for every device expected, as 'biz_console osd' "
                               "gives them")
                    .arg(recorded.line));
        }
        session.commands.last().expectedOf.insert(recorded.device, recorded.expected);
    }
    const bool isBrokenOff = std::any_of(recording.steps.begin(), recording.steps.end(), [](const RecordedStep &step) {
        return step.kind == RecordedStep::Kind::Interrupted;
    });
    if (!isBrokenOff && recording.commands.size() != session.commands.size() * session.devices.size()) {
        throw tools::InputError(
            QStringLiteral("the last command for every device expected, as 'biz_console osd' gives it"));
    }
    return session;
}

/**
 * The OSD channel counts waits in whole seconds of the wall clock: the replay begins at the same
 * part of a second as the recorded run, so that a wait that ended early ends early again.
 */
void waitForPartOfSecond(const QDateTime &recorded)
{
    constexpr qint64 second = 1000;
    const qint64 ahead = recorded.toMSecsSinceEpoch() - QDateTime::currentMSecsSinceEpoch();
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>((ahead % second + second) % second), Qt::PreciseTimer, &loop,
                       &QEventLoop::quit);
    loop.exec();
}

void replayOsd(const Recording &recording, Notes &notes, const ShowRun &show)
{
    OsdRunOptions options;
    auto transport = std::make_unique<ReplayTransport>(recording);
    ReplayTransport *devices = transport.get(); // lives as long as the run
    options.transport = std::move(transport);
    SessionRun run(std::make_unique<OsdSide>(osdSessionOf(recording), std::move(options)), planOf(recording),
                   notes.problems);
    QObject::connect(devices, &ReplayTransport::interrupted, &run, &SessionRun::interruptWhenGiven);
    run.setIsMoreToCome([devices] { return devices->isMoreToCome(); });
    hearAndShow(run, notes, show, tellingEnds(devices, static_cast<int>(recording.commands.size())));
    waitForPartOfSecond(recording.utc);
    execute(run);
}

} // namespace

Recording withoutWaiting(Recording recording)
{
    // Whoever ended a run did so when its last events had come, which takes the library a moment.
    constexpr double longestMomentMs = 500.0;
    for (RecordedCommand &command : recording.commands) {
        command.turn.delayMs = 0.0;
    }
    for (RecordedStep &step : recording.steps) {
        const bool isReply = step.kind == RecordedStep::Kind::Received;
        step.delayMs = isReply ? 0.0 : std::min(step.delayMs, longestMomentMs);
    }
    return recording;
}

Recording replay(const Recording &recording, const ShowRun &show, QString *problems)
{
    Notes notes;
    if (recording.isOfDevice) {
        replayDevice(recording, notes, show);
    } else {
        replayOsd(recording, notes, show);
    }
    *problems = notes.problemText;
    if (!notes.recorder.finish()) {
        throw tools::InputError(QStringLiteral("the replay does not fit into the memory"));
    }
    return readRecording(notes.buffer.data());
}

} // namespace biz::console
