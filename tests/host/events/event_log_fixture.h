#ifndef BIZ_TESTS_HOST_EVENT_LOG_FIXTURE_H
#define BIZ_TESTS_HOST_EVENT_LOG_FIXTURE_H

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <device_host_fixture.h>
#include <host/event_log.h>

namespace biz::test {

/** A device host whose events are told. */
class EventsOfDevice : public DeviceHostFixture
{
protected:
    static QByteArrayList linesIn(const QByteArray &text)
    {
        QByteArrayList lines = text.split('\n');
        EXPECT_TRUE(lines.takeLast().isEmpty()) << "the last line is not whole";
        return lines;
    }

    static QByteArrayList linesOf(const QString &path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        return linesIn(file.readAll());
    }

    static QJsonObject parsed(const QByteArray &line)
    {
        const QJsonDocument document = QJsonDocument::fromJson(line);
        EXPECT_TRUE(document.isObject()) << line.toStdString();
        return document.object();
    }

    static QStringList eventsIn(const QByteArrayList &lines)
    {
        QStringList events;
        for (const QByteArray &line : lines) {
            events.append(parsed(line).value(QStringLiteral("event")).toString());
        }
        return events;
    }

    /** Runs one command to its end. */
    host::Ticket exchange(const host::CommandOptions &options = {})
    {
        const host::Ticket ticket = enqueue(command(longWaitMs), options);
        EXPECT_TRUE(waitForEnd(ticket));
        return ticket;
    }

    QString path() const { return folder.path(QStringLiteral("events.jsonl")); }
};

} // namespace biz::test

#endif
