#include "nls/NLSParser.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

using Args = std::vector<std::string>;

constexpr const char* kFile = "RaidNLS.properties";
constexpr std::size_t kBlock = 64 * 1024;  // what the parser reads at a time

struct NLSParserTest : ::testing::Test {
    // The value of `key` in a file of these contents.
    std::string valueIn(const std::string& contents, const std::string& key) {
        dir.write(kFile, contents);
        return NLSParser(dir.file(kFile)).get(key);
    }
    std::string textIn(const std::string& contents, const std::string& key, const Args& args) {
        dir.write(kFile, contents);
        return NLSParser(dir.file(kFile)).get(key, args);
    }

    TempDir dir;
};

struct LookupCase {
    std::string contents, key, value;
};

const LookupCase kFound[] = {
    {"key = value", "key", "value"},
    {"key=value\n", "key", "value"},
    {"key\t=value\n", "key", "value"},
    {"key \t = \t value\n", "key", "value"},
    {"key=a=b\n", "key", "a=b"},
    {"key=value\r\n", "key", "value\r"},
    {"key=  text \t\n", "key", "text "},
    {"first=1\nkey=value\nlast=2\n", "key", "value"},
    {"first=1\n\n\nkey=value", "key", "value"},
    {"key=1\nkey=2\n", "key", "1"},
    {"#key=1\nkey=2\n", "key", "2"},
    {"!key=1\n", "!key", "1"},
    {"keyX=1\nkey=2\n", "key", "2"},
    {"agentEventErrDefunctDriveRepl=x\nagentEventErrDefunctDrive=y\n", "agentEventErrDefunctDrive",
     "y"},
    // A key is a literal beginning of the line and may hold blanks and "=".
    {"ab = c = d\n", "ab =", "d"},
    {"ab = c = d\n", "ab", "c = d"},
    {"a b=c\n", "a", "c"},
    {"a b=c\n", "a b", "c"},
    // The empty key.
    {"=value\n", "", "value"},
    {" x = value\n", "", "value"},
    {"\tx = value\n", "", "value"},
    {std::string("key=a\0b\n", 8), "key", std::string("a\0b", 3)},
    {std::string("k\0y=value\n", 10), std::string("k\0y", 3), "value"},
    {"key=\xc3\xa4\xff\n", "key", "\xc3\xa4\xff"},
};

const LookupCase kNotFound[] = {
    {"keyX=value\n", "key", ""},
    {" key=value\n", "key", ""},
    {"\tkey=value\n", "key", ""},
    {"#key=value\n", "key", ""},
    {"#key=value\n", "#key", ""},
    {"!key=value\n", "key", ""},
    {"key:value\n", "key", ""},
    {"ke=value\n", "key", ""},
    {"Key=value\n", "key", ""},
    {"ke\ny=value\n", "ke\ny", ""},
    {"key=\n", "key", ""},
    {"key= \t \n", "key", ""},
    {"other=1\\\nke", "key", ""},
    {"", "key", ""},
    {"\n\n", "key", ""},
    {"", "", ""},
    {"#\n#", "", ""},
    // A line without "=" is the entry all the same, and the scan stops there.
    {"key value\nkey=later\n", "key", ""},
    {"key\tvalue\nkey=later\n", "key", ""},
};

TEST_F(NLSParserTest, LinesThatHoldTheKey) {
    for (const LookupCase& c : kFound) {
        SCOPED_TRACE(c.contents + " / " + c.key);
        EXPECT_EQ(c.value, valueIn(c.contents, c.key));
    }
}

TEST_F(NLSParserTest, LinesThatDoNot) {
    for (const LookupCase& c : kNotFound) {
        SCOPED_TRACE(c.contents + " / " + c.key);
        EXPECT_EQ(c.value, valueIn(c.contents, c.key));
    }
}

// Intended: such a line is a mistake of the catalogue's author, and the build's check of the
// catalogue finds it; the standard error shows it in the field.
TEST_F(NLSParserTest, GivenALineThatIsExactlyTheKeyThenThrowsAndLaterLookupsWork) {
    const LookupCase cases[] = {
        {"key\nkey=later\n", "key", ""},
        {"key", "key", ""},
        {"other=1\n\nmore=2\n", "", ""},
        {"\n", "", ""},
    };
    for (const LookupCase& c : cases) {
        SCOPED_TRACE(c.contents);
        dir.write(kFile, c.contents);
        NLSParser parser(dir.file(kFile));
        EXPECT_THROW(parser.get(c.key), std::out_of_range);
        EXPECT_THROW(parser.get(c.key, Args{}), std::out_of_range);
        EXPECT_EQ("", parser.get("absent"));
    }
    dir.write(kFile, "other=1\nkey\n");
    NLSParser parser(dir.file(kFile));
    EXPECT_THROW(parser.get("key"), std::out_of_range);
    EXPECT_EQ("1", parser.get("other"));
}

