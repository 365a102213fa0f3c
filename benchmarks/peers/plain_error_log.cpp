#include <peers/plain_error_log.h>

#include <array>

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTextStream>

namespace {

constexpr int hexBase = 16;
constexpr int digitsPerByte = 2;

template<typename Dump>
void writeLine(const model_Protocoldata &data, const QString &model, Dump dump)
{
    const QString folder = QDir::currentPath() + QStringLiteral("/Errorlog/");
    if (!QDir().exists(folder)) {
        QDir().mkdir(folder);
    }
    const QString day = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd"));
    QFile file(folder + day + QStringLiteral(".log"));
    if (!file.open(QIODevice::Append | QIODevice::Text)) {
        return;
    }
    const QString text = dump(data);
    const QString time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss zzz"));
    QTextStream stream(&file);
    stream << "[" << model << "]"
           << "[" << time << "]" << text << Qt::endl;
}

QString byteText(qlonglong value)
{
    return QStringLiteral("%1").arg(value, digitsPerByte, hexBase, QLatin1Char('0'));
}

QString headText(const model_Protocoldata &data)
{
    return QStringLiteral("<%1 %2 %3 %4 %5>")
        .arg(byteText(data.ucHead[1]), byteText(data.ucHead[2]), byteText(data.ucHead[3]), byteText(data.ucHead[4]),
             byteText(data.ucHead[5]));
}

std::array<QString, 256> makeTexts()
{
    std::array<QString, 256> texts;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        texts[i] = byteText(static_cast<qint8>(i));
    }
    return texts;
}

} // namespace

void writeWithTable(const model_Protocoldata &data)
{
    static const std::array<QString, 256> texts = makeTexts();
    writeLine(data, QStringLiteral("ORLIXA2"), [](const model_Protocoldata &record) {
        QString text = headText(record);
        for (const char byte : record.baData) {
            text += texts[static_cast<uchar>(byte)];
        }
        return text;
    });
}

void writeWithArg(const model_Protocoldata &data)
{
    writeLine(data, QStringLiteral("ORLIXA2"), [](const model_Protocoldata &record) {
        QString text = headText(record);
        for (const char byte : record.baData) {
            text += byteText(static_cast<qint8>(byte));
        }
        return text;
    });
}
