// What the changes of a scenario do to the machine.
#include "storlib/sources/Scenario.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/SASPhy.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "tests/support/TempDir.h"

namespace {

std::unique_ptr<Scenario> scenario(const std::string& controllers, const std::string& steps) {
    std::string error;
    auto made = Scenario::parse(R"({"scenario": 1, "title": "t", "story": "s", "controllers": )" +
                                    controllers + R"(, "steps": )" + steps + "}",
                                "f", error);
    EXPECT_NE(nullptr, made) << error;
    return made;
}

// Steps of one change each.
std::string steps(const std::vector<std::string>& changes) {
    std::string text;
    for (const std::string& change : changes) {
        text += (text.empty() ? "" : ", ") + ("{\"changes\": [" + change + "]}");
    }
    return "[" + text + "]";
}

void play(Scenario& played, std::size_t step) {
    std::string error;
    EXPECT_TRUE(played.apply(step, error)) << error;
}

// "A0 C0 D1 D2 L0 A1": controllers, channels, devices and logical drives, in tree order.
void describe(const std::vector<RaidObject*>& objects, std::string& text) {
    for (const RaidObject* o : objects) {
        std::string name;
        if (o->isInstanceOf("Adapter")) name = "A" + std::to_string(o->addr.controllerID);
        if (o->isInstanceOf("Channel")) name = "C" + std::to_string(o->addr.channelID);
        if (o->isInstanceOf("PhysicalDevice")) name = "D" + std::to_string(o->addr.deviceID);
        if (o->isInstanceOf("LogicalDrive")) name = "L" + std::to_string(o->addr.logicalDriveID);
        if (o->isInstanceOf("SESElement")) name = "E" + std::to_string(o->addr.itemID);
        if (o->isInstanceOf("SASPhy")) name = "P" + std::to_string(o->addr.phyID);
        text += (text.empty() ? "" : " ") + name;
        describe(o->getChildren(), text);
    }
}

std::string tree(const Scenario& played) {
    System system;
    played.fill(system);
    std::string text;
    describe(system.getChildren(), text);
    return text;
}

template <class Kind>
const Kind& at(const System& system, const Addr& address) {
    const RaidObject* found = system.getObject(address);
    if (found == nullptr) throw std::runtime_error("nothing there");
    return static_cast<const Kind&>(*found);
}

const char kMachine[] = R"([
    {"id": "c", "channels": [{"id": "ch", "drives": [{"id": "d1", "device": 1}, {"id": "d2", "device": 2}]}],
     "logicalDrives": [{"id": "l0"}, {"id": "l1"}]},
    {"id": "c2"}])";

TEST(Scenario, GivenAFileThenKnowsItsTitleAndStory) {
    const auto played = scenario("[]", "[{}]");
    EXPECT_EQ("t", played->title());
    EXPECT_EQ("s", played->story());
    EXPECT_EQ(1u, played->steps().size());
}

TEST(Scenario, GivenNoNumbersThenTheLowestFreeOnesAreTaken) {
    EXPECT_EQ("A0 A2 A1 A3", tree(*scenario(R"([{}, {}, {"number": 1}, {}])", "[]")));
    EXPECT_EQ(
        "A0 C0 C1 L0 L1 P0 P1",
        tree(*scenario(R"([{"channels": [{}, {}], "logicalDrives": [{}, {}], "phys": [{}, {}]}])",
                       "[]")));
    EXPECT_EQ(
        "A0 C0 D5 E0 P0 E1",
        tree(*scenario(
            R"([{"channels": [{"sesEnclosures": [{"device": 5, "elements": [{"type": 3, "phys": [{}]}, {"type": 3}]}]}]}])",
            "[]")));
}

TEST(Scenario, GivenNoIdentityThenItIsTheFirstNumberPlusOneAndStays) {
    const auto played =
        scenario(kMachine, steps({R"({"remove": "c"}, {"set": "c2", "to": {"number": 0}})"}));
    play(*played, 0);
    System system;
    played->fill(system);
    // As on a real machine the controller moves up in the list and stays the same one.
    EXPECT_EQ(2, at<Adapter>(system, Addr::ofController(0)).pciBus);
}

