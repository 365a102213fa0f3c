#include <gtest/gtest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

/** The JSON objects that a program printed, one a line. */
QVector<QJsonObject> objectsOf(const QString &output)
{
    QVector<QJsonObject> objects;
    for (const QString &line : output.trimmed().split('\n')) {
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
        EXPECT_TRUE(document.isObject()) << qPrintable(line);
        objects.append(document.object());
    }
    return objects;
}

class ConsoleCheckFile : public ConsoleProcess
{
protected:
    QString write(const QByteArray &content, const QString &name = "replies.txt") const
    {
        return ConsoleProcess::write(name, content);
    }
};

// --- One reply ------------------------------------------------------------------------

TEST(ConsoleCheck, TellsWhichRuleAReplyMeets)
{
    RunningConsole console({"check", "a2", "F1 08 03 62 01", "--size", "354"});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_STREQ(
        qPrintable(console.output()),
        qPrintable(QString("accepted: it meets its rule\n"
                           "  A2  F1 08 03 62 01  354 bytes\n"
                           "  rule:  index at most 15, then length 354\n"
                           "  reply: command F1, sub-code 08, index 3, bytes 4 and 5 62 01 (declared length 354), "
                           "payload 354 bytes\n")));
}

TEST(ConsoleCheck, AcceptsWhatHasNoRule)
{
    RunningConsole console({"check", "A2", "01 02 00 00 00", ""});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().startsWith("accepted: A2 has no rule for 01/02\n  A2  01 02 00 00 00  0 bytes\n  re"))
        << qPrintable(console.output());
}

struct RefusedReply
{
    const char *name;
    QStringList arguments;
    const char *output;
};

void PrintTo(const RefusedReply &row, std::ostream *out)
{
    *out << row.name;
}

class ConsoleCheckMarks : public testing::TestWithParam<RefusedReply>
{
};

TEST_P(ConsoleCheckMarks, PointAtTheBytesThatBrokeTheRule)
{
    RunningConsole console(QStringList{"check"} + GetParam().arguments);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith(GetParam().output)) << qPrintable(console.output());
}

INSTANTIATE_TEST_SUITE_P(
    Console, ConsoleCheckMarks,
    testing::Values(RefusedReply{"TheIndex",
                                 {"A2", "F1 08 10 62 01", "0102"},
                                 "refused: index is 16, at most 15 allowed\n"
                                 "  A2  F1 08 10 62 01  2 bytes\n"
                                 "            ^^\n"
                                 "  rule:  index at most 15, then length 354\n"},
                    RefusedReply{"TheDeclaredLength",
                                 {"A2", "F1 08 03 61 01", "--size", "354"},
                                 "refused: declared length is 353, must be 354\n"
                                 "  A2  F1 08 03 61 01  354 bytes\n"
                                 "               ^^ ^^\n"},
                    RefusedReply{"ThePayload",
                                 {"A2", "F1 08 03 62 01", "--size", "353"},
                                 "refused: payload holds 353 bytes, needs 354\n"
                                 "  A2  F1 08 03 62 01  353 bytes\n"
                                 "                      ^^^^^^^^^\n"},
                    RefusedReply{"TwoNeighbours",
                                 {"PVN410MAX", "68 08 01 01 00", ""},
                                 "refused: value of bytes 3 and 4 is 257, 1 to 22 allowed\n"
                                 "  PVN410MAX  68 08 01 01 00  0 bytes\n"
                                 "                   ^^ ^^\n"},
                    RefusedReply{"AllOfACondition",
                                 {"A1MAX", "72 30 09 03 00", ""},
                                 "refused: index is 9, at most 1 allowed while byte 4 is 3, not 2, and byte 5 is 0\n"
                                 "  A1MAX  72 30 09 03 00  0 bytes\n"
                                 "               ^^ ^^ ^^\n"}),
    [](const auto &row) { return row.param.name; });

TEST(ConsoleCheck, OneReplyAsJson)
{
    RunningConsole console({"check", "A2", "F1 08 03 62 01", "--size", "353", "--json"});
    EXPECT_EQ(console.exitStatus(), 1);
    const QVector<QJsonObject> objects = objectsOf(console.output());
    ASSERT_EQ(objects.size(), 1);
    const QJsonObject expected{{"model", "A2"},
                               {"command", "F1/08"},
                               {"head", "f1 08 03 62 01"},
                               {"payloadBytes", 353},
                               {"accepted", false},
                               {"rule", "index at most 15, then length 354"},
                               {"broken", "payload holds 353 bytes, needs 354"},
                               {"brokenHeadBytes", QJsonArray()},
                               {"brokenPayload", true}};
    EXPECT_EQ(objects.first(), expected) << qPrintable(console.output());
}

