#include <gtest/gtest.h>

#include <common/json/json_text.h>

using namespace biz::tools;

namespace {

/** What is wrong with a text, each problem with its place. */
QStringList problemsOf(const QByteArray &json)
{
    try {
        JsonText({"t.json", json}).requireGood();
    } catch (const InputError &error) {
        return error.problems();
    }
    return {};
}

struct Text
{
    const char *name;
    QByteArray json;
    const char *problem;
};

void PrintTo(const Text &text, std::ostream *out)
{
    *out << text.name;
}

class BadJson : public testing::TestWithParam<Text>
{
};

TEST_P(BadJson, IsToldWithLineAndColumn)
{
    EXPECT_EQ(problemsOf(GetParam().json), QStringList{QString::fromUtf8(GetParam().problem)});
}

INSTANTIATE_TEST_SUITE_P(
    Json, BadJson,
    testing::Values(Text{"Empty", "", "t.json:1:1: JSON expected: an object, not an empty text"},
                    Text{"BlanksOnly", " \n ", "t.json:2:2: JSON expected: an object, not an empty text"},
                    Text{"CutOff", "{\"a\": [1,", "t.json:1:10: JSON expected: a value, not the end of the text"},
                    Text{"CutOffText", "{\"a\": \"b", "t.json:1:7: JSON expected: a text that ends, with a quote"},
                    Text{"Word", "[1, tru]", "t.json:1:5: JSON expected: a value, not tru"},
                    Text{"LeadingZero", "[01]", "t.json:1:2: JSON expected: a value, not 01"},
                    Text{"HexNumber", "[0x1400]", "t.json:1:2: JSON expected: a value, not 0x1400"},
                    Text{"NumberTooLarge", "[1e999]", "t.json:1:2: JSON expected: a value, not 1e999"},
                    Text{"NoCommaAcrossLines", "{\n  \"a\": 1\n  \"b\": 2\n}",
                         "t.json:3:3: JSON expected: ',' or '}' behind a member, not '\"'"},
                    Text{"CommaBeforeTheEnd", "{\"a\": 1,}", "t.json:1:9: JSON expected: a key in quotes, not '}'"},
                    Text{"NoColon", "{\"a\" 1}", "t.json:1:6: JSON expected: ':' behind a key, not '1'"},
                    Text{"SomethingBehind", "{} x",
                         "t.json:1:4: JSON expected: nothing behind the end of the outermost value, not 'x'"},
                    Text{"ControlCharacter", "[\"a\x1b[2J\"]",
                         "t.json:1:4: JSON expected: \\n, \\t or \\u001b in place of a control character, not '\\x1b'"},
                    Text{"UnknownEscape", "[\"\\q\"]",
                         "t.json:1:4: JSON expected: one of \" \\ / b f n r t u behind a backslash, not 'q'"},
                    Text{"HalfACharacter", "[\"\\ud800\"]", "t.json:1:2: JSON expected: a text in UTF-8"},
                    Text{"BytesOfNoText", "[\"\xff\xfe\"]", "t.json:1:2: JSON expected: a text in UTF-8"},
                    Text{"ColumnsAreCharacters", "[\"\xc3\xa4\xc3\xb6\", ?]",
                         "t.json:1:8: JSON expected: a value, not '?'"},
                    Text{"RepeatedKey", "{\"a\": 1,\n \"a\": 2}",
                         "t.json:2:2: \"a\" stands twice in one object, first at t.json:1:2"},
                    Text{"RepeatedKeyWithin", "[{\"b\": {\"c\": 1, \"c\": 1}}]",
                         "t.json:1:17: \"c\" stands twice in one object, first at t.json:1:9"},
                    Text{"RepeatedKeyInAnotherSpelling", "{\"a\": 1, \"\\u0061\": 2}",
                         "t.json:1:10: \"a\" stands twice in one object, first at t.json:1:2"}),
    [](const auto &row) { return row.param.name; });

TEST(Json, ValuesKnowWhereTheyStand)
{
    const JsonText text({"t.json", "{\n  \"a\": [true, null, -1.5e1, \"\\u00e4\\n\"]}"});
    const JsonValue &array = text.root().member("a");
    ASSERT_EQ(array.elements.size(), 4U);
    EXPECT_TRUE(array.elements[0].boolean);
    EXPECT_EQ(array.elements[1].kind, JsonValue::Kind::Null);
    EXPECT_EQ(array.elements[2].number, -15.0);
    EXPECT_EQ(array.elements[3].text, QString::fromUtf8("ä\n"));
    EXPECT_EQ(text.placeAt(array.elements[2].offset), "t.json:2:21");
}

TEST(Json, NestingHasABound)
{
    const QStringList problems = problemsOf(QByteArray(100'000, '['));
    ASSERT_EQ(problems.size(), 1);
    EXPECT_TRUE(problems.first().endsWith("JSON expected: fewer values within each other"));
}

TEST(Json, TheDeepestNestingIsTakenAndNoDeeper)
{
    constexpr int deepest = 64;
    const auto nested = [](int depth) {
        return QByteArray(depth, '[') + QByteArray(depth, ']');
    };
    EXPECT_TRUE(problemsOf(nested(deepest)).isEmpty());
    EXPECT_EQ(problemsOf(nested(deepest + 1)).size(), 1);
}

TEST(Json, AnObjectOfRepeatedKeysIsReadInATimeThatGrowsWithItsSizeOnly)
{
    const QStringList problems = problemsOf("{\"a\":1" + QByteArray(",\"a\":1").repeated(300'000) + "}");
    ASSERT_EQ(problems.size(), 21);
    EXPECT_EQ(problems.last(), "t.json: and 299980 problems more");
}

} // namespace
