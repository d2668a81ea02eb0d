// The whole text, from the machine to the last digit.
#include "agent/metrics/Metrics.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "agent/metrics/MetricsFamilies.h"
#include "tests/agent/support/MetricsExample.h"
#include "tests/agent/support/MetricsText.h"

namespace {

const std::string kGolden = QEL_SOURCE_DIR "/tests/golden/metrics/example.prom";

double stateOf(const MetricsInput& in, const std::string& name, const std::string& label,
               const std::string& object, const std::string& state) {
    return MetricsText(render(in)).value(name, {{label, object}, {"state", state}});
}

TEST(Metrics, TellsAMachineToTheLastDigit) {
    const std::string text = render(metrics::example());
    if (std::getenv("QEL_APPROVE") != nullptr) std::ofstream(kGolden) << text;
    std::ifstream in(kGolden, std::ios::binary);
    const std::string expected(std::istreambuf_iterator<char>(in), {});
    EXPECT_EQ(expected, text);
    EXPECT_EQ("", MetricsText(text).fault);
}

TEST(Metrics, GivenNothingThenStillTellsThatNobodyHasLooked) {
    const MetricsText text(render(MetricsInput{}));
    EXPECT_EQ("", text.fault);
    EXPECT_EQ(0, text.value("raidwatch_up_to_date"));
    EXPECT_EQ(0, text.value("raidwatch_last_completed_poll_timestamp_seconds"));
    EXPECT_EQ(0u, text.count("raidwatch_poll_duration_seconds"));
    EXPECT_EQ(0u, text.count("raidwatch_array_info"));
    EXPECT_EQ(0, text.value("raidwatch_events_total", {{"severity", "error"}, {"code", "401"}}));
    EXPECT_EQ(
        0, text.value("raidwatch_incidents_open", {{"severity", "error"}, {"acknowledged", "no"}}));
}

TEST(Metrics, AStalePictureIsToldAndCalledStale) {
    MetricsInput in = metrics::example();
    in.machine.polledAt = in.now - in.staleAfter;
    EXPECT_EQ(1, MetricsText(render(in)).value("raidwatch_up_to_date"));
    in.machine.polledAt = in.now + in.staleAfter + 1;
    EXPECT_EQ(0, MetricsText(render(in)).value("raidwatch_up_to_date")) << "the clock went back";
    in.machine.polledAt = in.now - in.staleAfter - 1;
    const MetricsText text(render(in));
    EXPECT_EQ(0, text.value("raidwatch_up_to_date"));
    EXPECT_EQ(1, text.value("raidwatch_array_state",
                            {{"array", "array:0:127"}, {"state", "rebuilding"}}));
}

TEST(Metrics, GivenNoSpoolThenLeavesOutWhatIsNotKnown) {
    MetricsInput in = metrics::example();
    in.spoolReadable = false;
    in.sinks.clear();
    const MetricsText text(render(in));
    EXPECT_EQ("", text.fault);
    EXPECT_EQ(0, text.value("raidwatch_spool_readable"));
    for (const char* name : {"raidwatch_events_total", "raidwatch_incidents_open",
                             "raidwatch_spool_size_bytes", "raidwatch_spool_records_total",
                             "raidwatch_drive_bad_blocks_total", "raidwatch_sink_up"}) {
        EXPECT_EQ(0u, text.count(name)) << name;
    }
    EXPECT_EQ(2u, text.count("raidwatch_drive_info"));
}

struct StateCase {
    const char* word;
    const char* state;  // that is 1
};

TEST(Metrics, ExactlyOneStateIsSet) {
    const StateCase cases[] = {
        {"normal", "normal"},     {"degraded", "degraded"}, {"rebuilding", "rebuilding"},
        {"checking", "checking"}, {"offline", "offline"},   {"failed", "failed"},
        {"unknown", "unknown"},   {"", "unknown"},          {"on fire", "unknown"},
    };
    for (const StateCase& c : cases) {
        SCOPED_TRACE(c.word);
        MetricsInput in = metrics::example();
        in.machine.arrays[0].state = c.word;
        double sum = 0;
        for (const auto& sample : MetricsText(render(in)).samples) {
            if (sample.name == "raidwatch_array_state") sum += sample.value;
        }
        EXPECT_EQ(1, sum);
        EXPECT_EQ(1, stateOf(in, "raidwatch_array_state", "array", "array:0:127", c.state));
    }
}

// A word that no list has would be told as "unknown"; then the list has to learn it.
TEST(Metrics, TheListsHaveEveryStateOfTheShippedScenarios) {
    std::size_t states = 0;
    for (const std::string& name : metrics::shippedScenarios()) {
        SCOPED_TRACE(name);
        for (const MachineState& state : metrics::play(name)) {
            MetricsInput in;
            in.machine = state;
            const MetricsText text(render(in));
            ASSERT_EQ("", text.fault);
            ++states;
            for (const ArrayState& array : state.arrays) {
                EXPECT_EQ(1, text.value("raidwatch_array_state",
                                        {{"array", array.key}, {"state", array.state}}));
            }
            for (const DriveState& drive : state.drives) {
                EXPECT_EQ(1, text.value("raidwatch_drive_state",
                                        {{"drive", drive.key}, {"state", drive.state}}));
            }
            for (const ControllerState& controller : state.controllers) {
                EXPECT_EQ(
                    1, text.value("raidwatch_controller_state",
                                  {{"controller", controller.key}, {"state", controller.state}}));
                if (controller.battery.empty()) continue;
                EXPECT_EQ(
                    1, text.value("raidwatch_controller_battery_state",
                                  {{"controller", controller.key}, {"state", controller.battery}}));
            }
            for (const EnclosureState& enclosure : state.enclosures) {
                EXPECT_EQ(1, text.value("raidwatch_enclosure_state", {{"enclosure", enclosure.key},
                                                                      {"state", enclosure.state}}));
                for (const ElementState& element : enclosure.elements) {
                    const bool fan = element.kind == "fan";
                    const bool supply = element.kind == "supply";
                    EXPECT_EQ(1, text.value(fan      ? "raidwatch_fan_state"
                                            : supply ? "raidwatch_power_supply_state"
                                                     : "raidwatch_temperature_sensor_state",
                                            {{"enclosure", enclosure.key},
                                             {fan      ? "fan"
                                              : supply ? "power_supply"
                                                       : "sensor",
                                              element.name},
                                             {"state", element.state}}));
                }
            }
        }
    }
    EXPECT_GT(states, 100u);
}

TEST(Metrics, TwoDrivesWithOneSerialNumberAreTwo) {
    MetricsInput in = metrics::example();
    in.machine.drives = {metrics::driveCalled("drive:S1", 3), metrics::driveCalled("drive:S1", 4)};
    in.machine.drives[1].state = "failed";
    EXPECT_EQ("", MetricsText(render(in)).fault);
    EXPECT_EQ(0, stateOf(in, "raidwatch_drive_state", "drive", "drive:S1@1:0:3", "failed"));
    EXPECT_EQ(1, stateOf(in, "raidwatch_drive_state", "drive", "drive:S1@1:0:4", "failed"));
}

TEST(Metrics, WhatBelongsToNothingHasNoSuchLabel) {
    MetricsInput in = metrics::example();
    in.machine.drives = {metrics::driveCalled("drive:S1")};
    in.machine.drives[0].array = "array:9:9";
    in.machine.drives[0].adapter = 7;
    const MetricsText text(render(in));
    EXPECT_EQ(1,
              text.value("raidwatch_drive_info", {{"drive", "drive:S1"}, {"name", "drive 1:0:0"}}));
}

// Any bytes anywhere, and the same ones again and again.
class Chaos {
public:
    explicit Chaos(unsigned seed) : random(seed) {}

