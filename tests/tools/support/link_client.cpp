#include <tools/support/link_client.h>

#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>

namespace biz::test {

namespace {

std::unique_ptr<host::FrameCodec> codecFor(const QString &url)
{
    if (url.startsWith(QLatin1String("udp:"))) {
        return std::make_unique<host::DemoDatagramCodec>();
    }
    return std::make_unique<host::DemoFrameCodec>();
}

} // namespace

LinkClient::LinkClient(const QString &url)
    : m_codec(codecFor(url))
{
    QString error;
    m_link = host::makeLink(QUrl(url), &error);
    if (!m_link) {
        ADD_FAILURE() << error.toStdString();
        return;
    }
    QObject::connect(m_link.get(), &host::DeviceLink::received, m_link.get(),
                     [this](const QByteArray &bytes) { take(bytes); });
    QObject::connect(m_link.get(), &host::DeviceLink::closed, m_link.get(), [this] { m_closed = true; });
    m_link->open();
    waitFor([this] { return m_link->isOpen() || m_closed; });
}

void LinkClient::take(const QByteArray &bytes)
{
    m_pieces.append(bytes);
    const host::Decoded decoded = m_codec->decode(bytes);
    m_replies += decoded.records;
    for (const host::Refusal &refusal : decoded.refusals) {
        m_refusedBytes += refusal.bytes;
    }
}

bool LinkClient::waitForClose()
{
    return waitFor([this] { return m_closed; });
}

void LinkClient::send(const model_Protocoldata &command)
{
    sendBytes(bytesOf(command));
}

void LinkClient::sendBytes(const QByteArray &bytes)
{
    EXPECT_TRUE(m_link->write(bytes));
}

bool LinkClient::trySend(const model_Protocoldata &command)
{
    constexpr int shortMs = 500;
    return waitFor([this] { return m_link->canWrite(); }, shortMs) && m_link->write(bytesOf(command));
}

std::optional<model_Protocoldata> LinkClient::reply()
{
    if (!waitFor([this] { return !m_replies.isEmpty(); })) {
        return std::nullopt;
    }
    return m_replies.takeFirst();
}

QString LinkClient::nextSequences(int count)
{
    QStringList sequences;
    for (int i = 0; i < count; ++i) {
        const auto next = reply();
        sequences << (next ? QString::number(next->ucHead[0]) : QStringLiteral("none"));
    }
    return sequences.join(QLatin1Char(' '));
}

bool LinkClient::waitForBytes(qsizetype count)
{
    return waitFor([&] { return bytes().size() >= count; });
}

bool LinkClient::staysSilent()
{
    constexpr int quietMs = 100;
    return !waitFor([this] { return !m_replies.isEmpty(); }, quietMs);
}

QByteArray LinkClient::bytes() const
{
    QByteArray all;
    for (const QByteArray &piece : m_pieces) {
        all += piece;
    }
    return all;
}

model_Protocoldata commandOf(int sequence, int command, int subCode, int index)
{
    model_Protocoldata record;
    record.ucHead[0] = static_cast<uchar>(sequence);
    record.ucHead[1] = static_cast<uchar>(command);
    record.ucHead[2] = static_cast<uchar>(subCode);
    record.ucHead[3] = static_cast<uchar>(index);
    return record;
}

} // namespace biz::test
