// What each shipped scenario looks like from outside: events in the shipped English catalogue, and
// the debug log. Compared with tests/golden/scenarios/; with QEL_APPROVE=1 in the environment the
// files are written instead, and whoever does that reads the difference.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <string>

#include "tests/support/ScenarioPlay.h"

namespace {

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string place(const Addr& where) {
    std::string text;
    const auto add = [&text](const char* letter, unsigned int id) {
        if (id != Addr::kNotSet) text += letter + std::to_string(id);
    };
    add("A", where.controllerID);
    add("a", where.arrayID);
    add("L", where.logicalDriveID);
    add("C", where.channelID);
    add("S", where.deviceID);
    if (where.chunkID != Addr::kChunkNotSet) text += "k" + std::to_string(where.chunkID);
    add("i", where.itemID);
    add("p", where.phyID);
    return text.empty() ? "-" : text;
}

// CODE/SEVERITY IDENTIFIER OBJECT PLACE "TEXT" and the fields that are set.
std::string line(const QELEvent& event) {
    std::string text = std::to_string(event.eventCode) + "/" + std::to_string(event.severity) +
                       " " + (event.eventId.empty() ? "-" : event.eventId) + " object " +
                       std::to_string(event.objectType) + " " + place(event.location) + " \"" +
                       event.text + "\"";
    const auto number = [&text](const char* name, int value) {
        if (value != QELEvent::kNotSet)
            text += std::string(" ") + name + "=" + std::to_string(value);
    };
    const auto field = [&text](const char* name, const std::string& value) {
        if (!value.empty()) text += std::string(" ") + name + "=" + value;
    };
    number("value1", event.value1);
    number("value2", event.value2);
    number("value3", event.value3);
    field("serial", event.adapterSerial);
    field("detail", event.detail);
    field("extra1", event.extra1);
    field("extra2", event.extra2);
    if (event.flags != 0) number("flags", static_cast<int>(event.flags));
    return text;
}

std::string heading(const ScenarioPlay::Moment& moment) {
    return "== second " + std::to_string(moment.second) + ": " + moment.name + "\n";
}

std::string eventsOf(const ScenarioPlay& play) {
    std::string text;
    for (const ScenarioPlay::Moment& moment : play.moments()) {
        text += heading(moment);
        for (const QELEvent& event : moment.events) text += line(event) + "\n";
    }
    return text;
}

std::string debugOf(const ScenarioPlay& play) {
    std::string text;
    for (const ScenarioPlay::Moment& moment : play.moments()) {
        text += heading(moment) + moment.debug;
    }
    return text;
}

void compareOrApprove(const std::string& name, const std::string& actual) {
    const std::string file =
        std::string(QEL_SOURCE_DIR) + "/tests/golden/scenarios/" + name + ".txt";
    if (std::getenv("QEL_APPROVE") != nullptr) {
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary | std::ios::trunc) << actual;
        return;
    }
    EXPECT_EQ(contentsOf(file), actual) << file;
}

class ScenarioGolden : public testing::TestWithParam<std::string> {};

TEST_P(ScenarioGolden, IsTheSame) {
    const std::string english =
        contentsOf(std::string(QEL_SOURCE_DIR) + "/catalogue/RaidNLS.properties");
    ASSERT_FALSE(english.empty());
    const ScenarioPlay play(shippedScenario(GetParam()), english);
    compareOrApprove(GetParam() + ".events", eventsOf(play));
    compareOrApprove(GetParam() + ".debug", debugOf(play));
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
    std::string name;
    bool upper = true;
    for (const char c : info.param) {
        if (c == '-') {
            upper = true;
            continue;
        }
        name += upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        upper = false;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Shipped, ScenarioGolden, testing::ValuesIn(shippedScenarios()), testName);

TEST(ScenarioGoldenFiles, NoneIsLeftOverFromAScenarioThatIsGone) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(QEL_SOURCE_DIR) +
                                                                 "/tests/golden/scenarios")) {
        (void)entry;
        ++count;
    }
    EXPECT_EQ(2 * shippedScenarios().size(), count);
}

}  // namespace