TEST_F(NLSParserTest, GivenAnEntryAcrossTheEndOfABlockThenItIsFoundWhole) {
    const std::string entry = "\nkey = the value\n";
    for (std::size_t before = kBlock - entry.size() - 2; before <= kBlock + 2; ++before) {
        const std::string comment = "#" + std::string(before - 1, 'x');
        ASSERT_EQ("the value", valueIn(comment + entry, "key")) << before;
        ASSERT_EQ("the value", valueIn(comment + "\nkey = the value", "key")) << before;
        ASSERT_EQ("", valueIn(comment + entry, "ke")) << before;
        ASSERT_THROW(valueIn(comment + "\nkey", "key"), std::out_of_range) << before;
        ASSERT_THROW(valueIn(comment + "\nkey\n", "key"), std::out_of_range) << before;
    }
}

// Line ends are looked for in strides; none may be missed at the edge of one, nor invented.
TEST_F(NLSParserTest, GivenLinesOfEveryLengthThenEachIsFoundFromItsFirstColumn) {
    for (std::size_t before = 0; before <= 200; ++before) {
        const std::string first = std::string(before, 'x') + "key=wrong";
        for (const char* end : {"", "\n", "\n\n", "\nz=1\n"}) {
            const std::string file = "a=" + first + "\n\nb=" + first + "\nkey=right" + end;
            ASSERT_EQ("right", valueIn(file, "key")) << before;
        }
        ASSERT_EQ("", valueIn("a=" + first + "\n\n\n", "key")) << before;
    }
}

TEST_F(NLSParserTest, GivenLinesOfAMegabyteThenTheyAreReadAsAnyOther) {
    const std::string megabyte(1024 * 1024 + 1, 'v');
    NLSParser parser(dir.write(kFile, "#" + megabyte + "\n" + megabyte + "\nlong=" + megabyte +
                                          "\nx" + megabyte + "=1\n" + megabyte + "=2\nlast=3"));
    EXPECT_EQ(megabyte, parser.get("long"));
    EXPECT_EQ("3", parser.get("last"));
    EXPECT_EQ("1", parser.get("x" + megabyte));
    EXPECT_EQ("", parser.get("absent"));
    EXPECT_THROW(parser.get(megabyte), std::out_of_range);
    EXPECT_EQ(megabyte, parser.get("long"));
}

TEST_F(NLSParserTest, GivenAnEditInPlaceThenTheNextLookupSeesIt) {
    NLSParser parser(dir.write(kFile, "key=old\n"));
    EXPECT_EQ("old", parser.get("key"));
    dir.write(kFile, "key=new\n");
    EXPECT_EQ("new", parser.get("key"));
    ASSERT_EQ(0, truncate(dir.file(kFile).c_str(), 0));
    EXPECT_EQ("", parser.get("key"));
    dir.write(kFile, "other=1\nkey=again\n");
    EXPECT_EQ("again", parser.get("key"));
}

// Intended: the file stays open.
TEST_F(NLSParserTest, GivenAnotherFileOfTheSameNameThenItIsSeenAfterAReset) {
    NLSParser parser(dir.write(kFile, "key=old\n"));
    EXPECT_EQ("old", parser.get("key"));
    dir.write("new", "key=new\n");
    ASSERT_EQ(0, std::rename(dir.file("new").c_str(), dir.file(kFile).c_str()));
    EXPECT_EQ("old", parser.get("key"));
    parser.resetParser("");
    EXPECT_EQ("old", parser.get("key"));
    parser.resetParser(dir.file(kFile));
    EXPECT_EQ("new", parser.get("key"));
}

TEST_F(NLSParserTest, GivenAFileThatComesLaterThenItIsFoundWithoutAReset) {
    NLSParser parser(dir.file(kFile));
    EXPECT_EQ("", parser.get("key"));
    EXPECT_EQ("", parser.get("key", Args{"A"}));
    dir.write(kFile, "key=value\n");
    EXPECT_EQ("value", parser.get("key"));

    NLSParser other(dir.file(kFile));
    other.resetParser(dir.file("later"));
    EXPECT_EQ("", other.get("key"));
    dir.write("later", "key=later\n");
    EXPECT_EQ("later", other.get("key"));
}

