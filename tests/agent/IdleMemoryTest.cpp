#include "agent/daemon/IdleMemory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

namespace {

// Of this process, in kB: what is resident of files that are mapped.
long residentOfFiles() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word != "RssFile:") continue;
        long kilobytes = 0;
        status >> kilobytes;
        return kilobytes;
    }
    return -1;
}

TEST(IdleMemory, WhatIsGivenBackIsThereAgainWhenItIsNeeded) {
    const std::string text = R"({"drives":[{"state":"failed"}],"count":1})";
    EXPECT_EQ(text, nlohmann::ordered_json::parse(text).dump());
    const long before = residentOfFiles();
    ASSERT_LT(0, before);
    giveBackMemory();
    const long after = residentOfFiles();
    EXPECT_LT(after, before);
    EXPECT_EQ(text, nlohmann::ordered_json::parse(text).dump());
}

}  // namespace
