#include <testkit/device_tally.h>

#include <QtCore/QStringList>

namespace biz::testkit {

namespace {

/** "3 faults (1 silence, 2 junk)" */
QString faultsText(const DeviceTally &tally)
{
    quint64 all = 0;
    QStringList kinds;
    for (int i = 0; i < faultKinds; ++i) {
        const quint64 count = tally.faults[static_cast<std::size_t>(i)];
        all += count;
        if (count != 0) {
            kinds << QStringLiteral("%1 %2").arg(QString::number(count), faultName(static_cast<FaultKind>(i)));
        }
    }
    const QString text = QStringLiteral("%1 faults").arg(all);
    return kinds.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, kinds.join(QStringLiteral(", ")));
}

} // namespace

QString summaryText(const DeviceTally &tally)
{
    QStringList parts{QStringLiteral("%1 commands").arg(tally.received),
                      QStringLiteral("%1 replies").arg(tally.replies), faultsText(tally)};
    if (tally.unfit != 0) {
        parts << QStringLiteral("%1 faults did not apply").arg(tally.unfit);
    }
    if (tally.lost != 0) {
        parts << QStringLiteral("%1 replies not delivered").arg(tally.lost);
    }
    if (tally.refused != 0) {
        parts << QStringLiteral("%1 times bytes without a valid frame").arg(tally.refused);
    }
    return parts.join(QStringLiteral(", "));
}

} // namespace biz::testkit