TEST_F(NLSParserTest, GivenNoFileNameThenEveryTextIsEmpty) {
    NLSParser none;
    EXPECT_EQ("", none.get("key"));
    NLSParser empty("");
    EXPECT_EQ("", empty.get("key"));
    empty.resetParser(dir.write(kFile, "key=value\n"));
    EXPECT_EQ("value", empty.get("key"));
}

TEST_F(NLSParserTest, GivenAFolderThenEveryTextIsEmpty) {
    NLSParser parser(dir.folder());
    EXPECT_EQ("", parser.get("key"));
    EXPECT_EQ("", parser.get("key", Args{}));
}

std::size_t openFiles() {
    const std::filesystem::directory_iterator all("/proc/self/fd"), end;
    return static_cast<std::size_t>(std::distance(all, end));
}

TEST_F(NLSParserTest, LookupsAndResetsLeaveNoFileOpen) {
    const std::size_t before = openFiles();
    {
        NLSParser parser(dir.write(kFile, "key=value\n"));
        NLSParser folder(dir.folder());
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ("value", parser.get("key"));
            EXPECT_EQ("", folder.get("key"));
            parser.resetParser(dir.file(kFile));
        }
        EXPECT_EQ(before + 2, openFiles());
    }
    EXPECT_EQ(before, openFiles());
}

struct ParseCase {
    std::string text;
    Args args;
    std::string filled;
};

