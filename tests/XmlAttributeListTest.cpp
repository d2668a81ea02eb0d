#include "xml/XmlAttributeList.h"

#include <climits>
#include <cstdint>
#include <string>

#include "gtest/gtest.h"

namespace {

struct ConversionCase {
    char const* value;
    std::int32_t asLong;
    std::uint32_t asULong;
    unsigned long long asU64;
    bool asBool;
};

// clang-format off
constexpr ConversionCase kConversions[] = {
    {"17",                   17,         17,         17,                   true},
    {" +5x",                 5,          5,          5,                    false},
    {"2147483648",           2147483647, 2147483648, 2147483648,           false},
    {"4294967295",           2147483647, 4294967295, 4294967295,           false},
    {"4294967296",           2147483647, 4294967295, 4294967296,           false},
    {"9223372036854775807",  2147483647, 4294967295, 9223372036854775808U, false},
    {"9007199254740993",     2147483647, 4294967295, 9007199254740992,     false},
    {"18446744073709551616", 2147483647, 4294967295, UINT64_MAX,           true},
    {"1e30",                 1,          1,          UINT64_MAX,           true},
    {"-1",                   -1,         4294967295, 0,                    false},
    {"-2147483649",          INT32_MIN,  2147483647, 0,                    false},
    {"-4294967295",          INT32_MIN,  1,          0,                    false},
    {"-4294967296",          INT32_MIN,  4294967295, 0,                    false},
    {"nan",                  0,          0,          0,                    false},
    {"true",                 0,          0,          0,                    true},
    {"True",                 0,          0,          0,                    true},
    {"1",                    1,          1,          1,                    true},
    {"yes",                  0,          0,          0,                    false},
    {"0x10",                 0,          0,          16,                   false},
    {"",                     0,          0,          0,                    false},
};
// clang-format on

TEST(XmlAttributeList, ConversionsByNameAndByIndex) {
    for (const ConversionCase& c : kConversions) {
        SCOPED_TRACE(c.value);
        XmlAttributeList_C list(0, 1);
        list.Append("v", c.value);
        EXPECT_EQ(c.asLong, list.GetLong("v"));
        EXPECT_EQ(c.asLong, list.GetLong(0UL));
        EXPECT_EQ(c.asLong, list.GetI64("v"));
        EXPECT_EQ(c.asLong, list.GetI64(0UL));
        EXPECT_EQ(c.asULong, list.GetULong("v"));
        EXPECT_EQ(c.asULong, list.GetULong(0UL));
        EXPECT_EQ(c.asU64, list.GetU64("v"));
        EXPECT_EQ(c.asU64, list.GetU64(0UL));
        EXPECT_EQ(c.asBool, list.GetBool("v"));
        EXPECT_EQ(c.asBool, list.GetBool(0UL));
    }
}

TEST(XmlAttributeList, GivenAbsentNameOrIndexThenEverythingIsEmpty) {
    XmlAttributeList_C list(0, 1);
    list.Append("a", "1");
    for (char const* name : {"b", "A", "", static_cast<char const*>(nullptr)}) {
        EXPECT_FALSE(list.Exists(name));
        EXPECT_STREQ("", list.GetValue(name));
        EXPECT_EQ(0, list.GetLong(name));
        EXPECT_EQ(0UL, list.GetULong(name));
        EXPECT_EQ(0, list.GetI64(name));
        EXPECT_EQ(0U, list.GetU64(name));
        EXPECT_FALSE(list.GetBool(name));
    }
    for (const unsigned long index : {1UL, ULONG_MAX}) {
        EXPECT_EQ(nullptr, list.GetName(index));
        EXPECT_STREQ("", list.GetValue(index));
        EXPECT_EQ(0, list.GetLong(index));
        EXPECT_EQ(0UL, list.GetULong(index));
        EXPECT_EQ(0, list.GetI64(index));
        EXPECT_EQ(0U, list.GetU64(index));
        EXPECT_FALSE(list.GetBool(index));
    }
}

TEST(XmlAttributeList, GivenAnIndexLongerThan32BitsThenOnlyTheLow32BitsCount) {
    if (sizeof(long) == 4) GTEST_SKIP() << "NOT TESTED: long has 32 bits here";
    const auto wide = static_cast<unsigned long>(0x100000001ULL);
    XmlAttributeList_C list(0, 1);
    list.Append("a", "1");
    EXPECT_EQ(nullptr, list.GetName(wide));
    list.Append("b", "2");
    EXPECT_STREQ("b", list.GetName(wide));
    EXPECT_TRUE(list.Insert(wide, {"c", "3"}));
    EXPECT_STREQ("c", list.GetName(1));
    EXPECT_STREQ("b", list.GetName(2));
}

TEST(XmlAttributeList, FirstEntryWithANameCounts) {
    XmlAttributeList_C list(0, 1);
    list.Append("a", "1");
    list.Append("b", "2");
    list.Append("a", "3");
    EXPECT_EQ(1, list.GetLong("a"));
    EXPECT_EQ(3, list.GetLong(2UL));
    EXPECT_STREQ("a", list.GetName(2UL));
    EXPECT_TRUE(list.Exists("b"));
}

TEST(XmlAttributeList, NullNameAddsNothingAndNullValueIsEmpty) {
    XmlAttributeList_C list(0, 1);
    list.Append(nullptr, "1");
    EXPECT_EQ(0U, list.GetCount());
    list.Append("flag", nullptr);
    EXPECT_TRUE(list.Exists("flag"));
    EXPECT_STREQ("", list.GetValue("flag"));
}

TEST(XmlAttributeList, KeepsThePointersAndNotTheTexts) {
    char name[] = "a";
    char value[] = "1";
    XmlAttributeList_C list(0, 1);
    list.Append(name, value);
    value[0] = '2';
    EXPECT_EQ(2, list.GetLong("a"));
    EXPECT_EQ(name, list.GetName(0UL));
}

TEST(XmlAttributeList, SizesCountEntries) {
    constexpr std::uint32_t kEntry = sizeof(SimpleXmlAttribute_S);
    XmlAttributeList_C list(3, 2);  // three, rounded up to the step
    EXPECT_EQ(4 * kEntry, list.GetAllocated());
    EXPECT_EQ(2 * kEntry, list.GetGrowBy());
    list.setInitElements(7, 5);
    EXPECT_EQ(10 * kEntry, list.GetAllocated());
    list.setInitElements(11);  // by the old step, which then becomes one entry
    EXPECT_EQ(15 * kEntry, list.GetAllocated());
    EXPECT_EQ(kEntry, list.GetGrowBy());

    XmlAttributeList_C one(0, 1);
    EXPECT_EQ(0U, one.GetAllocated());
    for (std::uint32_t count = 1; count <= 100; ++count) {
        one.Append("n", "v");
        EXPECT_EQ(count * kEntry, one.GetAllocated());
        EXPECT_EQ(count, one.GetCount());
    }
}

}  // namespace
