// Streams and buckets of NatsLink: made where there are none, and read.
#include "agent/nats/NatsLink.h"

#include <algorithm>

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kNanos = 1000000000;
constexpr std::int64_t kSecondLook = 5000;  // milliseconds, for what a server may have miscounted
constexpr char kInstance[] = "Raidwatch-Instance";

}  // namespace

// --- streams and buckets ---

std::string NatsLink::openStreams(Stream& js) {
    const std::string wrong = connect();
    if (!wrong.empty()) return wrong;
    jsOptions patience;
    (void)jsOptions_Init(&patience);  // sets members, cannot fail
    patience.Wait = std::min(settings.timeoutMs, kLongestGet);
    jsCtx* made = nullptr;
    const natsStatus status = natsConnection_JetStream(&made, connection, &patience);
    js.reset(made);
    return status == NATS_OK ? std::string() : reasonOf(status);
}

std::string NatsLink::makeStream(const Plan& plan) {
    Stream js;
    const std::string wrong = openStreams(js);
    if (!wrong.empty()) return wrong;
    jsStreamInfo* info = nullptr;
    jsErrCode code{};
    natsStatus status = js_GetStreamInfo(&info, js.get(), plan.stream.c_str(), nullptr, &code);
    if (StreamInfo(info) != nullptr) return std::string();
    if (status == NATS_NO_RESPONDERS) {
        return "JetStream is switched off there; add a jetstream block to the server's "
               "configuration";
    }
    if (status != NATS_NOT_FOUND) return later(reasonOf(status));

    std::vector<const char*> subjects;
    for (const std::string& subject : plan.subjects) subjects.push_back(subject.c_str());
    jsStreamConfig config;
    (void)jsStreamConfig_Init(&config);  // sets members, cannot fail
    config.Name = plan.stream.c_str();
    config.Description = "events of raidwatch";
    config.Subjects = subjects.data();
    config.SubjectsLen = static_cast<int>(subjects.size());
    config.Replicas = plan.copies;
    config.MaxAge = plan.maxAgeSeconds * kNanos;
    if (plan.maxBytes > 0) config.MaxBytes = plan.maxBytes;
    config.Duplicates = plan.windowSeconds * kNanos;
    info = nullptr;
    status = js_AddStream(&info, js.get(), &config, nullptr, &code);
    (void)StreamInfo(info);
    return status == NATS_OK ? std::string() : later(reasonOf(status));
}

std::string NatsLink::makeBucket(const Plan& plan) {
    Stream js;
    const std::string wrong = openStreams(js);
    if (!wrong.empty()) return wrong;
    kvStore* store = nullptr;
    natsStatus status = js_KeyValue(&store, js.get(), plan.stream.c_str());
    if (Store(store) != nullptr) return std::string();
    if (status != NATS_NOT_FOUND) return later(reasonOf(status));
    kvConfig config;
    (void)kvConfig_Init(&config);  // sets members, cannot fail
    config.Bucket = plan.stream.c_str();
    config.Description = "state of raidwatch";
    config.History = 1;
    config.TTL = plan.maxAgeSeconds * kNanos;
    if (plan.maxBytes > 0) config.MaxBytes = plan.maxBytes;
    config.Replicas = plan.copies;
    store = nullptr;
    status = js_CreateKeyValue(&store, js.get(), &config);
    (void)Store(store);
    return status == NATS_OK ? std::string() : later(reasonOf(status));
}

// --- reading ---

std::string NatsLink::readBucket(
    const std::string& bucket,
    const std::function<void(const std::string& key, const Entry& entry)>& take) {
    const std::string begin = keySubject(bucket, "");
    jsSubOptions wanted;
    (void)jsSubOptions_Init(&wanted);  // sets members, cannot fail
    wanted.Config.DeliverPolicy = js_DeliverLastPerSubject;
    return stepThrough(
        "KV_" + bucket, begin + ">", &wanted, false,
        [&](natsMsg* message, const jsMsgMetaData* place) {
            if (message == nullptr || !headerOf(message, "KV-Operation").empty()) {
                return true;
            }
            const std::string subject = natsMsg_GetSubject(message);
            take(subject.substr(std::min(begin.size(), subject.size())),
                 {bodyOf(message), place->Sequence.Stream, place->Timestamp / 1000000});
            return true;
        });
}