TEST(ConsoleCheck, TakesALineOfTheErrorLogAsItStands)
{
    RunningConsole console({"check", "[ORLIXA2][2024-05-06 14:03:22 517]<f1 08 10 62 01>"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith("refused: index is 16, at most 15 allowed\n"))
        << qPrintable(console.output());
}

// --- A file ---------------------------------------------------------------------------

TEST_F(ConsoleCheckFile, EveryLineIsJudgedByTheModelGiven)
{
    const QString file = write("# replies of the wall\n\nF1 08 03 62 01  354 bytes\n  f1081062010102  \n");
    RunningConsole console({"check", "A2", "--file", file});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_STREQ(qPrintable(console.output()), qPrintable(QString("%1:3: accepted: it meets its rule\n"
                                                                  "  A2  F1 08 03 62 01  354 bytes\n"
                                                                  "  rule:  index at most 15, then length 354\n"
                                                                  "%1:4: refused: index is 16, at most 15 allowed\n"
                                                                  "  A2  F1 08 10 62 01  2 bytes\n"
                                                                  "            ^^\n"
                                                                  "  rule:  index at most 15, then length 354\n"
                                                                  "\n2 replies: 1 accepted, 1 refused\n")
                                                              .arg(file)));
    EXPECT_EQ(console.errors(), "");
}

TEST_F(ConsoleCheckFile, WithoutAModelEachLineNamesItsOwn)
{
    const QString file = write("A2 F1 08 03 62 01 354 bytes\na1max\t72 30 01 00 00\n");
    RunningConsole console({"check", "--file", file});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().contains("\n  A1MAX  72 30 01 00 00  0 bytes\n")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().endsWith("\n2 replies: 2 accepted, 0 refused\n"));
}

TEST_F(ConsoleCheckFile, TheStandardInputIsAFileToo)
{
    RunningConsole console({"check", "A2", "--file", "-"}, "F1 08 10 62 01 354 bytes");
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().startsWith("standard input:1: refused: ")) << qPrintable(console.output());
}

TEST_F(ConsoleCheckFile, AFileThatWentThroughAnEditorIsReadAllTheSame)
{
    const QString file = write("\xEF\xBB\xBF# replies\r\nA2 F1 08 03 62 01 354 bytes\r\n");
    RunningConsole console({"check", "--file", file});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().endsWith("\n1 reply: 1 accepted, 0 refused\n"));
}

TEST_F(ConsoleCheckFile, ALastLineWithoutAnEndIsToldToBeSo)
{
    RunningConsole console({"check", "A2", "--file", write("F1 08 03 62 01 354 bytes")});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.errors().endsWith(":1: no line feed ends the last line; it was judged as it stands\n"))
        << qPrintable(console.errors());
}

