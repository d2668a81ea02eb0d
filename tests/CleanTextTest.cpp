#include "storlib/sources/CleanText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct TextCase {
    std::string raw;
    const char* clean;
};

TEST(CleanText, GivenAnIdentityTextThenItIsTrimmedAndHarmless) {
    const TextCase cases[] = {
        {"", ""},
        {"KOVA-PQ", "KOVA-PQ"},
        {"  HD1280  \n", "HD1280"},
        {" \t\r\n\v\f ", ""},
        {std::string("AB\0\0", 4), "AB"},
        {std::string("A\0B", 3), "A_B"},
        {"two  words", "two  words"},
        {"{0}", "_0}"},
        {"100%s", "100_s"},
        {"a\x01"
         "b\x7f"
         "c\td",
         "a_b_c_d"},
        {"\xff\xc3\xa9", "\xff\xc3\xa9"},  // bytes above 0x7f are not this function's concern
    };
    for (const TextCase& c : cases) EXPECT_EQ(c.clean, cleanText(c.raw)) << c.raw;
}

}  // namespace
