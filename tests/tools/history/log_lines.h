#ifndef BIZ_TESTS_LOG_LINES_H
#define BIZ_TESTS_LOG_LINES_H

#include <QtCore/QDateTime>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <history/findings/findings.h>
#include <history/reading/history_builder.h>

/** Writes an event log as a host would, with times in milliseconds since its start. */
class LogLines
{
public:
    static constexpr int a2 = 0x1400;

    /** 2026-05-06 14:00:00 UTC. */
    static double startMs() { return 1778076000000.0; }

    void start(int deviceType = a2, const QString &channel = QStringLiteral("device"))
    {
        line(0.0, {{"event", "start"},
                   {"channel", channel},
                   {"deviceType", deviceType},
                   {"pipelined", false},
                   {"link", "tcp://10.0.0.1:15700"}});
    }

    void given(double atMs, int ticket, const QString &name = QStringLiteral("get scene"), int waitMs = 500)
    {
        line(atMs, {{"event", "given"}, {"ticket", ticket}, {"name", name}, {"command", "F1/08"}, {"waitMs", waitMs}});
    }

    void sent(double atMs, int ticket) { line(atMs, {{"event", "sent"}, {"ticket", ticket}, {"waitMs", 500}}); }
    void resent(double atMs, int ticket) { line(atMs, {{"event", "resent"}, {"ticket", ticket}}); }

    void answered(double atMs, int ticket, double roundTripMs, const char *head = "01 F1 08 03 62 01 00",
                  int payloadSize = 354)
    {
        line(atMs, {{"event", "answered"},
                    {"ticket", ticket},
                    {"roundTripMs", roundTripMs},
                    {"head", head},
                    {"data", payload(payloadSize)}});
    }

    void gaveUp(double atMs, int ticket) { line(atMs, {{"event", "gaveUp"}, {"ticket", ticket}}); }
    void late(double atMs, int ticket) { line(atMs, {{"event", "late"}, {"ticket", ticket}, {"afterEndMs", 1.0}}); }

    void rejected(double atMs, int ticket, const QString &codes, const char *head, int payloadSize,
                  const QString &broken = QStringLiteral("payload holds 353 bytes, needs 354"))
    {
        line(atMs, {{"event", "rejected"},
                    {"ticket", ticket},
                    {"command", codes},
                    {"head", head},
                    {"data", payload(payloadSize)},
                    {"broken", broken},
                    {"rule", "index at most 15, then length 354"}});
    }

    void link(double atMs, const QString &state, const QString &reason = {})
    {
        line(atMs, {{"event", "linkStateChanged"}, {"state", state}, {"reason", reason}});
    }

    void end(double atMs) { line(atMs, {{"event", "summary"}}); }

    /** A command that is given, sent and answered at once. */
    void answeredCommand(double atMs, int ticket, double roundTripMs)
    {
        given(atMs, ticket);
        sent(atMs, ticket);
        answered(atMs + roundTripMs, ticket, roundTripMs);
    }

    void unansweredCommand(double atMs, int ticket)
    {
        given(atMs, ticket);
        sent(atMs, ticket);
        gaveUp(atMs + 700.0, ticket);
    }

    void line(double atMs, QJsonObject object)
    {
        const QDateTime utc = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(startMs() + atMs), Qt::UTC);
        object.insert(QStringLiteral("utc"), utc.toString(Qt::ISODateWithMs));
        object.insert(QStringLiteral("atMs"), atMs);
        lines.append(QJsonDocument(object).toJson(QJsonDocument::Compact));
    }

    biz::history::History history() const
    {
        biz::history::HistoryBuilder builder;
        builder.beginFile(QStringLiteral("log.jsonl"));
        for (const QByteArray &text : lines) {
            builder.readEventLine(text);
        }
        return builder.take();
    }

    QList<QByteArray> lines;

private:
    static QString payload(int size) { return QString::fromLatin1(QByteArray(size, '\1').toHex()); }
};

#endif
