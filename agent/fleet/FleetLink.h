// FleetLink: the way to the server that collects the events of all machines: a stream of events,
// and two buckets of keys with values. What speaks the server's protocol lies in a module of its
// own package (FleetModule), so this header is all that both sides share: plain values and virtual
// calls, no code of the program.
//
//   std::unique_ptr<FleetLink> link = FleetModule::open(settings);
//   if (!link->connect().empty()) ...
//   for (const FleetLink::Answer& answer : link->publish(messages)) ...
//
// A link connects when it is told to and stays so until a call fails; then it is down, and the next
// connect() begins anew. It never tries again by itself: who waits how long is the caller's rule.
//
// Threads  One at a time, but for cancel().
// Errors   Each call says what went wrong in one line for people; the texts of the server are raw.
//          No exception leaves.
#ifndef AGENT_FLEET_FLEETLINK_H
#define AGENT_FLEET_FLEETLINK_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class FleetLink {
public:
    // Changes with every change of this header: module and program of different releases must not
    // meet.
    static constexpr int kVersion = 1;

    struct Settings {
        std::vector<std::string> urls;  // nats://host:4222 or tls://host:4222
        std::string user;
        std::string password;
        std::string token;
        std::string credentialsFile;  // of a user: JWT and seed
        std::string nkey;             // public, with nkeySeedFile
        std::string nkeySeedFile;
        std::string caFile;
        std::string certFile;
        std::string keyFile;
        std::string client;  // the name that the server shows for this connection
        std::string inbox;   // subjects that answers come on begin so; "" for the library's own
        std::int64_t timeoutMs = 30000;  // of one call
    };

    struct Message {
        std::string subject;
        std::string id;                                            // "" for none
        std::vector<std::pair<std::string, std::string>> headers;  // further ones
        std::string body;
    };

    struct Answer {
        enum class Kind {
            kStored,
            kDuplicate,  // the server has one with this id already
            kLater,      // not stored, a later try may do
            kUnclear,    // sent, and no answer came: it may be stored
            kNever,      // not stored, and never will be as it is: too large
            kNoStream,   // nobody stores this subject
        };
        Kind kind = Kind::kLater;
        std::uint64_t position = 0;  // in the stream
        std::string text;
    };

    // What a stream or bucket is made with where there is none. 0: no limit.
    struct Plan {
        std::string stream;                 // or bucket
        std::vector<std::string> subjects;  // of a stream
        int copies = 1;
        std::int64_t maxAgeSeconds = 0;
        std::int64_t maxBytes = 0;
        std::int64_t windowSeconds = 0;  // in which a repeated id is recognised
    };

    struct Entry {
        std::string value;
        std::uint64_t revision = 0;
        std::int64_t at = 0;  // milliseconds since 1970-01-01 UTC, by the server's clock
    };

    enum class Put {
        kDone,
        kOther,  // it has changed meanwhile: not the revision that was expected
        kNoBucket,
        kFailed,
    };

    struct StreamMessage {
        std::string subject;
        std::string id;
        std::string instance;
        std::uint64_t position = 0;
        std::int64_t at = 0;  // milliseconds, by the server's clock
        std::string body;
    };

    virtual ~FleetLink() = default;

    virtual std::string connect() = 0;  // "" when it is up; does nothing when it is up already
    virtual bool isUp() = 0;
    // From any thread: the call under way comes back soon, and so does every later one.
    virtual void cancel() = 0;

    // All at once, one answer for each; returns when all are answered or the time is over.
    virtual std::vector<Answer> publish(const std::vector<Message>& messages) = 0;

    // Makes it where there is none; what is there stays as it is. "" or what went wrong.
    virtual std::string makeStream(const Plan& plan) = 0;
    virtual std::string makeBucket(const Plan& plan) = 0;

    // The last value of a key. `found` tells whether there is one. "" or what went wrong.
    virtual std::string get(const std::string& bucket, const std::string& key, bool& found,
                            Entry& entry) = 0;
    // Whatever is there, or with `revision`: only over that one, 0 where nothing may be. `revision`
    // becomes the new one.
    virtual Put put(const std::string& bucket, const std::string& key, const std::string& value,
                    std::uint64_t* revision, std::string& error) = 0;

    // All keys of a bucket with their last value, in any order. "" or what went wrong.
    virtual std::string readBucket(
        const std::string& bucket,
        const std::function<void(const std::string& key, const Entry& entry)>& take) = 0;
    // Of a stream what `subject` fits, from `sinceSeconds` on, in order, up to what is there now;
    // with `follow` also what comes, until `take` returns false. "" or what went wrong.
    virtual std::string readStream(const std::string& stream, const std::string& subject,
                                   std::int64_t sinceSeconds, bool follow,
                                   const std::function<bool(const StreamMessage*)>& take) = 0;
};

// The two names that a module has. The version comes first: nothing else is called when it differs.
extern "C" {
using FleetModuleVersion = int();
using FleetModuleOpen = FleetLink*(const FleetLink::Settings&);  // the caller deletes it
}

#endif  // AGENT_FLEET_FLEETLINK_H
