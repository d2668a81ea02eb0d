// The shipped alert rules: what they look at is what raidwatch tells, and each of them is tested.
#include "agent/metrics/Metrics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "agent/metrics/MetricsFamilies.h"
#include "tests/agent/LocalService.h"
#include "tests/agent/support/MetricsExample.h"
#include "tests/agent/support/MetricsText.h"
#include "tests/agent/support/PrometheusServer.h"

#define SKIP_WITHOUT_PROMTOOL()                        \
    const std::string without = whyWithout(kPromtool); \
    if (!without.empty()) GTEST_SKIP() << without

namespace {

const std::string kRules = QEL_SOURCE_DIR "/packaging/prometheus/raidwatch.rules.yml";
const std::string kTests = QEL_SOURCE_DIR "/tests/prometheus/raidwatch.rules.test.yml";
const std::string kLongTests = QEL_SOURCE_DIR "/tests/prometheus/raidwatch.long.test.yml";

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at) {
        found.push_back((*at)[1]);
    }
    return found;
}

std::set<std::string> asSet(const std::vector<std::string>& list) {
    return {list.begin(), list.end()};
}

// Promtool's exit code and what it says.
std::pair<int, std::string> promtool(const std::string& arguments) {
    const std::string said =
        outputOf(std::string(kPromtool) + " " + arguments + " 2>&1; echo \"exit $?\"");
    const std::size_t at = said.rfind("exit ");
    return {at == std::string::npos ? -1 : std::atoi(said.c_str() + at + 5), said};
}

TEST(MetricsRules, PromtoolAcceptsThem) {
    SKIP_WITHOUT_PROMTOOL();
    const auto [code, said] = promtool("check rules " + kRules);
    EXPECT_EQ(0, code) << said;
}

TEST(MetricsRules, EachAlertSpeaksAndEndsAsItShould) {
    SKIP_WITHOUT_PROMTOOL();
    const auto [code, said] = promtool("test rules " + kTests);
    EXPECT_EQ(0, code) << said;
}

TEST(MetricsRules, ThoseThatLookBackForDaysToo) {
    SKIP_WITHOUT_PROMTOOL();
    const auto [code, said] = promtool("test rules " + kLongTests);
    EXPECT_EQ(0, code) << said;
}

TEST(MetricsRules, EachAlertSaysWhatToDo) {
    const std::string rules = contentsOf(kRules);
    std::size_t alerts = 0;
    for (std::size_t at = 0; (at = rules.find("- alert: ", at)) != std::string::npos;) {
        const std::size_t next = std::min(rules.find("\n      - ", at), rules.size());
        const std::string rule = rules.substr(at, next - at);
        SCOPED_TRACE(rule);
        EXPECT_NE(std::string::npos, rule.find("\n          summary: "));
        EXPECT_NE(std::string::npos, rule.find("\n          description: "));
        const std::vector<std::string> severity = matches(rule, "severity: (\\w+)\n");
        ASSERT_EQ(1u, severity.size());
        EXPECT_TRUE(severity[0] == "critical" || severity[0] == "warning");
        ++alerts;
        at = next;
    }
    EXPECT_GE(alerts, 22u);
}

// One test in which it speaks, and one in which it does not.
TEST(MetricsRules, EachAlertIsTested) {
    const std::set<std::string> alerts = asSet(matches(contentsOf(kRules), "- alert: (\\w+)"));
    const std::string tests = contentsOf(kTests) + contentsOf(kLongTests);
    EXPECT_EQ(alerts, asSet(matches(tests, "alertname: (\\w+)\n        exp_alerts:\n")));
    EXPECT_EQ(alerts, asSet(matches(tests, "alertname: (\\w+)\n        exp_alerts: \\[\\]\n")));
}

TEST(MetricsRules, EachAlertIsInTheDocument) {
    const std::string document = contentsOf(QEL_SOURCE_DIR "/docs/formats/metrics.md");
    for (const std::string& alert : matches(contentsOf(kRules), "- alert: (\\w+)")) {
        EXPECT_NE(std::string::npos, document.find("`" + alert + "`")) << alert;
    }
}

std::set<std::string> familyNames() {
    std::set<std::string> names;
    for (const MetricsFamily& family : metricsFamilies()) {
        names.insert(std::string("raidwatch_") + family.name);
    }
    return names;
}

// A metric that is renamed takes its rules and panels along.
TEST(MetricsRules, RulesAndDashboardNameOnlyWhatIsTold) {
    const std::set<std::string> families = familyNames();
    for (const std::string& file :
         {kRules, std::string(QEL_SOURCE_DIR "/packaging/grafana/raidwatch.json")}) {
        const std::vector<std::string> names =
            matches(contentsOf(file), "(?:^|[^:\\w])(raidwatch_\\w+)");
        EXPECT_GT(names.size(), 20u);
        for (const std::string& name : names) EXPECT_EQ(1u, families.count(name)) << name;
    }
}

