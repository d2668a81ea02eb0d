#include "agent/sinks/SinkSet.h"

#include <gtest/gtest.h>

#include "agent/Failure.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

class SinkSetTest : public testing::Test {
protected:
    SinkSetTest()
        : spool(dir.file("spool.db")),
          sinks(dir.file("spool.db"), notes.keeper(), [this](const SinkSettings& settings) {
              if (settings.type == "broken") throw Failure(Failure::kBadUse, "no such thing");
              ++made[settings.name];
              return std::make_unique<FakeSink>(talk(settings.name));
          }) {}
    ~SinkSetTest() override { sinks.stop(); }

    std::shared_ptr<FakeTalk> talk(const std::string& name) {
        auto& one = talks[name];
        if (one == nullptr) one = std::make_shared<FakeTalk>();
        return one;
    }
    void configure(const std::vector<SinkSettings>& all) {
        std::map<std::string, SinkSettings> byName;
        for (const SinkSettings& settings : all) byName[settings.name] = settings;
        sinks.reload(byName);
    }
    void tell() {
        last = commitOne(spool, driveEvent());
        sinks.notify();
    }

    TempDir dir;
    Spool spool;
    KeptNotes notes;
    std::map<std::string, std::shared_ptr<FakeTalk>> talks;
    std::map<std::string, int> made;
    SinkSet sinks;
    std::int64_t last = 0;
};

TEST_F(SinkSetTest, EachSinkIsToldWhatComesAfterItsStart) {
    tell();
    configure({sinkSettings("a"), sinkSettings("b")});
    tell();
    EXPECT_TRUE(talk("a")->waitFor(2));
    EXPECT_TRUE(talk("b")->waitFor(2));
    EXPECT_EQ(std::vector<std::int64_t>({2}), talk("a")->soFar());
}

TEST_F(SinkSetTest, GivenOneSinkThatHangsThenTheOthersAreToldAllTheSame) {
    auto gate = talk("a");
    gate->reply = [gate](const Record&) {
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->changed.wait(lock, [&] { return gate->cancelled; });
        return Answer{Answer::Kind::kRetry, "was stopped"};
    };
    configure({sinkSettings("a"), sinkSettings("b")});
    for (int i = 0; i < 5; ++i) tell();
    EXPECT_TRUE(talk("b")->waitFor(last));
    EXPECT_TRUE(talk("a")->waitFor(1));
    EXPECT_EQ(std::vector<std::int64_t>({1}), talk("a")->soFar());
    sinks.stop();
    talk("a")->reply = nullptr;
}

TEST_F(SinkSetTest, AReloadTouchesOnlyWhatHasChanged) {
    SinkSettings changing = sinkSettings("changing");
    configure({sinkSettings("same"), changing, sinkSettings("leaving")});
    tell();
    for (const char* name : {"same", "changing", "leaving"}) EXPECT_TRUE(talk(name)->waitFor(1));
    sinks.stop();  // all is noted down
    configure({sinkSettings("same"), changing, sinkSettings("leaving")});

    changing.filter.leastSeverity = kEventError;
    SinkSettings moved = sinkSettings("same");
    moved.where = "raidwatch.toml:99";
    configure({moved, changing, sinkSettings("coming")});
    tell();
    for (const char* name : {"same", "changing", "coming"}) EXPECT_TRUE(talk(name)->waitFor(2));
    EXPECT_EQ(2, made["same"]) << "at the two starts only";
    EXPECT_EQ(3, made["changing"]);
    EXPECT_EQ(std::vector<std::int64_t>({1, 2}), talk("changing")->soFar()) << "its cursor stays";
    EXPECT_EQ(std::vector<std::int64_t>({2}), talk("coming")->soFar());
    EXPECT_EQ(std::vector<std::int64_t>({1}), talk("leaving")->soFar());
    for (const SinkStatus& status : spool.sinkStatus()) EXPECT_NE("leaving", status.sink);
}

TEST_F(SinkSetTest, GivenASinkThatCannotBeMadeThenNothingChanges) {
    configure({sinkSettings("a")});
    SinkSettings other = sinkSettings("a");
    other.timeout = 99;
    EXPECT_THROW(configure({other, sinkSettings("b", "broken")}), Failure);
    tell();
    EXPECT_TRUE(talk("a")->waitFor(1));
    ASSERT_EQ(1u, sinks.status().size());
}

TEST_F(SinkSetTest, TheStatusIsOfTheConfiguredSinksByName) {
    configure({sinkSettings("b"), sinkSettings("a")});
    (void)spool.cursor("stranger");
    const std::vector<SinkStatus> status = sinks.status();
    ASSERT_EQ(2u, status.size());
    EXPECT_EQ("a", status[0].sink);
    EXPECT_EQ("b", status[1].sink);
    EXPECT_TRUE(status[0].ok);
}

TEST(SinkSettings, AreTheSameWhereverTheyStand) {
    const SinkSettings one = sinkSettings("a");
    SinkSettings two = one;
    two.where = "elsewhere";
    EXPECT_TRUE(sameSink(one, two));
    const std::vector<void (*)(SinkSettings&)> changes = {
        [](SinkSettings& s) { s.type = "x"; },
        [](SinkSettings& s) { s.filter.leastSeverity = 1; },
        [](SinkSettings& s) { s.filter.objects = {"x"}; },
        [](SinkSettings& s) { s.filter.codes = {1}; },
        [](SinkSettings& s) { s.timeout = 1; },
        [](SinkSettings& s) { s.firstRetry = 1; },
        [](SinkSettings& s) { s.longestRetry = 1; },
        [](SinkSettings& s) { s.giveUpAfter = 1; },
        [](SinkSettings& s) { s.texts["x"] = "y"; },
        [](SinkSettings& s) { s.lists["x"] = {"y"}; },
        [](SinkSettings& s) { s.tables["x"]["y"] = "z"; },
        [](SinkSettings& s) { s.numbers["x"] = 1; },
    };
    for (const auto& change : changes) {
        SinkSettings other = one;
        change(other);
        EXPECT_FALSE(sameSink(one, other));
    }
}

}  // namespace
