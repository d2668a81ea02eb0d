#include "agent/SafeText.h"

#include <gtest/gtest.h>

namespace {

using std::string_literals::operator""s;

struct SafeCase {
    const char* when;
    std::string raw;
    std::string shown;
};

TEST(SafeText, ShowsHarmfulBytesAsEscapesAndLeavesTheRest) {
    const SafeCase cases[] = {
        {"plain text", "KOVA-LMN HD1280", "KOVA-LMN HD1280"},
        {"nothing", "", ""},
        {"a backslash is no control character", "a\\b", "a\\b"},
        {"an escape sequence", "disk\x1b[2J", "disk\\x1b[2J"},
        {"line ends and tabs", "a\nb\r\tc", "a\\nb\\r\\tc"},
        {"NUL and DEL", "a\0b\x7f"s, "a\\x00b\\x7f"},
        {"C1 control as UTF-8",
         "a\xc2\x9b"
         "b",
         "a\\u{009b}b"},
        {"valid UTF-8",
         "Gr\xc3\xb6\xc3\x9f"
         "e \xe2\x82\xac \xf0\x9f\x92\xbe",
         "Gr\xc3\xb6\xc3\x9f"
         "e \xe2\x82\xac \xf0\x9f\x92\xbe"},
        {"right-to-left override",
         "\xe2\x80\xae"
         "x",
         "\\u{202e}x"},
        {"isolate", "\xe2\x81\xa6", "\\u{2066}"},
        {"line separator", "\xe2\x80\xa8", "\\u{2028}"},
        {"a lone byte", "\xff", "\\xff"},
        {"a lone continuation",
         "a\x80"
         "b",
         "a\\x80"
         "b"},
        {"cut off in the middle", "\xe2\x82", "\\xe2\\x82"},
        {"overlong slash", "\xc0\xaf", "\\xc0\\xaf"},
        {"overlong in three bytes", "\xe0\x80\xaf", "\\xe0\\x80\\xaf"},
        {"overlong in four bytes", "\xf0\x80\x80\xaf", "\\xf0\\x80\\x80\\xaf"},
        {"a surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"beyond the last character", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
        {"a start byte before ASCII", "\xc3(", "\\xc3("},
    };
    for (const SafeCase& c : cases) EXPECT_EQ(c.shown, safeText(c.raw)) << c.when;
}

TEST(SafeText, MadeSafeTwiceItStays) {
    const std::string once = safeText("a\x1b\xff\xe2\x80\xae");
    EXPECT_EQ(once, safeText(once));
}

TEST(SafeText, CountsCharactersNotBytes) {
    EXPECT_EQ(0u, textWidth(""));
    EXPECT_EQ(3u, textWidth("abc"));
    EXPECT_EQ(3u, textWidth("\xc3\xb6\xe2\x82\xac"
                            "x"));
}

TEST(SafeText, CutsBetweenCharacters) {
    EXPECT_EQ("\xc3\xb6", cutText("\xc3\xb6\xe2\x82\xac", 1));
    EXPECT_EQ("ab", cutText("ab", 9));
    EXPECT_EQ("", cutText("ab", 0));
}

TEST(SafeText, GivenACellThenItIsSafeAndExactlyThatWide) {
    EXPECT_EQ("ab  ", tableCell("ab", 4));
    EXPECT_EQ("abcd", tableCell("abcd", 4));
    EXPECT_EQ("abc~", tableCell("abcde", 4));
    EXPECT_EQ("-   ", tableCell("", 4));
    EXPECT_EQ("a\\n ", tableCell("a\n", 4));
    EXPECT_EQ("磁~ ", tableCell("磁盘12", 4)) << "half a character does not fit";
}

TEST(SafeText, WrapsAtBlanksAndCutsLongWords) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ((Lines{"one two", "three"}), wrapText("one two three", 9));
    EXPECT_EQ((Lines{"one two", "three"}), wrapText("one two three", 7));
    EXPECT_EQ((Lines{"abcd", "efgh", "i"}), wrapText("abcdefghi", 4));
    EXPECT_EQ((Lines{"\xc3\xb6\xc3\xb6", "\xc3\xb6"}), wrapText("\xc3\xb6\xc3\xb6\xc3\xb6", 2));
    EXPECT_EQ((Lines{""}), wrapText("", 10));
    EXPECT_EQ((Lines{"one two three"}), wrapText("one two three", 0));
    EXPECT_EQ((Lines{"abc"}), wrapText("abc", 3));
}

TEST(SafeText, GivenALeadingBlankWhenWrappedThenComesToAnEnd) {
    EXPECT_EQ((std::vector<std::string>{" ab", "cd"}), wrapText(" abcd", 3));
}

TEST(SafeText, GivenWideCharactersThenEachTakesTwoColumns) {
    const std::string text = "磁盘12";
    EXPECT_EQ(6u, textWidth(text));
    EXPECT_EQ("磁", cutText(text, 3));
    EXPECT_EQ("磁盘", cutText(text, 4));
    EXPECT_EQ((std::vector<std::string>{"磁盘", "12"}), wrapText(text, 4));
    EXPECT_EQ((std::vector<std::string>{"磁", "盘"}), wrapText("磁盘", 1))
        << "goes on all the same";
    EXPECT_EQ(9u, textWidth("hinzugefü"));
}

}  // namespace