std::string NatsLink::readStream(const std::string& stream, const std::string& subject,
                                 std::int64_t sinceSeconds, bool follow,
                                 const std::function<bool(const StreamMessage*)>& take) {
    jsSubOptions wanted;
    (void)jsSubOptions_Init(&wanted);  // sets members, cannot fail
    if (sinceSeconds > 0) {
        wanted.Config.DeliverPolicy = js_DeliverByStartTime;
        wanted.Config.OptStartTime = sinceSeconds * kNanos;
    }
    return stepThrough(
        stream, subject, &wanted, follow, [&](natsMsg* message, const jsMsgMetaData* place) {
            if (message == nullptr) return take(nullptr);
            const StreamMessage read{natsMsg_GetSubject(message),  headerOf(message, "Nats-Msg-Id"),
                                     headerOf(message, kInstance), place->Sequence.Stream,
                                     place->Timestamp / 1000000,   bodyOf(message)};
            return take(&read);
        });
}

std::string NatsLink::stepThrough(const std::string& stream, const std::string& subject,
                                  jsSubOptions* wanted, bool follow, const MessageTaker& take) {
    Stream js;
    const std::string wrong = openStreams(js);
    if (!wrong.empty()) return wrong;
    // Without `follow` only what is there now: machines that go on sending may be faster than we.
    jsStreamInfo* info = nullptr;
    jsErrCode code{};
    natsStatus status = js_GetStreamInfo(&info, js.get(), stream.c_str(), nullptr, &code);
    const StreamInfo own(info);
    if (status == NATS_NOT_FOUND) return "there is no stream " + stream;
    if (status == NATS_NO_RESPONDERS) return "JetStream is switched off there";
    if (status != NATS_OK) return later(reasonOf(status));
    const std::uint64_t last = info->State.LastSeq;

    wanted->Stream = stream.c_str();
    wanted->Ordered = true;
    std::uint64_t position = 0;
    for (bool again = false;; again = true) {
        natsSubscription* subscribed = nullptr;
        status = js_SubscribeSync(&subscribed, js.get(), subject.c_str(), nullptr, wanted, &code);
        if (status != NATS_OK) return later(reasonOf(status));
        const List list(subscribed);
        std::string error;
        if (!follow && isEmpty(subscribed, error)) return error;
        const std::int64_t patience = again ? kSecondLook : settings.timeoutMs;
        const End end = readOn(subscribed, {follow, last, patience}, position, take, error);
        if (end == End::kAll) return error;
        // The second time silence says it, too.
        if (end == End::kSilence) return again ? "" : later("the server stopped sending");
        // The server counted what was left, and one that was killed may have counted wrongly. So
        // it is asked again, from behind what has come: then it has nothing to remember.
        wanted->Config.DeliverPolicy = js_DeliverByStartSequence;
        wanted->Config.OptStartTime = 0;
        wanted->Config.OptStartSeq = position + 1;
    }
}

// Nothing is there for it; also with `error`.
bool NatsLink::isEmpty(natsSubscription* list, std::string& error) {
    jsConsumerInfo* info = nullptr;
    const natsStatus status = natsSubscription_GetConsumerInfo(&info, list, nullptr, nullptr);
    const ConsumerInfo own(info);
    if (status != NATS_OK) error = later(reasonOf(status));
    return status != NATS_OK || (info->NumPending == 0 && info->Delivered.Consumer == 0);
}

NatsLink::End NatsLink::readOn(natsSubscription* list, const Reading& how, std::uint64_t& position,
                               const MessageTaker& take, std::string& error) {
    auto end = SteadyClock::now() + milliseconds(how.patienceMs);
    for (;;) {
        natsMsg* message = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&message, list, kNatsSlice.count());
        if (cancelled) return End::kAll;
        if (status == NATS_TIMEOUT) {
            if (how.follow && !take(nullptr, nullptr)) return End::kAll;
            if (!how.follow && SteadyClock::now() > end) return End::kSilence;
            continue;
        }
        if (status != NATS_OK) {
            error = later(reasonOf(status));
            return End::kAll;
        }
        const OwnMessage own(message);
        jsMsgMetaData* place = nullptr;
        if (natsMsg_GetMetaData(&place, message) != NATS_OK) continue;  // a heartbeat
        const MetaData ownPlace(place);
        end = SteadyClock::now() + milliseconds(how.patienceMs);
        if (!take(message, place)) return End::kAll;
        position = place->Sequence.Stream;
        if (how.follow) continue;
        if (position >= how.last) return End::kAll;
        if (place->NumPending == 0) return End::kNothingLeft;
    }
}