    std::string text() {
        static const char* const kParts[] = {
            "",         "A",      "A",    "\"",        "\\",
            "\n",       "\r\n",   "\xff", "\xe2\x82",  "\xed\xa0\x80",
            "\x1b[2J",  "\u202e", "}",    "{a=\"b\"}", "# TYPE x gauge\n",
            "drive:S1", "容量"};
        std::string made;
        for (int i = number(0, 3); i > 0; --i) {
            made += kParts[number(0, static_cast<int>(std::size(kParts)) - 1)];
        }
        if (number(0, 30) == 0) made += std::string(1, '\0') + std::string(300, 'x');
        return made;
    }
    int number(int least, int most) { return std::uniform_int_distribution(least, most)(random); }
    double any() {
        const double kSome[] = {0, -1, 1e300, std::nan(""), -HUGE_VAL, 41.5};
        return kSome[number(0, 5)];
    }

    MetricsInput input() {
        MetricsInput in;
        in.version = text();
        in.pollSeconds = any();
        for (int i = number(0, 4); i > 0; --i) {
            ArrayState array;
            array.key = text();
            array.name = text();
            array.label = text();
            array.level = text();
            array.state = text();
            array.task.kind = text();
            array.task.percent = any();
            array.members.resize(2);
            array.members[0].state = text();
            in.machine.arrays.push_back(array);
        }
        for (int i = number(0, 6); i > 0; --i) {
            DriveState drive;
            drive.key = text();
            drive.name = text();
            drive.serial = text();
            drive.array = text();
            drive.slotName = text();
            drive.adapter = number(0, 2);
            in.machine.drives.push_back(drive);
        }
        for (int i = number(0, 3); i > 0; --i) {
            EnclosureState enclosure;
            enclosure.key = text();
            enclosure.state = text();
            enclosure.elements = {{"fan", text(), text(), 1},
                                  {"fan", text(), text(), -1},
                                  {"temperature", text(), text(), 40},
                                  {text(), text(), text(), 40}};
            in.machine.enclosures.push_back(enclosure);
            ControllerState controller;
            controller.key = text();
            controller.number = number(0, 2);
            controller.battery = text();
            in.machine.controllers.push_back(controller);
            SinkStatus sink;
            sink.sink = text();
            in.sinks.push_back(sink);
            in.events.push_back({number(-1, 9), number(0, 3), 1});
            Incident incident;
            incident.severity = number(-1, 9);
            in.openIncidents.push_back(incident);
        }
        return in;
    }

private:
    std::mt19937 random;
};

TEST(Metrics, WhateverTheHardwareSaysTheTextIsValid) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        const std::string text = render(Chaos(seed).input());
        ASSERT_EQ("", MetricsText(text).fault) << "seed " << seed << "\n" << text;
    }
}