TEST_F(ConsoleCheckFile, AFileThatCannotBeReadToItsEndIsBadInput)
{
    RunningConsole console({"check", "--file", "/proc/self/mem"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(), "biz_console: /proc/self/mem: cannot be read: Input/output error\n");
}

TEST_F(ConsoleCheckFile, JunkIsQuotedInPart)
{
    RunningConsole console({"check", "A2", "--file", write(QByteArray("\x1b[2J").repeated(1000) + '\n')});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_FALSE(console.errors().contains(QChar(0x1b)));
    EXPECT_LT(console.errors().size(), 600);
}

TEST_F(ConsoleCheckFile, LinesOfTheErrorLogNameTheirModel)
{
    RunningConsole console({"check", "--file", write("[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00 81 00>0000\n")});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains(":1: refused: payload holds 2 bytes, needs 129\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleCheckFile, BadLinesAreNamedWithWhatWasExpectedAndTheOthersJudged)
{
    const QString file = write("A9 F1 08 03 62 01 354 bytes\n"
                               "A2 F1 08 03 62 354 bytes\n"
                               "A2 F1 08 03 62 01 65536 bytes\n"
                               "A2 F1 08 03 62\n"
                               "A2 F1 08 03 62 01 some bytes\n"
                               "A2 F1 08 10 62 01\n");
    RunningConsole console({"check", "--file", file});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_STREQ(
        qPrintable(console.errors()),
        qPrintable(QString("biz_console: %1:1: one of the models A2, A1MAX, A3, PVN410MAX, K250, PVN410MAX2, A5 "
                           "expected, not 'A9'\n"
                           "biz_console: %1:2: 5 head bytes in hexadecimal such as \"F1 08 03 62 01\" expected, not "
                           "'F1 08 03 62'\n"
                           "biz_console: %1:3: a payload size from 0 to 65535 expected, not '65536'\n"
                           "biz_console: %1:4: 5 head bytes and the payload in hexadecimal, or its size, such as "
                           "\"F1 08 03 62 01  354 bytes\" expected, not 'F1 08 03 62'\n"
                           "biz_console: %1:5: 5 head bytes and the payload in hexadecimal, or its size, such as "
                           "\"F1 08 03 62 01  354 bytes\" expected, not 'F1 08 03 62 01 some bytes'\n")
                       .arg(file)));
    EXPECT_TRUE(console.output().contains(":6: refused: index is 16")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().endsWith("\n1 reply: 0 accepted, 1 refused\n"));
}

TEST_F(ConsoleCheckFile, OneBadLineAmongGoodOnesIsBadInput)
{
    const QByteArray good = "A2 F1 08 03 62 01 354 bytes\n";
    RunningConsole console({"check", "--file", write(good + good + "A9 F1 08 03 62 01 354 bytes\n")});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.output().endsWith("\n2 replies: 2 accepted, 0 refused\n"));
}

TEST_F(ConsoleCheckFile, AsJsonEndsWithASummary)
{
    const QString file = write("A2 F1 08 03 62 01 354 bytes\nnonsense\nPVN410MAX 68 08 01 01 00\n");
    RunningConsole console({"check", "--file", file, "--json"});
    EXPECT_EQ(console.exitStatus(), 2);
    const QVector<QJsonObject> objects = objectsOf(console.output());
    ASSERT_EQ(objects.size(), 3);
    EXPECT_EQ(objects.at(0).value("accepted"), true);
    EXPECT_EQ(objects.at(1).value("brokenHeadBytes"), (QJsonArray{3, 4}));
    EXPECT_EQ(objects.at(1).value("file"), file);
    EXPECT_EQ(objects.at(1).value("line"), 3);
    const QJsonObject summary{{"replies", 2}, {"accepted", 1}, {"refused", 1}, {"badLines", 1}};
    EXPECT_EQ(objects.at(2), (QJsonObject{{"summary", summary}})) << qPrintable(console.output());
}

TEST_F(ConsoleCheckFile, AFileThatCannotBeReadIsBadInput)
{
    const QString file = folder.filePath("wäre_da.txt");
    RunningConsole console({"check", "--file", file});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    EXPECT_TRUE(console.errors().startsWith("biz_console: " + folder.path())) << qPrintable(console.errors());
    EXPECT_TRUE(console.errors().endsWith("cannot be read: No such file or directory\n"));
}

// --- Bad usage ------------------------------------------------------------------------

struct BadUsage
{
    const char *name;
    QStringList arguments;
    const char *message;
};

void PrintTo(const BadUsage &row, std::ostream *out)
{
    *out << row.name;
}

class ConsoleCheckUsage : public testing::TestWithParam<BadUsage>
{
};

TEST_P(ConsoleCheckUsage, IsRefusedWithStatusTwo)
{
    RunningConsole console(QStringList{"check"} + GetParam().arguments);
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    EXPECT_STREQ(qPrintable(console.errors()),
                 qPrintable(QString("biz_console: %1\nTry 'biz_console check --help'.\n").arg(GetParam().message)));
}

const char *const aModelExpected =
    "one of the models A2, A1MAX, A3, PVN410MAX, K250, PVN410MAX2, A5 expected, not 'A9'";
const QString goodHead = "F1 08 03 62 01";

INSTANTIATE_TEST_SUITE_P(
    Console, ConsoleCheckUsage,
    testing::Values(
        BadUsage{"NoSuchModel", {"A9", goodHead, ""}, aModelExpected},
        BadUsage{"NoSuchModelForAFile", {"A9", "--file", "-"}, aModelExpected},
        BadUsage{"AShortHead",
                 {"A2", "F1 08 03 62", ""},
                 "5 head bytes in hexadecimal such as \"F1 08 03 62 01\" expected, not 'F1 08 03 62'"},
        BadUsage{"NoPayload",
                 {"A2", goodHead},
                 "a model, a head and either a payload or --size expected, or a line of the error log"},
        BadUsage{"ATornLineOfTheErrorLog",
                 {"[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00"},
                 "a whole line of the error log expected, not '[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00'"},
        BadUsage{"ALineOfAModelThatNobodyJudges",
                 {"[UnknownType][2024-05-06 14:03:22 517]<f1 05 00 81 00>"},
                 "a line of a model whose replies are judged expected, not of 'UnknownType'"},
        BadUsage{
            "ANegativeSize", {"A2", goodHead, "--size", "-1"}, "a payload size from 0 to 65535 expected, not '-1'"},
        BadUsage{
            "APayloadThatIsNotHexadecimal", {"A2", goodHead, "xy"}, "the payload in hexadecimal expected, not 'xy'"},
        BadUsage{"AHeadBesideAFile", {"A2", goodHead, "--file", "-"}, "--file: a model or nothing expected beside it"}),
    [](const auto &row) { return row.param.name; });

} // namespace
