#include <link/serial_settings_p.h>

#include <QtCore/QStringList>
#include <QtCore/QUrlQuery>

namespace biz::host {

namespace {

/** A word that may stand in the URL, and what it means. */
template<typename Value>
struct Word
{
    const char *text;
    Value value;
};

constexpr Word<QSerialPort::Parity> parities[] = {
    {"none", QSerialPort::NoParity},   {"even", QSerialPort::EvenParity},   {"odd", QSerialPort::OddParity},
    {"mark", QSerialPort::MarkParity}, {"space", QSerialPort::SpaceParity},
};
constexpr Word<QSerialPort::DataBits> dataBitCounts[] = {
    {"5", QSerialPort::Data5}, {"6", QSerialPort::Data6}, {"7", QSerialPort::Data7}, {"8", QSerialPort::Data8}};
constexpr Word<QSerialPort::StopBits> stopBitCounts[] = {
    {"1", QSerialPort::OneStop}, {"1.5", QSerialPort::OneAndHalfStop}, {"2", QSerialPort::TwoStop}};
constexpr Word<QSerialPort::FlowControl> flowControls[] = {{"none", QSerialPort::NoFlowControl},
                                                           {"hardware", QSerialPort::HardwareControl},
                                                           {"software", QSerialPort::SoftwareControl}};

template<typename Value, std::size_t size>
QString readWord(const Word<Value> (&words)[size], const QString &key, const QString &text, Value *value)
{
    QStringList allowed;
    for (const Word<Value> &word : words) {
        if (text == QLatin1String(word.text)) {
            *value = word.value;
            return {};
        }
        allowed.append(QString::fromLatin1(word.text));
    }
    return QStringLiteral("%1 is \"%2\", allowed: %3").arg(key, text, allowed.join(QStringLiteral(", ")));
}

template<typename Value, std::size_t size>
QString wordOf(const Word<Value> (&words)[size], Value value)
{
    for (const Word<Value> &word : words) {
        if (word.value == value) {
            return QString::fromLatin1(word.text);
        }
    }
    return {};
}

QString readBaud(const QString &text, qint32 *baud)
{
    bool isNumber = false;
    const qint32 value = text.toInt(&isNumber);
    if (!isNumber || value < 1) {
        return QStringLiteral("baud is \"%1\", a number from 1 is needed").arg(text);
    }
    *baud = value;
    return {};
}

QString readParameter(const QString &key, const QString &text, SerialSettings *settings)
{
    if (key == QLatin1String("baud")) {
        return readBaud(text, &settings->baud);
    }
    if (key == QLatin1String("parity")) {
        return readWord(parities, key, text, &settings->parity);
    }
    if (key == QLatin1String("data")) {
        return readWord(dataBitCounts, key, text, &settings->dataBits);
    }
    if (key == QLatin1String("stop")) {
        return readWord(stopBitCounts, key, text, &settings->stopBits);
    }
    if (key == QLatin1String("flow")) {
        return readWord(flowControls, key, text, &settings->flow);
    }
    return QStringLiteral("there is no parameter \"%1\", but baud, parity, data, stop and flow").arg(key);
}

} // namespace

QString SerialSettings::url() const
{
    return QStringLiteral("serial://%1?baud=%2&parity=%3&data=%4&stop=%5&flow=%6")
        .arg(device)
        .arg(baud)
        .arg(wordOf(parities, parity), wordOf(dataBitCounts, dataBits), wordOf(stopBitCounts, stopBits),
             wordOf(flowControls, flow));
}

QString readSerialUrl(const QUrl &url, SerialSettings *settings)
{
    if (!url.authority().isEmpty()) {
        return QStringLiteral("a serial link takes no host, but has \"%1\"; are there three slashes?")
            .arg(url.authority());
    }
    if (url.path().size() <= 1) {
        return QStringLiteral("it names no serial port");
    }
    if (url.hasFragment()) {
        return QStringLiteral("a serial link takes no fragment");
    }
    settings->device = url.path();
    QStringList seen;
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &item : items) {
        if (seen.contains(item.first)) {
            return QStringLiteral("%1 is given twice").arg(item.first);
        }
        seen.append(item.first);
        QString problem = readParameter(item.first, item.second, settings);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return {};
}

} // namespace biz::host
