#include "agent/JsonFields.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

std::string nested(int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') +
           std::string(static_cast<std::size_t>(depth), ']');
}

TEST(JsonFields, TimesThatNoClockShowsAreNone) {
    const struct {
        const char* json;
        std::int64_t seconds;
    } rows[] = {{"1763700000", 1763700000},
                {"0", 0},
                {"-1", 0},
                {"253402300799", 253402300799},
                {"253402300800", 0},
                {"9223372036854775807", 0},
                {"-9223372036854775808", 0},
                {"18446744073709551615", 0},
                {"\"2025-11-21T04:40:00Z\"", 1763700000},
                {"\"1969-12-31T23:59:59Z\"", 0},
                {"\"yesterday\"", 0},
                {"1e300", 0},
                {"null", 0}};
    for (const auto& row : rows) {
        const Json json = Json::parse(std::string("{\"at\":") + row.json + "}");
        EXPECT_EQ(row.seconds, timeOf(json, "at")) << row.json;
    }
}

TEST(JsonFields, GivenDeepJsonThenNothingIsKeptOfIt) {
    EXPECT_FALSE(isDeep(nested(17))) << "one, and sixteen inside it";
    EXPECT_TRUE(isDeep(nested(18)));
    EXPECT_TRUE(isDeep("{\"a\":" + nested(400000) + "}"));
    EXPECT_TRUE(shallowJson("{\"a\":" + nested(400000) + "}").is_discarded());
    EXPECT_TRUE(isDeep(std::string(100, '[')));
    EXPECT_TRUE(shallowJson("[").is_discarded()) << "no JSON at all";
    EXPECT_EQ(Json::array(), shallowJson("[]"));
}

TEST(JsonFields, BracketsInsideTextsAndBesideEachOtherAreNotDeep) {
    EXPECT_FALSE(isDeep("\"" + std::string(100, '[') + "\""));
    std::string wide = "[";
    for (int i = 0; i < 100; ++i) wide += "[],";
    EXPECT_FALSE(isDeep(wide + "[]]"));
    EXPECT_EQ(101u, shallowJson(wide + "[]]").size());
}

}  // namespace
