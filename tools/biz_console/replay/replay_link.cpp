#include <biz_console/replay/replay_link.h>

#include <utility>

namespace biz::console {

ReplayLink::ReplayLink(const Recording &recording)
    : m_name(recording.link)
    , m_script([this](const RecordedStep &step) { play(step); })
{
    for (const RecordedStep &step : recording.steps) {
        m_script.append(step);
    }
}

void ReplayLink::open()
{
    if (std::exchange(m_wasOpened, true)) {
        m_script.noteReopening();
    } else {
        m_script.start();
    }
}

bool ReplayLink::write(const QByteArray & /*bytes*/)
{
    if (m_isOpen) {
        m_script.noteWrite();
    }
    return m_isOpen;
}

void ReplayLink::play(const RecordedStep &step)
{
    switch (step.kind) {
    case RecordedStep::Kind::Opened:
        m_isOpen = true;
        Q_EMIT opened();
        break;
    case RecordedStep::Kind::Closed:
        m_isOpen = false;
        Q_EMIT closed(step.reason);
        break;
    case RecordedStep::Kind::Received:
        if (m_isOpen) {
            Q_EMIT received(step.bytes);
        }
        break;
    case RecordedStep::Kind::Interrupted:
        Q_EMIT interrupted();
        break;
    }
}

} // namespace biz::console
