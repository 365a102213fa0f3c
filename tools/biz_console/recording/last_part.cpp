#include <biz_console/recording/last_part.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_console/session/expectation.h>
#include <recording/recording_format.h>

namespace biz::console {

namespace recorded = tools::recorded;

namespace {

QByteArray lineOf(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

LastPart::LastPart(int maxBytes)
    : m_maxBytes(maxBytes)
{
    open(QIODevice::WriteOnly);
}

qint64 LastPart::writeData(const char *data, qint64 size)
{
    m_unfinished.append(data, static_cast<int>(size));
    for (auto end = m_unfinished.indexOf('\n'); end >= 0; end = m_unfinished.indexOf('\n')) {
        takeLine(m_unfinished.left(end + 1));
        m_unfinished.remove(0, end + 1);
    }
    return size;
}

void LastPart::takeLine(const QByteArray &line)
{
    if (m_head.isEmpty()) {
        m_head = line;
        return;
    }
    beginChunkIfFull();
    m_now.lines += line;
    follow(line);
}

/** Which commands wait, and which are under way. */
void LastPart::follow(const QByteArray &line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    const QString event = object.value(QStringLiteral("event")).toString();
    const auto ticket = static_cast<qint64>(object.value(QStringLiteral("ticket")).toDouble());
    host::Outcome outcome{};
    if (event == eventName(host::EventKind::LinkStateChanged)) {
        const QString state = object.value(QStringLiteral("state")).toString();
        m_isLinkLost = state == host::linkStateName(host::LinkState::Lost);
    }
    if (event == QLatin1String("given")) {
        m_waiting.insert(ticket, line);
    } else if (event == eventName(host::EventKind::Writing)) {
        m_inFlight.insert(ticket);
    } else if (host::outcomeFromName(event, &outcome)) {
        m_waiting.remove(ticket);
        m_inFlight.remove(ticket);
    } else if (!m_isOpened) {
        m_opening += line;
        m_isOpened = event == QLatin1String("opened");
    }
}

// Between two commands if there is such a moment in time; a busy run may have none.
void LastPart::beginChunkIfFull()
{
    const int most = m_maxBytes / 2;
    const bool isQuiet = m_inFlight.isEmpty() && m_isOpened && !m_isLinkLost;
    if (m_now.lines.size() >= (isQuiet ? most / 2 : most)) {
        m_hasLost = m_hasLost || !m_before.lines.isEmpty();
        m_before = m_now;
        m_now = {m_waiting, {}, !isQuiet};
    }
}

QByteArray LastPart::recording() const
{
    if (!m_hasLost) {
        return m_head + m_before.lines + m_now.lines;
    }
    QJsonObject head = QJsonDocument::fromJson(m_head).object();
    head.insert(QLatin1String(recorded::part), true);
    head.insert(QLatin1String(recorded::amidCommands), m_before.isAmidCommands);
    QByteArray text = lineOf(head) + m_opening;
    for (const QByteArray &given : m_before.waiting) {
        text += given;
    }
    return text + m_before.lines + m_now.lines;
}

} // namespace biz::console
