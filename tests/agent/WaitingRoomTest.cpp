#include "agent/daemon/WaitingRoom.h"

#include <gtest/gtest.h>

#include "agent/daemon/PollReport.h"

namespace {

MonitorThread::Batch batchOf(int events, std::size_t finished, std::int64_t polledAt) {
    MonitorThread::Batch batch;
    for (int i = 0; i < events; ++i) {
        batch.events.emplace_back(401, kEventError, "x", "X");
        batch.sources.push_back({false, polledAt});
    }
    batch.finished = finished;
    if (polledAt != 0) {
        auto report = std::make_shared<PollReport>();
        report->state.polledAt = polledAt;
        batch.report = report;
        batch.polls = batch.ended = 1;
        batch.pollSeconds = static_cast<double>(polledAt) / 8;
    }
    return batch;
}

TEST(WaitingRoom, WhatCameInPiecesGoesOnAsOne) {
    WaitingRoom room;
    EXPECT_EQ(0, room.machine().polledAt);
    EXPECT_EQ(-1, room.pollSeconds()) << "not known";
    room.add(batchOf(3, 2, 10));
    room.add(batchOf(2, 0, 0));  // of a poll under way
    room.add(batchOf(4, 1, 20));
    EXPECT_EQ(9u, room.size());
    EXPECT_EQ(20, room.machine().polledAt);
    EXPECT_EQ(2.5, room.pollSeconds());
    room.add(batchOf(0, 0, 0));
    EXPECT_EQ(2.5, room.pollSeconds()) << "still of the last poll";
    const MonitorThread::Batch all = room.takeAll();
    EXPECT_EQ(9u, all.events.size());
    ASSERT_EQ(9u, all.sources.size());
    EXPECT_EQ(10, all.sources[2].poll);
    EXPECT_EQ(20, all.sources[8].poll);
    EXPECT_EQ(6u, all.finished) << "what came before the last report belongs to ended polls";
    EXPECT_EQ(2, all.polls);
    EXPECT_EQ(20, all.report->state.polledAt);
    EXPECT_EQ(2.5, all.pollSeconds);
    EXPECT_EQ(0u, room.size());
}

TEST(WaitingRoom, IsBounded) {
    WaitingRoom room;
    room.add(batchOf(static_cast<int>(WaitingRoom::kMostEvents) - 1, 0, 0));
    EXPECT_TRUE(room.hasRoom());
    room.add(batchOf(1, 0, 0));
    EXPECT_FALSE(room.hasRoom());
}

TEST(WaitingRoom, RemembersWhyTheStorageCouldNotBeRead) {
    WaitingRoom room;
    MonitorThread::Batch failed;
    failed.ended = 1;
    failed.unreadable = "out of order";
    room.add(failed);
    room.add({});
    EXPECT_EQ("out of order", room.unreadable());
    room.add(batchOf(0, 0, 20));
    EXPECT_EQ("", room.unreadable());
}

}  // namespace
