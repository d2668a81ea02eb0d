#include "agent/EventReference.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <tuple>

#include <nlohmann/json.hpp>

#include "monitor/EventRows.h"

namespace {

const std::string kCatalogue = QEL_SOURCE_DIR "/catalogue/RaidNLS.properties";
const std::string kDocument = QEL_SOURCE_DIR "/docs/events.md";

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(EventReference, EveryRowHasExactlyOneEntry) {
    const EventReference reference(kCatalogue);
    using Row = std::tuple<std::string, int, int, std::string>;
    std::multiset<Row> entries;
    for (const EventReference::Entry& e : reference.all()) {
        entries.insert(Row(e.key, e.code, e.severity, e.eventId));
    }
    std::set<Row> rowsSeen;
    for (const EventRow* row : rows::kAllEventRows) {
        const Row wanted(row->key, row->code, row->severity, row->eventId);
        EXPECT_EQ(1u, entries.count(wanted)) << row->key << " " << row->code;
        rowsSeen.insert(wanted);
    }
    EXPECT_EQ(rowsSeen.size(), entries.size());
}

TEST(EventReference, EveryEntryIsExplainedCompletely) {
    const EventReference reference(kCatalogue);
    for (const EventReference::Entry& e : reference.all()) {
        SCOPED_TRACE(std::to_string(e.code) + " " + e.key);
        EXPECT_NE("", e.text);
        EXPECT_NE("", e.when);
        EXPECT_NE("", e.meaning);
        EXPECT_NE("", e.cause);
        EXPECT_NE("", e.risk);
        EXPECT_NE("", e.action);
    }
}

TEST(EventReference, AnEventIsFoundByCodeIdentifierAndKey) {
    const EventReference reference(kCatalogue);
    const auto byCode = reference.find("401");
    ASSERT_EQ(2u, byCode.size());  // with and without a replacement
    EXPECT_EQ("agentEventErrDefunctDrive", byCode[0]->key);
    EXPECT_EQ("agentEventErrDefunctDriveRepl", byCode[1]->key);
    EXPECT_EQ(4u, reference.find("event_torvex_pd_state_failed").size());
    EXPECT_EQ(3u, reference.find("agenteventerrdefunctdrive").size());  // 401, 404 and 499
    for (const char* unknown : {"", "1", "40", "EVENT_", "agentEvent"}) {
        EXPECT_TRUE(reference.find(unknown).empty()) << unknown;
    }
}

TEST(EventReference, AnEntryAsJsonHasTheDocumentedMembers) {
    const EventReference reference(kCatalogue);
    const auto found = reference.find("201");
    ASSERT_EQ(1u, found.size());
    const nlohmann::json object = nlohmann::json::parse(EventReference::json(*found[0]));
    EXPECT_EQ("agentEventInfNoControllers", object.at("key"));
    EXPECT_EQ(201, object.at("code"));
    EXPECT_EQ(3, object.at("severity"));
    EXPECT_EQ("EVENT_TORVEX_STATE_NOTFOUND", object.at("eventId"));
    for (const char* member : {"text", "when", "meaning", "cause", "risk", "action"}) {
        EXPECT_TRUE(object.at(member).is_string()) << member;
    }
}

TEST(EventReference, TheDocumentIsWhatTheRowsSay) {
    const std::string made = EventReference(kCatalogue).markdown();
    if (std::getenv("QEL_APPROVE") != nullptr) std::ofstream(kDocument, std::ios::binary) << made;
    EXPECT_EQ(made, contentsOf(kDocument)) << "docs/events.md is out of date: ./test --approve";
}

}  // namespace
