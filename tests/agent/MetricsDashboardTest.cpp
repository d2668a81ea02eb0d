// The shipped dashboard, as far as it can be judged without a server; MetricsPrometheusTest asks
// one.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::json;

class MetricsDashboardTest : public testing::Test {
protected:
    MetricsDashboardTest() {
        std::ifstream in(QEL_SOURCE_DIR "/packaging/grafana/raidwatch.json");
        dashboard = Json::parse(in);
    }

    Json dashboard;
};

TEST_F(MetricsDashboardTest, PanelsHaveANumberOfTheirOwn) {
    std::set<int> ids;
    for (const Json& panel : dashboard.at("panels")) {
        EXPECT_TRUE(ids.insert(panel.at("id").get<int>()).second) << panel.at("title");
        EXPECT_NE("", panel.at("title").get<std::string>());
    }
    EXPECT_GT(ids.size(), 20u);
}

TEST_F(MetricsDashboardTest, NeedsNoPlugin) {
    const std::set<std::string> kBuiltIn = {"row", "stat", "table", "timeseries"};
    for (const Json& panel : dashboard.at("panels")) {
        EXPECT_EQ(1u, kBuiltIn.count(panel.at("type").get<std::string>())) << panel.at("type");
    }
    EXPECT_FALSE(dashboard.contains("__requires"));
}

TEST_F(MetricsDashboardTest, EveryPanelSaysWhatItIsAndAsksTheChosenServer) {
    for (const Json& panel : dashboard.at("panels")) {
        if (panel.at("type") == "row") continue;
        SCOPED_TRACE(panel.at("title").get<std::string>());
        EXPECT_NE("", panel.at("description").get<std::string>());
        EXPECT_EQ("${datasource}", panel.at("datasource").at("uid"));
        std::set<std::string> names;
        ASSERT_FALSE(panel.at("targets").empty());
        for (const Json& target : panel.at("targets")) {
            EXPECT_EQ("${datasource}", target.at("datasource").at("uid"));
            EXPECT_NE("", target.at("expr").get<std::string>());
            EXPECT_TRUE(names.insert(target.at("refId").get<std::string>()).second);
        }
    }
}

TEST_F(MetricsDashboardTest, NoPanelLiesOnAnother) {
    std::set<std::pair<int, int>> taken;
    for (const Json& panel : dashboard.at("panels")) {
        const Json& at = panel.at("gridPos");
        for (int x = at.at("x"); x < at.at("x").get<int>() + at.at("w").get<int>(); ++x) {
            EXPECT_LT(x, 24) << panel.at("title");
            for (int y = at.at("y"); y < at.at("y").get<int>() + at.at("h").get<int>(); ++y) {
                EXPECT_TRUE(taken.insert({x, y}).second)
                    << panel.at("title") << " " << x << "," << y;
            }
        }
    }
}

TEST_F(MetricsDashboardTest, NamesOnlyVariablesThatItHas) {
    std::set<std::string> known = {"__rate_interval"};
    for (const Json& variable : dashboard.at("templating").at("list")) {
        known.insert(variable.at("name").get<std::string>());
    }
    EXPECT_EQ((std::set<std::string>{"__rate_interval", "datasource", "instance", "job"}), known);
    for (const Json& panel : dashboard.at("panels")) {
        for (const Json& target : panel.value("targets", Json::array())) {
            const auto expr = target.at("expr").get<std::string>();
            for (std::size_t at = 0; (at = expr.find('$', at)) != std::string::npos;) {
                const std::size_t end =
                    expr.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", at + 1);
                EXPECT_EQ(1u, known.count(expr.substr(at + 1, end - at - 1))) << expr;
                at = end;
            }
        }
    }
}

}  // namespace
