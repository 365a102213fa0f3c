#include <gtest/gtest.h>

#include <sys/stat.h>

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <common/errors.h>
#include <common/files/followed_file.h>
#include <support/scratch_folder.h>

namespace {

using biz::tools::FollowedFile;

class FollowedFileTest : public testing::Test
{
protected:
    void append(const QByteArray &text, const QString &name = QStringLiteral("log"))
    {
        QFile written(folder.path(name));
        ASSERT_TRUE(written.open(QIODevice::WriteOnly | QIODevice::Append));
        written.write(text);
    }

    void rename(const char *from, const char *to)
    {
        ASSERT_TRUE(QFile::rename(folder.path(QLatin1String(from)), folder.path(QLatin1String(to))));
    }

    static QByteArrayList linesOf(FollowedFile &followed)
    {
        QByteArrayList lines;
        for (QByteArray line; followed.next(&line);) {
            lines << line;
        }
        return lines;
    }

    QByteArrayList newLines() { return linesOf(file); }

    const biz::test::ScratchFolder folder;
    FollowedFile file{folder.path(QStringLiteral("log"))};
};

TEST_F(FollowedFileTest, FileThatComesLaterIsReadThen)
{
    EXPECT_EQ(newLines(), QByteArrayList());
    append("one\ntwo\n");
    EXPECT_EQ(newLines(), (QByteArrayList{"one", "two"}));
}

TEST_F(FollowedFileTest, LineIsToldWhenItsEndIsThere)
{
    append("half");
    EXPECT_EQ(newLines(), QByteArrayList());
    append(" a line\r\n");
    EXPECT_EQ(newLines(), QByteArrayList{"half a line"});
}

TEST_F(FollowedFileTest, RotatedFileIsReadToItsEndAndTheNewOneAfterIt)
{
    append("one\n");
    EXPECT_EQ(newLines(), QByteArrayList{"one"});
    append("two\n");
    rename("log", "log.1");
    append("three\n");
    EXPECT_EQ(newLines(), (QByteArrayList{"two", "three"}));
}

TEST_F(FollowedFileTest, RotatedFileIsReadToItsEndHoweverLongItIs)
{
    constexpr int lines = 100'000; // more than are read at a time
    append("one\n");
    EXPECT_EQ(newLines(), QByteArrayList{"one"});
    append(QByteArray("a line\n").repeated(lines));
    rename("log", "log.1");
    append("last\n");
    const QByteArrayList read = newLines();
    ASSERT_EQ(read.size(), lines + 1);
    EXPECT_EQ(read.count("a line"), lines);
    EXPECT_EQ(read.last(), "last");
}

TEST_F(FollowedFileTest, FilesThatWereRotatedMeanwhileAreReadInTheirOrder)
{
    append("one\n");
    EXPECT_EQ(newLines(), QByteArrayList{"one"});
    rename("log", "log.2");
    append("two\n", QStringLiteral("log.1"));
    append("three\n");
    EXPECT_EQ(newLines(), (QByteArrayList{"two", "three"}));
}

TEST_F(FollowedFileTest, OlderFileIsNotReadWhenTheLogWasReplaced)
{
    const QString older = folder.path(QStringLiteral("log.1"));
    append("old\n", QStringLiteral("log.1"));
    QFile times(older);
    ASSERT_TRUE(times.open(QIODevice::ReadWrite));
    ASSERT_TRUE(times.setFileTime(QDateTime::currentDateTime().addSecs(-60), QFileDevice::FileModificationTime));
    append("one\n");
    EXPECT_EQ(newLines(), QByteArrayList{"one"});
    ASSERT_TRUE(QFile::remove(folder.path(QStringLiteral("log"))));
    append("new\n");
    EXPECT_EQ(newLines(), QByteArrayList{"new"});
}

TEST_F(FollowedFileTest, LogCanBeReadFromItsOldestFileOn)
{
    append("one\n", QStringLiteral("log.2"));
    append("two\n", QStringLiteral("log.1"));
    append("three\n");
    EXPECT_EQ(newLines(), QByteArrayList{"three"});
    FollowedFile whole(folder.path(QStringLiteral("log")), FollowedFile::Begin::OldestFile);
    EXPECT_EQ(linesOf(whole), (QByteArrayList{"one", "two", "three"}));
}

TEST_F(FollowedFileTest, FilesOfACopiedLogAreReadByTheirNumbersWhateverTheirTimes)
{
    const QDateTime copied = QDateTime::currentDateTime().addSecs(-60);
    for (const int number : {0, 1, 2}) {
        const QString name = number == 0 ? QStringLiteral("log") : QStringLiteral("log.%1").arg(number);
        append(QByteArray::number(number) + '\n', name);
        QFile copy(folder.path(name));
        ASSERT_TRUE(copy.open(QIODevice::ReadWrite));
        ASSERT_TRUE(copy.setFileTime(copied.addSecs(number), QFileDevice::FileModificationTime));
    }
    FollowedFile whole(folder.path(QStringLiteral("log")), FollowedFile::Begin::OldestFile);
    EXPECT_EQ(linesOf(whole), (QByteArrayList{"2", "1", "0"}));
}

TEST_F(FollowedFileTest, PipeIsRefusedAndNotWaitedFor)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(file.path()).constData(), S_IRUSR | S_IWUSR), 0);
    QByteArray line;
    EXPECT_THROW(file.next(&line), biz::tools::InputError);
}

TEST_F(FollowedFileTest, FileThatIsEmptiedIsReadFromItsBegin)
{
    append("one\ntwo\n");
    EXPECT_EQ(newLines().size(), 2);
    ASSERT_TRUE(QFile::resize(folder.path(QStringLiteral("log")), 0));
    EXPECT_EQ(newLines(), QByteArrayList());
    append("new\n");
    EXPECT_EQ(newLines(), QByteArrayList{"new"});
}

TEST_F(FollowedFileTest, LineThatNeverEndsIsToldAsTornBeforeItFillsTheMemory)
{
    append(QByteArray(5 * 1024 * 1024, 'x'));
    QByteArray line;
    ASSERT_TRUE(file.next(&line));
    EXPECT_FALSE(file.isWholeLine());
    append("rest\nnext\n");
    EXPECT_EQ(newLines().last(), QByteArray("next"));
    EXPECT_TRUE(file.isWholeLine());
}

TEST_F(FollowedFileTest, LineThatWasNotFinishedBeforeARotationIsTorn)
{
    append("half");
    EXPECT_EQ(newLines(), QByteArrayList());
    rename("log", "log.1");
    append("new\n");
    QByteArray line;
    ASSERT_TRUE(file.next(&line));
    EXPECT_EQ(line, QByteArray("half"));
    EXPECT_FALSE(file.isWholeLine());
    EXPECT_EQ(newLines(), QByteArrayList{"new"});
}

TEST_F(FollowedFileTest, RestThatIsGivenUpIsTorn)
{
    append("half");
    EXPECT_EQ(newLines(), QByteArrayList());
    file.giveUpRest();
    EXPECT_EQ(newLines(), QByteArrayList{"half"});
    EXPECT_EQ(newLines(), QByteArrayList());
}

TEST_F(FollowedFileTest, PlaceIsTheNumberOfTheLine)
{
    append("one\ntwo\n");
    newLines();
    EXPECT_EQ(file.place(), folder.path(QStringLiteral("log")) + QStringLiteral(":2"));
}

} // namespace