TEST(Scenario, GivenARemovedObjectThenTheOthersKeepTheirNumbers) {
    const auto played = scenario(kMachine, steps({R"({"remove": "l0"})", R"({"remove": "c"})"}));
    EXPECT_EQ("A0 C0 D1 D2 L0 L1 A1", tree(*played));
    play(*played, 0);
    EXPECT_EQ("A0 C0 D1 D2 L1 A1", tree(*played));
    play(*played, 1);
    EXPECT_EQ("A1", tree(*played));
}

TEST(Scenario, GivenARestoredObjectThenItIsBackInItsPlaceAsItWas) {
    const auto played = scenario(
        kMachine,
        steps({R"({"set": "d1", "to": {"state": "member"}}, {"remove": "d1"}, {"remove": "c"})",
               R"({"restore": "c"})", R"({"restore": "d1"})"}));
    play(*played, 0);
    EXPECT_EQ("A1", tree(*played));
    play(*played, 1);
    EXPECT_EQ("A0 C0 D2 L0 L1 A1", tree(*played));
    play(*played, 2);
    EXPECT_EQ("A0 C0 D1 D2 L0 L1 A1", tree(*played));
    System system;
    played->fill(system);
    EXPECT_EQ(kDriveMember, at<HardDrive>(system, Addr::ofDevice(0, 0, 1)).state);
}

TEST(Scenario, GivenAnAddedObjectThenItComesLastWithAllThatItHolds) {
    const auto played = scenario(
        kMachine,
        steps(
            {R"({"add": {"controllers": {"id": "c3", "channels": [{"drives": [{"device": 7}]}]}}})",
             R"({"add": {"logicalDrives": {"id": "l2"}}, "in": "c3"})",
             R"({"add": {"drives": {"device": 10, "copies": 3}}, "in": "ch"})",
             R"({"remove": "d1"}, {"add": {"drives": {"id": "d1", "device": 4}}, "in": "ch"})"}));
    for (std::size_t step = 0; step < 4; ++step) play(*played, step);
    EXPECT_EQ("A0 C0 D2 D10 D11 D12 D4 L0 L1 A1 A2 C0 D7 L0", tree(*played));
}

TEST(Scenario, GivenCopiesThenTheirNumbersCountOn) {
    EXPECT_EQ(
        "A0 C0 D4 D5 D6 L0 L1 A1 C0 D4 D5 D6 L0 L1",
        tree(*scenario(R"([{"copies": 2, "channels": [{"drives": [{"device": 4, "copies": 3}]}],
                                  "logicalDrives": [{"copies": 2}]}])",
                       "[]")));
    EXPECT_EQ("A0 L7 L8 L9",
              tree(*scenario(R"([{"logicalDrives": [{"number": 7, "copies": 3}]}])", "[]")));
}

TEST(Scenario, GivenSetThenOnlyTheNamedFieldsChange) {
    const auto played = scenario(
        R"([{"channels": [{"drives": [{"id": "d", "device": 1, "vendor": "V", "state": "member"}]}]}])",
        steps({R"({"set": "d", "to": {"state": "failed", "part": "P"}})"}));
    play(*played, 0);
    System system;
    played->fill(system);
    const auto& drive = at<HardDrive>(system, Addr::ofDevice(0, 0, 1));
    EXPECT_EQ(kDriveFailed, drive.state);
    EXPECT_STREQ("P", drive.fruNumber);
    EXPECT_STREQ("V", drive.vendor);
}

TEST(Scenario, GivenTwoFillsThenTheTreesAreSeparate) {
    const auto played = scenario(kMachine, "[]");
    System first;
    System second;
    played->fill(first);
    played->fill(second);
    EXPECT_NE(first.getChild(0), second.getChild(0));
}

