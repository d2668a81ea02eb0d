#include "agent/sinks/SinkFactory.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "agent/Failure.h"
#include "tests/agent/SinkFixture.h"

namespace {

TEST(SinkFactory, TheTypesAreSortedAndEachCanBeMade) {
    const std::vector<std::string> types = sinkTypes();
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end()));
    for (const char* local : {"exec", "file", "journal", "syslog"}) {
        EXPECT_EQ(1, std::count(types.begin(), types.end(), local)) << local;
        SinkSettings settings = sinkSettings("a", local);
        settings.texts["path"] = "/tmp/x";
        settings.lists["command"] = {"/bin/true"};
        EXPECT_NE(nullptr, makeSink(settings)) << local;
    }
}

TEST(SinkFactory, GivenAnUnknownTypeThenTheErrorNamesPlaceAndTypes) {
    for (const auto& [type, says] :
         {std::pair<const char*, const char*>{"carrier-pigeon", "\"carrier-pigeon\" is none of "},
          {"", "is missing; it is one of "}}) {
        try {
            (void)makeSink(sinkSettings("a", type));
            ADD_FAILURE() << type;
        } catch (const Failure& e) {
            EXPECT_EQ(Failure::kBadUse, e.exitCode);
            const std::string text = e.what();
            EXPECT_EQ(0u, text.find("raidwatch.toml:3: sink \"a\": type: " + std::string(says)))
                << text;
            EXPECT_NE(std::string::npos, text.find("exec, file, journal, "));
        }
    }
}

}  // namespace