const ParseCase kParseCases[] = {
    {"x {1} y {0}", {"A", "B"}, "x B y A"},
    {"{2}", {"A", "B"}, ""},
    {"{12}", {"A", "B"}, "}"},
    {"{0}", {"{1}", "B"}, "B"},
    {"{9}", {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, "9"},
    // After a missing argument one character is passed over unseen.
    {"{2}{0}", {"A", "B"}, "{0}"},
    {"{2} {0}", {"A", "B"}, " A"},
    // What is no number is 0, and always three characters go.
    {"{x}", {"A"}, "A"},
    {"{ 0}", {"A"}, "A}"},
    {"{+1}", {"A", "B"}, "B}"},
    {"a{0", {"A"}, "aA"},
    {"a{0", {}, "a"},
    {"a{00}b", {"A"}, "aA}b"},
    {"{-1}", {"A", "B"}, "}"},
    {"{-4294967295}", {"A", "B"}, "294967295}"},
    {"{4294967297}", {"A", "B"}, "94967297}"},
    {"no braces } here", {"A"}, "no braces } here"},
    {"", {"A"}, ""},
    {"{0}{1}", {"", "B"}, "B"},
};

TEST_F(NLSParserTest, PlaceholdersTakeTheirArguments) {
    for (const ParseCase& c : kParseCases) {
        SCOPED_TRACE(c.text);
        std::string text = c.text;
        NLSParser::parse(text, c.args);
        EXPECT_EQ(c.filled, text);
    }
}

TEST_F(NLSParserTest, GivenABraceAtTheEndOfATextThenThrowsAndLaterLookupsWork) {
    NLSParser parser(dir.write(kFile, "bad=text {\nend=text {0}\ngood=text\n"));
    EXPECT_THROW(parser.get("bad", Args{"A"}), std::out_of_range);
    EXPECT_THROW(parser.get("end", Args{"A{"}), std::out_of_range);
    EXPECT_EQ("text {", parser.get("bad"));
    EXPECT_EQ("text", parser.get("good", Args{"A"}));
}

struct PhraseCase {
    const char* text;
    const char* expanded;
};

constexpr const char* kPhrases = "p=world\nq=the %p%\nr=%p%%p% %p%\npercent=5 % of\n";

constexpr PhraseCase kPhraseCases[] = {
    {"hello %p%", "hello world"},
    {"hello%p%", "hello%p%"},
    {"hello\t%p%", "hello\t%p%"},
    {"%p% and more", "world and more"},
    {"%p%", "world"},
    {"%p%%p%", "world%p%"},
    {"%q% %q%", "the world the world"},
    {"hello %none% you", "hello  you"},
    {"50% of %p%", "50% of world"},
    {"50 % of", "50 % of"},
    {"50 % of 100 % more", "50  more"},
    {"100%", "100%"},
    {"%", "%"},
    {"a % b", "a % b"},
    {"", ""},
};

TEST_F(NLSParserTest, PhrasesAreExpandedAtTheStartAndAfterABlank) {
    NLSParser parser(dir.write(kFile, kPhrases));
    for (const PhraseCase& c : kPhraseCases) {
        SCOPED_TRACE(c.text);
        std::string text = c.text;
        parser.replacePhraseStrings(text);
        EXPECT_EQ(c.expanded, text);
    }
}

TEST_F(NLSParserTest, GivenTwoPercentSignsThenTheEmptyKeyIsLookedUp) {
    EXPECT_EQ("foo  bar", textIn("k=foo %% bar\nx=1\n", "k", {}));
    EXPECT_EQ("foo v bar", textIn("k=foo %% bar\n= v\n", "k", {}));
    EXPECT_THROW(textIn("k=foo %% bar\n\n", "k", {}), std::out_of_range);
}

TEST_F(NLSParserTest, PhrasesAreExpandedBeforePlaceholdersAndOnlyWithArguments) {
    const std::string file = "k = %p% on {0}\np = drive {1}\n";
    EXPECT_EQ("drive 7 on A", textIn(file, "k", {"A", "7"}));
    EXPECT_EQ("drive  on ", textIn(file, "k", {}));
    EXPECT_EQ("%p% on {0}", valueIn(file, "k"));
    EXPECT_EQ("drive 7 on %p%", textIn(file, "k", {"%p%", "7"}));
    EXPECT_EQ("", textIn(file, "none", {"A"}));
}

TEST_F(NLSParserTest, GivenNumbersThenTheyAreWrittenInDecimal) {
    NLSParser parser(dir.write(kFile, "k={0}, {1}, {2}\n"));
    EXPECT_EQ("-1, 0, 2147483647", parser.get("k", std::vector<int>{-1, 0, INT_MAX}));
}

struct TrimCase {
    const char* text;
    const char* trimmed;
};

constexpr TrimCase kTrimCases[] = {
    {"text", "text"},
    {" text ", "text"},
    {"\ttext\t", "text"},
    {"  text \t", "text "},
    {"x \t", "x "},
    {"x\t ", "x"},
    {" \t x", "x"},
    {"\t \t x \t ", "x"},
    {"", ""},
    {"  ", ""},
    {"\t", ""},
    {" \t ", ""},
    {"\t \t \t", ""},
    {"a b\tc", "a b\tc"},
    {"x\r", "x\r"},
    {" \r ", "\r"},
    {"\n x \n", "\n x \n"},
};

// Intended: one kind is taken off after the other at the end, and texts rely on the blank that
// stays.
TEST_F(NLSParserTest, TrimTakesBlanksAndTabsOffInItsOwnOrder) {
    for (const TrimCase& c : kTrimCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.trimmed, NLSParser::trim(c.text));
    }
    EXPECT_EQ(std::string("\0 x", 3), NLSParser::trim(std::string(" \0 x", 4)));
}

struct DigitsCase {
    int value, base;
    const char* text;
};

constexpr DigitsCase kDigits[] = {
    {0, 10, "0"},
    {-42, 10, "-42"},
    {42, 10, "42"},
    {INT_MAX, 10, "2147483647"},
    {INT_MIN, 10, "-2147483648"},
    {-42, 16, "2a"},
    {255, 16, "ff"},
    {INT_MIN, 2, "10000000000000000000000000000000"},
    {5, 2, "101"},
    {15, 15, "10"},
    // no such base
    {5, 1, ""},
    {5, 17, ""},
    {5, 0, ""},
    {5, -10, ""},
};

TEST_F(NLSParserTest, NumbersAreWrittenInBasesTwoToSixteen) {
    for (const DigitsCase& c : kDigits) {
        SCOPED_TRACE(std::to_string(c.value) + " base " + std::to_string(c.base));
        EXPECT_EQ(c.text, NLSParser::itoa(c.value, c.base));
        EXPECT_EQ(c.text, NLSParser::ltoa(c.value, c.base));
    }
    EXPECT_EQ("-1", NLSParser::ltoa(static_cast<long>(0xffffffffUL), 10));
}

TEST_F(NLSParserTest, ReverseTurnsATextAround) {
    EXPECT_EQ("cba", NLSParser::reverse("abc"));
    EXPECT_EQ("", NLSParser::reverse(""));
}

}  // namespace