TEST(Scenario, GivenATaskThenItIsFoundAtItsDriveOnly) {
    const auto played = scenario(
        R"([{"id": "c", "number": 3, "logicalDrives": [{"number": 5}, {}],
             "tasks": [{"id": "t", "on": 5, "type": "verify", "percent": 40, "status": "paused"}]}])",
        steps({R"({"set": "t", "to": {"percent": 55, "status": "finished", "type": 3}})",
               R"({"remove": "t"})"}));
    const auto task = [&] {
        ProgressCollection found;
        played->tasksAt(Addr::ofLogicalDrive(3, 5), found);
        if (found.getProgressCount() != 1)
            return std::to_string(found.getProgressCount()) + " tasks";
        const Progress& p = *found.getProgress(0);
        EXPECT_TRUE(p.getDeviceAddr().IsEqual(Addr::ofLogicalDrive(3, 5)));
        return std::to_string(p.getType()) + " " + std::to_string(p.getPercent()) + " " +
               std::to_string(p.getStatus());
    };
    EXPECT_EQ("5 40 1", task());
    for (const Addr& other : {Addr::ofLogicalDrive(3, 0), Addr::ofLogicalDrive(0, 5),
                              Addr::ofController(3), Addr::ofDevice(3, 0, 5)}) {
        ProgressCollection found;
        played->tasksAt(other, found);
        EXPECT_EQ(0, found.getProgressCount());
    }
    play(*played, 0);
    EXPECT_EQ("3 55 2", task());
    play(*played, 1);
    EXPECT_EQ("0 tasks", task());
}

// "LOG:senseKey/code/qual path description" for each record.
std::vector<std::string> records(Scenario& played) {
    std::vector<std::string> lines;
    for (const auto& [log, r] : played.takeRecords()) {
        lines.push_back(std::to_string(log) + ":" + std::to_string(r.senseKey) + "/" +
                        std::to_string(r.additionalSenseCode) + "/" + std::to_string(r.qual) + " " +
                        r.ldPath + " " + r.description);
    }
    return lines;
}

TEST(Scenario, GivenRecordsThenPathsAreAsControllersWriteThem) {
    const auto played = scenario(
        R"([{"id": "c", "number": 2, "channels": [{"number": 1, "drives": [{"id": "d", "device": 3}]}],
             "logicalDrives": [{"id": "l", "number": 4}]}])",
        R"([{"announce": false, "changes": [
            {"record": {"what": "rebuildStarted", "about": "l"}},
            {"record": {"what": "badBlockFound", "about": "d"}},
            {"record": {"what": "rebuildFailed", "about": "l", "description": "no luck"}},
            {"record": {"code": 136, "qual": 6, "about": "l"}},
            {"record": {"code": 20, "category": 1, "path": "/l9"}, "from": "c"}]}])");
    play(*played, 0);
    const std::string log = std::to_string(played->logOf(2)) + ":";
    EXPECT_EQ((std::vector<std::string>{
                  log + "1/16/7 /l4 rebuildStarted", log + "0/129/6 /c2/b1/d3 badBlockFound",
                  log + "1/18/6 /l4 no luck", log + "0/136/6 /c2/l4 ", log + "1/20/7 /l9 "}),
              records(*played));
    EXPECT_TRUE(played->takeRecords().empty());
}

TEST(Scenario, GivenAStepThatAnnouncesThenEveryControllerOfBeforeAndAfterRecordsIt) {
    const auto played = scenario(kMachine, R"([{"name": "it goes", "changes": [{"remove": "c"}]},
                               {"changes": [{"restore": "c"}]},
                               {"announce": false}])");
    const unsigned int first = played->logOf(0);
    const unsigned int second = played->logOf(1);
    play(*played, 0);
    EXPECT_EQ((std::vector<std::string>{std::to_string(first) + ":0/0/7  it goes",
                                        std::to_string(second) + ":0/0/7  it goes"}),
              records(*played));
    // The controller that is gone is still remembered by its number, so that it is heard.
    EXPECT_EQ(first, played->logOf(0));
    play(*played, 1);
    const unsigned int third = played->logOf(0);
    EXPECT_NE(first, third);  // it begins a new log
    EXPECT_EQ((std::vector<std::string>{std::to_string(second) + ":0/0/7  configuration changed",
                                        std::to_string(third) + ":0/0/7  configuration changed"}),
              records(*played));
    play(*played, 2);
    EXPECT_TRUE(records(*played).empty());
    EXPECT_EQ(0u, played->logOf(77));
}