MetricsText::Labels labelsOf(const std::string& text) {
    MetricsText::Labels labels;
    const std::regex label("(\\w+)=\"([^\"]*)\"");
    for (std::sregex_iterator at(text.begin(), text.end(), label), end; at != end; ++at) {
        labels[(*at)[1]] = (*at)[2];
    }
    labels.erase("job");  // Prometheus adds these
    labels.erase("instance");
    return labels;
}

// What the machines of the shipped scenarios, and what is made by hand of the rest, really tell.
std::vector<MetricsText::Sample> reallyTold() {
    std::vector<MetricsText::Sample> told = MetricsText(render(metrics::example())).samples;
    for (const std::string& name : metrics::shippedScenarios()) {
        for (const MachineState& state : metrics::play(name)) {
            MetricsInput in;
            in.machine = state;
            const MetricsText text(render(in));
            told.insert(told.end(), text.samples.begin(), text.samples.end());
        }
    }
    return told;
}

// Those labels choose a series; the others name an object.
bool chooses(const std::string& label) {
    static const std::set<std::string> kChoosing = {"state", "severity", "acknowledged", "task",
                                                    "code"};
    return kChoosing.count(label) != 0;
}

bool isLike(const MetricsText::Sample& told, const MetricsText::Labels& wanted) {
    return std::all_of(wanted.begin(), wanted.end(), [&told](const auto& label) {
        const auto found = told.labels.find(label.first);
        if (found == told.labels.end()) return false;
        return !chooses(label.first) || found->second == label.second;
    });
}

TEST(MetricsRules, TheTestsUseSeriesThatAreReallyTold) {
    const std::vector<MetricsText::Sample> told = reallyTold();
    std::multimap<std::string, const MetricsText::Sample*> byName;
    for (const MetricsText::Sample& sample : told) byName.emplace(sample.name, &sample);
    std::size_t series = 0;
    for (const std::string& wanted :
         asSet(matches(contentsOf(kTests) + contentsOf(kLongTests), "- series: '([^']+)'"))) {
        if (wanted.rfind("up{", 0) == 0) continue;  // Prometheus's own
        const std::string name = wanted.substr(0, wanted.find('{'));
        const MetricsText::Labels labels = labelsOf(wanted);
        const auto [begin, end] = byName.equal_range(name);
        EXPECT_TRUE(std::any_of(begin, end, [&labels](const auto& each) {
            return isLike(*each.second, labels);
        })) << wanted;
        ++series;
    }
    EXPECT_GT(series, 60u);
}

// --- the text itself ---

void expectAccepted(const std::string& text) {
    const TempDir dir;
    const std::string file = dir.write("metrics", text);
    const auto [code, said] = promtool("check metrics < " + file);
    EXPECT_EQ(0, code) << said;
    EXPECT_EQ("exit 0\n", said) << "promtool would have something else";
}

TEST(MetricsPromtool, AcceptsWhatIsToldOfEveryScenario) {
    SKIP_WITHOUT_PROMTOOL();
    for (const std::string& name : metrics::shippedScenarios()) {
        SCOPED_TRACE(name);
        MetricsInput in;
        in.machine = metrics::play(name).back();
        expectAccepted(render(in));
    }
}

TEST(MetricsPromtool, AcceptsAllThatCanBeTold) {
    SKIP_WITHOUT_PROMTOOL();
    expectAccepted(render(metrics::example()));
    expectAccepted(render(MetricsInput{}));
}

TEST(MetricsPromtool, AcceptsWhateverTheHardwareSays) {
    SKIP_WITHOUT_PROMTOOL();
    MetricsInput in = metrics::example();
    const std::string hostile[] = {"\"} 1\n# TYPE up counter\n",
                                   std::string("\0\\\n\"", 4),
                                   "\xff\xfe\xed\xa0\x80",
                                   "\u202e\u2028",
                                   "{}=,",
                                   " "};
    for (const std::string& text : hostile) {
        for (int twice = 0; twice < 2; ++twice) {
            DriveState drive = metrics::driveCalled("drive:" + text);
            drive.model = drive.serial = drive.slotName = drive.osName = text;
            in.machine.drives.push_back(drive);
            ArrayState array;
            array.key = array.name = array.label = array.level = array.state = text;
            array.task.kind = text;
            in.machine.arrays.push_back(array);
            EnclosureState enclosure;
            enclosure.key = enclosure.name = enclosure.vendor = text;
            enclosure.elements = {{"fan", text, text, -1}, {"fan", text, text, -1}};
            in.machine.enclosures.push_back(enclosure);
            ControllerState controller;
            controller.key = controller.name = controller.driver = controller.battery = text;
            in.machine.controllers.push_back(controller);
            SinkStatus sink;
            sink.sink = text;
            in.sinks.push_back(sink);
        }
    }
    expectAccepted(render(in));
}

}  // namespace
