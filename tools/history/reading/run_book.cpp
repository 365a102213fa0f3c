#include <history/reading/run_book.h>

#include <algorithm>
#include <utility>

#include <QtCore/QRegularExpression>

#include <host/reply_words.h>

namespace biz::history {

namespace {

/** Logs of one run begin at the same time, but for the noise of two clocks. */
constexpr double sameStartMs = 1000.0;

QString modelOf(int deviceType)
{
    static const QVector<host::CheckedModel> models = host::checkedModels();
    for (const host::CheckedModel &model : models) {
        if (model.deviceType == deviceType) {
            return model.name;
        }
    }
    return {};
}

/** "A2 at tcp://127.0.0.1:15700", as far as it is known. */
QString titleOf(const Run &run)
{
    const QString place = run.link.isEmpty() ? QStringLiteral("a device") : run.link;
    return run.model.isEmpty() ? place : QStringLiteral("%1 at %2").arg(run.model, place);
}

/** The name of a log whose files are numbered. */
QString logOf(const Run &run)
{
    static const QRegularExpression number(QStringLiteral("\\.\\d+$"));
    return QString(run.file).remove(number);
}

} // namespace

void RunBook::readStart(const Event &start)
{
    m_isFirstOfFile = false;
    if (isRepeated(start)) {
        learnFrom(start);
    } else {
        beginRun(start);
    }
}

void RunBook::expect(const Event &event)
{
    const bool isFirstOfFile = std::exchange(m_isFirstOfFile, false);
    if (!m_hasRun || (isFirstOfFile && !belongsToOpenRun(event))) {
        continueRun(event);
    }
}

void RunBook::readSummary(double atMs)
{
    run().isComplete = true;
    closeLinks(atMs);
    closeCommands();
}

double RunBook::timeOf(const Event &event) const
{
    return event.atMs >= 0.0 && m_open.startMs >= 0.0 ? m_open.startMs + event.atMs : event.utcMs;
}

/** Whether the first line of a file goes on where another file ended: both count from the same moment. */
bool RunBook::belongsToOpenRun(const Event &event) const
{
    return event.atMs >= 0.0 && qAbs(event.utcMs - event.atMs - m_open.startMs) < sameStartMs;
}

/** Each file of a log that is rotated begins with the start of the whole log. */
bool RunBook::isRepeated(const Event &start) const
{
    return m_hasRun && start.utcMs == m_open.startMs && start.isOfDevice == m_history.runs.back().isOfDevice;
}

/** What was not settled yet when the log began may stand in a later file. */
void RunBook::learnFrom(const Event &start)
{
    Run &run = m_history.runs.back();
    run.link = run.link.isEmpty() ? start.link : run.link;
    run.model = run.model.isEmpty() ? modelOf(start.deviceType) : run.model;
    if (m_open.onlyDevice < 0) {
        return;
    }
    Device &device = m_devices.at(m_open.onlyDevice);
    device.model = run.model;
    device.deviceType = start.deviceType;
    device.title = titleOf(run);
}

void RunBook::beginRun(const Event &start)
{
    if (m_hasRun) {
        closeLinks(m_history.runs.back().toMs);
        closeCommands();
    }
    if (m_bounds.areSet() && m_history.runs.size() >= Bounds::mostRuns) {
        m_history.runs.erase(m_history.runs.begin());
    }
    m_open = OpenRun();
    m_open.startMs = start.utcMs;
    m_open.run = static_cast<int>(m_history.runs.size());
    m_hasRun = true;
    Run run;
    run.file = m_history.sources.empty() ? QString() : m_history.sources.back().name;
    run.link = start.link;
    run.model = modelOf(start.deviceType);
    run.tool = start.tool;
    run.library = start.library;
    run.environment = start.environment;
    run.isOfDevice = start.isOfDevice;
    run.isPipelined = start.isPipelined;
    run.fromMs = start.utcMs;
    run.toMs = start.utcMs;
    m_history.runs.push_back(run);
    if (start.hasOneDevice) {
        Device device;
        device.model = run.model;
        device.title = titleOf(run);
        device.deviceType = start.deviceType;
        device.isPipelined = start.isPipelined;
        m_open.onlyDevice = m_devices.placeOf(device);
    }
}

/** A log that was rotated begins in the middle of a run. */
void RunBook::continueRun(const Event &event)
{
    Event start;
    start.kind = Event::Kind::Start;
    start.utcMs = event.atMs >= 0.0 && event.utcMs >= 0.0 ? event.utcMs - event.atMs : std::max(event.utcMs, 0.0);
    start.isOfDevice = event.device.isEmpty();
    start.hasOneDevice = start.isOfDevice;
    start.link = QStringLiteral("a device whose start is not in the log");
    beginRun(start);
    run().fromMs = std::max(event.utcMs, 0.0);
}

int RunBook::placeOf(Device named)
{
    if (m_bounds.areSet()) {
        return m_devices.placeOf(named); // of one log
    }
    const bool isNamesake = isOfOtherLog(m_devices.find(named.title));
    m_hasNamesakes = m_hasNamesakes || isNamesake;
    if (m_hasNamesakes) {
        const QString longer = QStringLiteral("%1 (%2)").arg(named.title, logOf(run()));
        named.title = isNamesake || m_devices.find(longer) >= 0 ? longer : named.title;
    }
    const int place = m_devices.placeOf(named);
    m_lastRuns.resize(std::max(m_lastRuns.size(), m_history.devices.size()), -1);
    m_lastRuns[static_cast<std::size_t>(place)] = m_open.run;
    return place;
}

/** A device serves one host at a time. */
bool RunBook::isOfOtherLog(int place) const
{
    const auto known = static_cast<std::size_t>(place);
    if (place < 0 || known >= m_lastRuns.size() || m_lastRuns[known] < 0 || m_lastRuns[known] == m_open.run) {
        return false;
    }
    const Run &last = m_history.runs[static_cast<std::size_t>(m_lastRuns[known])];
    return run().fromMs < last.toMs && logOf(run()) != logOf(last);
}

/** Of all devices: the run that ends is the only one with a link that is open. */
void RunBook::closeLinks(double atMs)
{
    for (Device &device : m_history.devices) {
        if (!device.link.empty() && device.link.back().toMs < 0.0) {
            device.link.back().toMs = atMs;
            ++device.events;
        }
    }
}

void RunBook::closeCommands()
{
    for (Device &device : m_history.devices) {
        device.events += device.openCommands > 0 ? 1 : 0;
        device.openCommands = 0;
    }
}

} // namespace biz::history
