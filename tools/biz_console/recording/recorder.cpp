#include <biz_console/recording/recorder.h>

#include <utility>

#include <QtCore/QDateTime>
#include <QtCore/QJsonDocument>

#include <biz_console/output/json_sink.h>
#include <biz_console/summary/text_output.h>
#include <common/files/utf8_stream.h>
#include <common/hex.h>
#include <common/units.h>
#include <host/version.h>
#include <recording/recording_format.h>

namespace biz::console {

namespace recorded = tools::recorded;

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

} // namespace

/** Events are recorded as `--json` prints them; the first line says more than its own. */
class Recorder::Sink : public EventSink
{
public:
    explicit Sink(Recorder &recorder)
        : m_recorder(recorder)
        , m_events(recorder.m_out, true)
    {
    }

    void started(const RunStart &run) override { m_recorder.start(run); }
    void happened(const host::Event &event) override { m_events.happened(event); }
    void given(const host::Event &event, const Expectation &expected) override { m_events.given(event, expected); }
    void brokeOff(const host::Event &event, RunProblem problem) override { m_events.brokeOff(event, problem); }
    void ended(const RunEnd &end) override { m_events.ended(end); }
    bool hasFailed() const override { return console::hasFailed(m_recorder.m_out); }

private:
    Recorder &m_recorder;
    JsonSink m_events;
};

class Recorder::Link : public host::DeviceLink
{
public:
    Link(Recorder &recorder, std::unique_ptr<host::DeviceLink> inner)
        : m_recorder(recorder)
        , m_inner(std::move(inner))
    {
        connect(m_inner.get(), &host::DeviceLink::opened, this, [this] {
            m_recorder.noteLink(recorded::linkOpened, {});
            Q_EMIT opened();
        });
        connect(m_inner.get(), &host::DeviceLink::closed, this, [this](const QString &reason) {
            m_recorder.noteLink(recorded::linkClosed, {}, reason);
            Q_EMIT closed(reason);
        });
        connect(m_inner.get(), &host::DeviceLink::received, this, [this](const QByteArray &bytes) {
            m_recorder.noteLink(recorded::bytesIn, bytes);
            Q_EMIT received(bytes);
        });
        connect(m_inner.get(), &host::DeviceLink::writable, this, &host::DeviceLink::writable);
    }

    void open() override
    {
        if (std::exchange(m_wasOpened, true)) {
            m_recorder.noteLink(recorded::linkOpening, {});
        }
        m_inner->open();
    }
    void close() override { m_inner->close(); }
    bool isOpen() const override { return m_inner->isOpen(); }
    bool canWrite() const override { return m_inner->canWrite(); }
    qint64 bytesHeld() const override { return m_inner->bytesHeld(); }
    void discard() override { m_inner->discard(); }
    bool keepsMessageBoundaries() const override { return m_inner->keepsMessageBoundaries(); }
    QString name() const override { return m_inner->name(); }
    bool endWriting() override { return m_inner->endWriting(); }

    // Noted first: a link may answer within its write.
    bool write(const QByteArray &bytes) override
    {
        if (m_inner->isOpen()) {
            m_recorder.noteLink(recorded::bytesOut, bytes);
        }
        return m_inner->write(bytes);
    }

private:
    Recorder &m_recorder;
    std::unique_ptr<host::DeviceLink> m_inner;
    bool m_wasOpened = false;
};

Recorder::Recorder(QIODevice &device)
    : m_out(&device)
{
    tools::writeUtf8(m_out);
}

std::unique_ptr<EventSink> Recorder::sink()
{
    return std::make_unique<Sink>(*this);
}

std::unique_ptr<host::DeviceLink> Recorder::wrap(std::unique_ptr<host::DeviceLink> link)
{
    return std::make_unique<Link>(*this, std::move(link));
}

bool Recorder::finish()
{
    m_out.flush();
    return !console::hasFailed(m_out);
}

void Recorder::start(const RunStart &run)
{
    m_sinceStart.start();
    QJsonObject object{{key("event"), key(recorded::head)},
                       {key("format"), recorded::formatVersion},
                       {key("tool"), QStringLiteral("biz_console " BIZ_CONSOLE_VERSION)},
                       {key("library"), host::libraryVersion()},
                       {key("utc"), run.utc.toString(Qt::ISODateWithMs)},
                       {key("channel"), run.isOfDevice ? key("device") : key("osd")},
                       {key("link"), run.target}};
    if (run.isOfDevice) {
        object.insert(key("deviceType"), run.deviceType);
        object.insert(key("pipelined"), run.isPipelined);
        if (run.reconnects) {
            object.insert(key(recorded::reconnects), true);
        }
    }
    line(object);
}

void Recorder::noteLink(const char *event, const QByteArray &bytes, const QString &reason)
{
    QJsonObject object{{key("event"), key(event)},
                       {key("utc"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
                       {key("atMs"), tools::roundedMs(tools::elapsedMs(m_sinceStart))}};
    if (!bytes.isEmpty()) {
        object.insert(key("data"), tools::hexText(bytes));
    }
    if (!reason.isEmpty()) {
        object.insert(key("reason"), reason);
    }
    line(object);
}

void Recorder::line(const QJsonObject &object)
{
    m_out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    m_out.flush();
}

} // namespace biz::console
