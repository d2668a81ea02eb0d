#include "agent/metrics/MetricsWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/agent/support/MetricsText.h"

namespace {

TEST(MetricsWriter, WritesAFamilyWithItsSamples) {
    MetricsWriter out;
    out.begin("raidwatch_x", "gauge", "array,state", "What it is");
    out.sample({"array:0:1", "normal"}, std::int64_t{1});
    out.sample({"array:0:1", "failed"}, std::int64_t{0});
    out.begin("raidwatch_y_total", "counter", "", "Another");
    out.sample({}, std::int64_t{9007199254740993});
    EXPECT_EQ(
        "# HELP raidwatch_x What it is\n"
        "# TYPE raidwatch_x gauge\n"
        "raidwatch_x{array=\"array:0:1\",state=\"normal\"} 1\n"
        "raidwatch_x{array=\"array:0:1\",state=\"failed\"} 0\n"
        "# HELP raidwatch_y_total Another\n"
        "# TYPE raidwatch_y_total counter\n"
        "raidwatch_y_total 9007199254740993\n",
        out.take());
    EXPECT_EQ("", out.take());
}

TEST(MetricsWriter, LeavesOutLabelsWithoutAValue) {
    MetricsWriter out;
    out.begin("x", "gauge", "a,b,c", "H");
    out.sample({"", "2", ""}, std::int64_t{1});
    out.sample({"", "", ""}, std::int64_t{2});
    EXPECT_EQ("# HELP x H\n# TYPE x gauge\nx{b=\"2\"} 1\nx 2\n", out.take());
}

struct NumberCase {
    double number;
    const char* line;
};

TEST(MetricsWriter, WritesNumbersAsShortAsTheyReadBack) {
    const double kNone = std::numeric_limits<double>::quiet_NaN();
    const NumberCase cases[] = {
        {0, "x 0\n"},
        {0.415, "x 0.415\n"},
        {1.0 / 3, "x 0.3333333333333333\n"},
        {1795238360.5, "x 1795238360.5\n"},
        {-2, "x -2\n"},
        {1e30, "x 1e+30\n"},
        {kNone, ""},
        {std::numeric_limits<double>::infinity(), ""},
    };
    for (const NumberCase& c : cases) {
        MetricsWriter out;
        out.begin("x", "gauge", "", "H");
        out.sample({}, c.number);
        EXPECT_EQ(std::string("# HELP x H\n# TYPE x gauge\n") + c.line, out.take());
    }
}

struct LabelCase {
    const char* when;
    std::string raw;
    std::string label;
};

TEST(MetricsWriter, MakesLabelsOfHostileText) {
    const LabelCase cases[] = {
        {"plain", "K500 v2.1", "K500 v2.1"},
        {"empty", "", ""},
        {"a quote ends no value", "x\"} 1", "x\\\"} 1"},
        {"a backslash escapes nothing", "a\\n", "a\\\\n"},
        {"a line end begins no line", "a\nraidwatch_up_to_date 1", "a\\\\nraidwatch_up_to_date 1"},
        {"a carriage return", "a\rb", "a\\\\rb"},
        {"a NUL", std::string("a\0b", 3), "a\\\\x00b"},
        {"no UTF-8", "a\xff\xc0\xaf", "a\\\\xff\\\\xc0\\\\xaf"},
        {"half a character", "a\xe2\x82", "a\\\\xe2\\\\x82"},
        {"a surrogate", "\xed\xa0\x80", "\\\\xed\\\\xa0\\\\x80"},
        {"an escape sequence", "\x1b[2J", "\\\\x1b[2J"},
        {"text that runs backwards", "\u202egnp", "\\\\u{202e}gnp"},
        {"other alphabets stay", "Größe 容量", "Größe 容量"},
        {"a long one is cut", std::string(300, 'x'), std::string(200, 'x')},
        {"what is cut keeps its escapes whole", std::string(199, 'x') + "\\\\",
         std::string(199, 'x') + "\\\\"},
    };
    for (const LabelCase& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(c.label, metricsLabel(c.raw));
        MetricsWriter out;
        out.begin("x", "gauge", "a", "H");
        out.sample({metricsLabel(c.raw)}, std::int64_t{1});
        EXPECT_EQ("", MetricsText(out.take()).fault);
    }
}

struct NamesCase {
    const char* when;
    std::vector<MetricsName> names;
    std::vector<std::string> labels;
};

TEST(MetricsWriter, TellsObjectsApart) {
    const std::string xs(200, 'x');
    const NamesCase cases[] = {
        {"different ones", {{"A", "1"}, {"B", "2"}}, {"A", "B"}},
        {"the same serial number twice", {{"A", "1:0:1"}, {"A", "1:0:2"}}, {"A@1:0:1", "A@1:0:2"}},
        {"the same place too", {{"A", "1"}, {"A", "1"}, {"A", "1"}}, {"A@1", "A@1#2", "A@1#3"}},
        {"one that looks like what is made",
         {{"A@1", "9"}, {"A", "1"}, {"A", "2"}},
         {"A@1", "A@1#2", "A@2"}},
        {"the same when shown", {{"\xff", "1"}, {"\\xff", "2"}}, {"\\\\xff@1", "\\\\xff@2"}},
        {"the same when cut", {{xs + "1", "1"}, {xs + "2", "2"}}, {xs + "@1", xs + "@2"}},
        {"a hostile place", {{"A", "\n"}, {"A", "\""}}, {"A@\\\\n", "A@\\\""}},
        {"no name at all", {{"", "1"}, {"", "2"}}, {"@1", "@2"}},
        {"none", {}, {}},
    };
    for (const NamesCase& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(c.labels, metricsLabels(c.names));
    }
}

// A drive that comes beside its double does not take the label that the other had.
TEST(MetricsWriter, GivenTheOtherOrderThenTheSameLabels) {
    const MetricsName first{"A", "1:0:1"};
    const MetricsName second{"A", "1:0:2"};
    EXPECT_EQ((std::vector<std::string>{"A@1:0:1", "A@1:0:2"}), metricsLabels({first, second}));
    EXPECT_EQ((std::vector<std::string>{"A@1:0:2", "A@1:0:1"}), metricsLabels({second, first}));
}

}  // namespace