// Only the known families, with the labels of their rows.
TEST(Metrics, EverySampleIsOfAFamily) {
    std::map<std::string, std::string> labels;
    for (const MetricsFamily& family : metricsFamilies()) {
        labels[std::string("raidwatch_") + family.name] = std::string(",") + family.labels + ",";
    }
    for (const auto& sample : MetricsText(render(metrics::example())).samples) {
        ASSERT_EQ(1u, labels.count(sample.name)) << sample.name;
        for (const auto& [name, value] : sample.labels) {
            EXPECT_NE(std::string::npos, labels[sample.name].find("," + name + ","))
                << sample.name << " " << name;
        }
    }
}

// The example leaves out nothing that can be told.
TEST(Metrics, EveryFamilyHasASample) {
    const MetricsText text(render(metrics::example()));
    for (const MetricsFamily& family : metricsFamilies()) {
        EXPECT_GT(text.count(std::string("raidwatch_") + family.name), 0u) << family.name;
    }
}

// docs/formats/metrics.md says how many series there are.
TEST(Metrics, TheNumberOfSeriesIsBounded) {
    std::map<std::string, std::string> about;
    for (const MetricsFamily& family : metricsFamilies()) {
        about[std::string("raidwatch_") + family.name] = family.about;
    }
    std::map<std::string, int> counts;
    for (const auto& sample : MetricsText(render(metrics::example())).samples) {
        ++counts[about[sample.name]];
    }
    // One sink, one array with a task and exposed, two drives, one enclosure of three elements,
    // one controller with battery and temperature.
    EXPECT_EQ((std::map<std::string, int>{{"raidwatch", 91},
                                          {"sinks", 7},
                                          {"arrays", 24},
                                          {"drives", 23},
                                          {"enclosures", 26},
                                          {"controllers", 10}}),
              counts);
}

TEST(Metrics, AnswersForTenThousandDrivesAtOnce) {
    MetricsInput in = metrics::example();
    for (int i = 0; i < 10000; ++i) {
        DriveState drive = metrics::driveCalled("drive:Z" + std::to_string(100000 + i), i);
        drive.vendor = "KOVA-PQ";
        drive.model = "K500 <enterprise>";
        drive.serial = "Z" + std::to_string(100000 + i);
        drive.array = "array:0:127";
        in.machine.drives.push_back(drive);
    }
    const auto begin = std::chrono::steady_clock::now();
    const std::string text = render(in);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    RecordProperty("milliseconds", std::to_string(took.count() * 1000));
    RecordProperty("bytes", std::to_string(text.size()));
    std::printf("%zu bytes in %.0f ms\n", text.size(), took.count() * 1000);
    // A server gives up after 10 s; a busy machine with sanitizers stays far below that.
    EXPECT_LT(took.count(), 5);
    // 7 states and info, prediction, size and bad blocks of each drive.
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = text.find("drive=\"drive:Z", at)) != std::string::npos; ++at) {
        ++lines;
    }
    EXPECT_EQ(110000u, lines);
}

}  // namespace
