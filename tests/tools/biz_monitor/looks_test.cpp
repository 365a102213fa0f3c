#include <tools/biz_monitor/window_fixture.h>

#include <QtGui/QImage>
#include <QtWidgets/QApplication>

#include <host/reply_words.h>

namespace {

QPalette darkPalette()
{
    QPalette palette(QColor(0x2b, 0x2d, 0x30), QColor(0x2b, 0x2d, 0x30));
    palette.setColor(QPalette::Base, QColor(0x1c, 0x1e, 0x20));
    palette.setColor(QPalette::AlternateBase, QColor(0x24, 0x26, 0x29));
    for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
        palette.setColor(role, QColor(0xe6, 0xe8, 0xea));
    }
    palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xa7));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    return palette;
}

/** Of light and dark pictures: how bright they are on the whole, from 0 to 255. */
double brightness(const QImage &picture)
{
    const QImage small = picture.scaled(64, 64, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    double sum = 0.0;
    for (int y = 0; y < small.height(); ++y) {
        for (int x = 0; x < small.width(); ++x) {
            sum += qGray(small.pixel(x, y));
        }
    }
    return sum / (small.width() * small.height());
}

constexpr int devices = 24;

class LooksTest : public WindowTest
{
protected:
    void SetUp() override
    {
        before = QApplication::palette();
        aDayOfTrouble();
        write();
        watch();
    }

    void TearDown() override { QApplication::setPalette(before); }

    /** The displays of a building: most answer, one is silent, one is slow, one has lost its link. */
    void aDayOfTrouble()
    {
        log.start(-1, QStringLiteral("fleet"));
        constexpr int seconds = 60;
        int ticket = 0;
        for (int second = 0; second < seconds; ++second) {
            for (int device = 1; device <= devices; ++device) {
                oneCommand(++ticket, second * 1000.0 + device * 30.0, device);
            }
        }
        for (int device = 1; device <= devices; ++device) {
            log.line(0.0, {{"event", "linkStateChanged"}, {"device", nameOf(device)}, {"state", "up"}});
        }
        line(41000.0, 0, 12, {{"event", "linkStateChanged"}, {"state", "lost"}, {"reason", "no route to host"}});
        line(29000.0, 0, 1, {{"event", "linkStateChanged"}, {"state", "lost"}, {"reason", "the other side closed it"}});
        line(34000.0, 0, 1, {{"event", "linkStateChanged"}, {"state", "up"}});
        line(60000.0, ++ticket, 1, {{"event", "given"}, {"name", "set colour"}, {"waitMs", 1500}});
        line(60005.0, ticket, 1, {{"event", "sent"}, {"waitMs", 1500}});
        line(60010.0, ++ticket, 1, {{"event", "given"}, {"name", "show text"}, {"waitMs", 1500}});
    }

    static QString nameOf(int device) { return QStringLiteral("display-%1").arg(device); }

    void line(double atMs, int ticket, int device, QJsonObject event)
    {
        event.insert(QStringLiteral("device"), nameOf(device));
        if (ticket > 0) {
            event.insert(QStringLiteral("ticket"), ticket);
        }
        log.line(atMs, event);
    }

    void oneCommand(int ticket, double atMs, int device)
    {
        const int second = static_cast<int>(atMs / 1000.0);
        line(atMs, ticket, device, {{"event", "given"}, {"name", "get scene"}, {"waitMs", 1500}});
        const bool isDown = (device == 12 && second > 40) || (device == 1 && second >= 29 && second < 34);
        if (isDown) {
            line(atMs + 1.0, ticket, device, {{"event", "unreachable"}});
            return;
        }
        line(atMs + 4.0, ticket, device, {{"event", "sent"}, {"waitMs", 1500}});
        const bool isSilent = device == 9 ? second > 45 : device == 1 && second >= 20 && second < 24;
        if (isSilent) {
            line(atMs + 500.0, ticket, device, {{"event", "resent"}});
            line(atMs + 950.0, ticket, device, {{"event", "gaveUp"}});
            return;
        }
        const double roundTripMs = (device == 5 ? 400.0 : 8.0) + (second * 37 + device * 11) % 23;
        if (device == 1 && second % 25 == 3) {
            refusal(atMs + 5.0, ticket, device);
        }
        line(atMs + 4.0 + roundTripMs, ticket, device, {{"event", "answered"}, {"roundTripMs", roundTripMs}});
        if (device == 1 && second % 17 == 0) {
            line(atMs + 80.0, ticket, device, {{"event", "duplicate"}});
        }
    }

    /** A reply whose index is too great, as a host tells of it. */
    void refusal(double atMs, int ticket, int device)
    {
        model_Protocoldata reply;
        const uchar head[] = {0x01, 0xF1, 0x08, 0x10, 0x62, 0x01, 0x00};
        std::copy(std::begin(head), std::end(head), reply.ucHead);
        reply.baData = QByteArray(354, '\1');
        const biz::host::ReplyJudgement judgement = biz::host::judgeReply(LogLines::a2, reply);
        line(atMs, ticket, device,
             {{"event", "rejected"},
              {"command", "F1/08"},
              {"head", "01 F1 08 10 62 01 00"},
              {"data", QString::fromLatin1(reply.baData.toHex())},
              {"broken", judgement.broken},
              {"rule", judgement.rule}});
    }

    /** The window in this palette and size; also as a file where pictures are asked for, to look at them. */
    QImage picture(const char *name, const QPalette &palette, const QSize &size)
    {
        QApplication::setPalette(palette);
        window.setPalette(palette);
        window.resize(size);
        window.show();
        EXPECT_TRUE(
            comesTrue([this] { return rows("Devices") == devices && textOf("Queue") == QLatin1String("1 waiting"); }));
        QCoreApplication::processEvents();
        const QImage grabbed = window.grab().toImage();
        const QString pictures = qEnvironmentVariable("BIZ_PICTURES");
        if (!pictures.isEmpty()) {
            EXPECT_TRUE(grabbed.save(QStringLiteral("%1/monitor_%2.png").arg(pictures, QLatin1String(name))));
        }
        return grabbed;
    }

    QPalette before;
};

constexpr QSize large(1280, 800);
constexpr QSize small(860, 600);

constexpr double middleGrey = 128.0;

TEST_F(LooksTest, LightStyleIsLight)
{
    EXPECT_GT(brightness(picture("light", QApplication::palette(), large)), middleGrey);
    EXPECT_GT(brightness(picture("light_small", QApplication::palette(), small)), middleGrey);
}

TEST_F(LooksTest, DarkStyleIsDarkEverywhere)
{
    EXPECT_LT(brightness(picture("dark", darkPalette(), large)), middleGrey / 2);
    EXPECT_LT(brightness(picture("dark_small", darkPalette(), small)), middleGrey / 2);
}

TEST_F(LooksTest, WindowFitsASmallScreen)
{
    picture("fits", QApplication::palette(), small);
    EXPECT_EQ(window.size(), small);
}

} // namespace
