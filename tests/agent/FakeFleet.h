// FakeFleet: a server of a fleet in memory, for what the real one does not do on command: answers
// that are lost, a clock of its own, a link that is down.
//
//   FakeFleet server;
//   FakeLink link(server);
//   server.loseAnswers = 1;      // stored, but nobody is told
#ifndef TESTS_AGENT_FAKEFLEET_H
#define TESTS_AGENT_FAKEFLEET_H

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/Milliseconds.h"
#include "agent/fleet/FleetLink.h"

struct FakeFleet {
    std::map<std::string, std::map<std::string, FleetLink::Entry>> buckets;
    std::vector<FleetLink::Message> stream;
    std::map<std::string, std::uint64_t> ids;  // those of the window, and where they are
    bool hasStream = true;
    bool hasBuckets = true;
    bool isUp = true;
    std::string mayNotMake;            // why; "" when it may
    int loseAnswers = 0;               // of so many calls
    int unready = 0;                   // for so many messages there is no stream yet
    FleetLink::Answer::Kind refuse{};  // of every message, unless it is kStored
    std::uint64_t revision = 0;
    int connects = 0;
};

class FakeLink : public FleetLink {
public:
    explicit FakeLink(FakeFleet& serverIN) : server(serverIN) {}

    std::string connect() override {
        ++server.connects;
        return server.isUp ? "" : "cannot connect (No server available for connection)";
    }
    bool isUp() override { return server.isUp; }
    void cancel() override {}

    std::vector<Answer> publish(const std::vector<Message>& messages) override {
        std::vector<Answer> answers;
        for (const Message& message : messages) answers.push_back(store(message));
        return answers;
    }
    std::string makeStream(const Plan&) override {
        if (server.mayNotMake.empty()) server.hasStream = true;
        return server.mayNotMake;
    }
    std::string makeBucket(const Plan&) override {
        if (server.mayNotMake.empty()) server.hasBuckets = true;
        return server.mayNotMake;
    }
    std::string get(const std::string& bucket, const std::string& key, bool& found,
                    Entry& entry) override {
        found = false;
        if (!server.isUp) return "no answer";
        if (!server.hasBuckets) return "there is no bucket " + bucket;
        const auto& keys = server.buckets[bucket];
        const auto place = keys.find(key);
        if (place == keys.end()) return "";
        found = true;
        entry = place->second;
        return "";
    }
    Put put(const std::string& bucket, const std::string& key, const std::string& value,
            std::uint64_t* revision, std::string& error) override {
        error = "no answer";
        if (!server.isUp) return Put::kFailed;
        error = "there is no bucket " + bucket;
        if (!server.hasBuckets) return Put::kNoBucket;
        error.clear();
        auto& keys = server.buckets[bucket];
        const std::uint64_t now = keys.count(key) == 0 ? 0 : keys[key].revision;
        if (revision != nullptr && *revision != now) return Put::kOther;
        keys[key] = {value, ++server.revision, nowMilliseconds()};
        if (server.loseAnswers > 0) {
            --server.loseAnswers;
            error = "no acknowledgement";
            return Put::kFailed;
        }
        if (revision != nullptr) *revision = server.revision;
        return Put::kDone;
    }
    std::string readBucket(const std::string&,
                           const std::function<void(const std::string&, const Entry&)>&) override {
        return "not here";
    }
    std::string readStream(const std::string&, const std::string&, std::int64_t, bool,
                           const std::function<bool(const StreamMessage*)>&) override {
        return "not here";
    }

private:
    Answer store(const Message& message) {
        using Kind = Answer::Kind;
        if (!server.isUp) return {Kind::kLater, 0, "cannot connect"};
        if (server.unready > 0) {
            --server.unready;
            return {Kind::kNoStream, 0, "no stream takes it"};
        }
        if (!server.hasStream) return {Kind::kNoStream, 0, "no stream takes it"};
        if (server.refuse != Kind::kStored) return {server.refuse, 0, "refused by the test"};
        const auto known = server.ids.find(message.id);
        if (known != server.ids.end()) return {Kind::kDuplicate, known->second, "RAIDWATCH"};
        server.stream.push_back(message);
        server.ids[message.id] = server.stream.size();
        if (server.loseAnswers > 0) {
            --server.loseAnswers;
            return {Kind::kUnclear, 0, "no acknowledgement"};
        }
        return {Kind::kStored, server.stream.size(), "RAIDWATCH"};
    }

    FakeFleet& server;
};

#endif  // TESTS_AGENT_FAKEFLEET_H
