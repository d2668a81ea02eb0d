// NatsLink: FleetLink to a NATS server with JetStream. The only class that knows libnats; built as
// the module raidwatch-nats.so, which links nothing of the program.
//
// Publishing is asynchronous: all messages of a batch are sent, then their acknowledgements are
// collected on a subject of our own, on the caller's thread. The library's threads (one reads, one
// writes) meet us in its own queues and in Watch.
//
// Threads and errors as in FleetLink.h.
#ifndef AGENT_NATS_NATSLINK_H
#define AGENT_NATS_NATSLINK_H

#include <nats/nats.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "agent/fleet/FleetLink.h"
#include "agent/nats/NatsHandles.h"

class NatsLink : public FleetLink {
public:
    explicit NatsLink(Settings settingsIN);
    ~NatsLink() override;
    NatsLink(const NatsLink&) = delete;
    NatsLink& operator=(const NatsLink&) = delete;

    std::string connect() override;
    bool isUp() override;
    void cancel() override { cancelled = true; }
    std::vector<Answer> publish(const std::vector<Message>& messages) override;
    std::string makeStream(const Plan& plan) override;
    std::string makeBucket(const Plan& plan) override;
    std::string get(const std::string& bucket, const std::string& key, bool& found,
                    Entry& entry) override;
    Put put(const std::string& bucket, const std::string& key, const std::string& value,
            std::uint64_t* revision, std::string& error) override;
    std::string readBucket(
        const std::string& bucket,
        const std::function<void(const std::string& key, const Entry& entry)>& take) override;
    std::string readStream(const std::string& stream, const std::string& subject,
                           std::int64_t sinceSeconds, bool follow,
                           const std::function<bool(const StreamMessage*)>& take) override;

private:
    using SteadyClock = std::chrono::steady_clock;
    using MessageTaker = std::function<bool(natsMsg* message, const jsMsgMetaData* place)>;
    struct Watch;

    std::string setOptions(natsOptions* options) const;
    std::string open(natsOptions* options);
    void drop();
    std::string firstProblem() const;  // of the library's own thread; "" when there is none
    std::string later(const std::string& what) const;

    bool send(const Message& message, std::uint64_t number, Answer& failed);
    // Hands over what comes on our own subject, until `take` has all it wants or the time is over.
    template <typename Take>
    bool collect(std::int64_t limitMs, Take&& take);
    std::string replyTo(std::uint64_t number) const;

    std::string openStreams(Stream& js);
    std::string stepThrough(const std::string& stream, const std::string& subject,
                            jsSubOptions* wanted, bool follow, const MessageTaker& take);
    bool isEmpty(natsSubscription* list, std::string& error);
    struct Reading {
        bool follow;
        std::uint64_t last;       // position at which it ends, without `follow`
        std::int64_t patienceMs;  // for the next message
    };
    enum class End {
        kAll,          // or `take` has enough, or `error`
        kNothingLeft,  // as the server says, before `last` has come
        kSilence,
    };
    // `position` becomes that of the last message.
    End readOn(natsSubscription* list, const Reading& how, std::uint64_t& position,
               const MessageTaker& take, std::string& error);

    const Settings settings;
    std::atomic<bool> cancelled{false};

    natsConnection* connection = nullptr;  // null while down
    natsSubscription* answers = nullptr;   // to `inbox`.*
    std::string inbox;
    std::uint64_t asked = 0;       // the number of the last question
    std::unique_ptr<Watch> watch;  // what the library's threads tell; outlives connection
};

#endif  // AGENT_NATS_NATSLINK_H