TEST(Scenario, GivenAControllerThatTakesAnotherNumberThenItsLogGoesWithIt) {
    const auto played = scenario(kMachine, steps({R"({"set": "c", "to": {"number": 5}})",
                                                  R"({"set": "c2", "to": {"number": 0}})"}));
    const unsigned int first = played->logOf(0);
    const unsigned int second = played->logOf(1);
    play(*played, 0);
    EXPECT_EQ(first, played->logOf(5));
    play(*played, 1);
    EXPECT_EQ(second, played->logOf(0));
}

TEST(Scenario, GivenFailuresThenTheyLastUntilTheyAreRecovered) {
    const auto played = scenario(
        kMachine, steps({R"({"fail": "configuration"})", R"({"recover": "configuration"})",
                         R"({"fail": "tasks", "of": "c2"})", R"({"recover": "tasks", "of": "c2"})",
                         R"({"fail": "events"})", R"({"recover": "events"})", R"({"slow": 1500})",
                         R"({"slow": 0})"}));
    const auto state = [&] {
        std::string text;
        if (played->failsReading()) text += "configuration ";
        for (unsigned int id : {0u, 1u}) {
            if (played->failsTasks(id)) text += "tasks" + std::to_string(id) + " ";
            if (played->failsEvents(id)) text += "events" + std::to_string(id) + " ";
        }
        return text + std::to_string(played->slowMilliseconds());
    };
    const char* const expected[] = {"configuration 0",   "0", "tasks1 0", "0",
                                    "events0 events1 0", "0", "1500",     "0"};
    EXPECT_EQ("0", state());
    for (std::size_t step = 0; step < 8; ++step) {
        play(*played, step);
        EXPECT_EQ(expected[step], state()) << step;
    }
}

TEST(Scenario, GivenAChangeOutOfOrderThenTheStepFailsWithTheReason) {
    const auto played = scenario(kMachine, steps({R"({"remove": "d1"})", R"({"restore": "d1"})"}));
    std::string error;
    EXPECT_FALSE(played->apply(1, error));
    EXPECT_EQ(
        "f:4: $.steps[1].changes[0]: nothing called \"d1\" has been removed before this "
        "step; use add for something new",
        error);
}

TEST(Scenario, GivenALoadedFileThenItsNameIsInTheMessages) {
    const TempDir dir;
    std::string error;
    const std::string good =
        dir.write("good.json", R"({"scenario": 1, "title": "x", "controllers": []})");
    const auto loaded = Scenario::load(good, error);
    ASSERT_NE(nullptr, loaded) << error;
    EXPECT_EQ("x", loaded->title());
    EXPECT_EQ(nullptr, Scenario::load(dir.write("bad.json", "{}"), error));
    EXPECT_EQ(dir.file("bad.json") + ":1: $: needs the key \"scenario\"", error);
    EXPECT_EQ(nullptr, Scenario::load(dir.write("empty.json", ""), error));
    EXPECT_EQ(dir.file("empty.json") +
                  ":1: $: is empty; a scenario is an object with the keys "
                  "scenario, title, controllers and steps",
              error);
}

TEST(Scenario, GivenAFileThatCannotBeReadThenSaysSo) {
    const TempDir dir;
    std::string error;
    for (const std::string& path : {dir.file("missing.json"), dir.folder()}) {
        EXPECT_EQ(nullptr, Scenario::load(path, error));
        EXPECT_EQ(path + ": cannot be read; check the name and that it is a file that you may read",
                  error);
    }
    const std::string large = dir.write("large.json", std::string((std::size_t{4} << 20) + 1, ' '));
    EXPECT_EQ(nullptr, Scenario::load(large, error));
    EXPECT_EQ(large + ": is larger than 4 MiB; use \"copies\" for what repeats itself", error);
}

}  // namespace
