#include "agent/nats/NatsLink.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <random>
#include <utility>

#include "agent/nats/PublishAnswer.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kSlice(100);         // between two looks at `cancelled`
constexpr milliseconds kAfterProblem(300);  // for further answers once something was refused
constexpr milliseconds kToClose(5000);
constexpr std::int64_t kLongestConnect = 5000;  // milliseconds, for one server
constexpr std::int64_t kLongestGet = 5000;      // the same
constexpr std::int64_t kNanos = 1000000000;

constexpr char kExpected[] = "Nats-Expected-Last-Subject-Sequence";
constexpr char kInstance[] = "Raidwatch-Instance";

template <typename Thing, void (*destroy)(Thing*)>
struct Destroyer {
    void operator()(Thing* thing) const { destroy(thing); }
};

using Options = std::unique_ptr<natsOptions, Destroyer<natsOptions, natsOptions_Destroy>>;
using OwnMessage = std::unique_ptr<natsMsg, Destroyer<natsMsg, natsMsg_Destroy>>;
using Stream = std::unique_ptr<jsCtx, Destroyer<jsCtx, jsCtx_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroyer<jsStreamInfo, jsStreamInfo_Destroy>>;
using ConsumerInfo =
    std::unique_ptr<jsConsumerInfo, Destroyer<jsConsumerInfo, jsConsumerInfo_Destroy>>;
using MetaData = std::unique_ptr<jsMsgMetaData, Destroyer<jsMsgMetaData, jsMsgMetaData_Destroy>>;
using Store = std::unique_ptr<kvStore, Destroyer<kvStore, kvStore_Destroy>>;

// A subscription that the server forgets, too.
struct EndSubscription {
    void operator()(natsSubscription* list) const {
        (void)natsSubscription_Unsubscribe(list);  // on a connection that is gone there is none
        natsSubscription_Destroy(list);
    }
};
using List = std::unique_ptr<natsSubscription, EndSubscription>;

// "(conn.c:2088): No server ..." without the place in the library.
std::string plainReason(const std::string& text) {
    const std::size_t end = text.find("): ");
    return text.front() == '(' && end != std::string::npos ? text.substr(end + 3) : text;
}

// What the library says of its last failure on this thread, or what the number means.
std::string reasonOf(natsStatus status) {
    natsStatus known = NATS_OK;
    const char* const text = nats_GetLastError(&known);
    if (known == status && text != nullptr && *text != 0) return plainReason(text);
    return natsStatus_GetText(status);
}

std::string headerOf(natsMsg* message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value != nullptr ? value : "";
}

std::string bodyOf(const natsMsg* message) {
    const char* const data = natsMsg_GetData(message);
    const int length = natsMsg_GetDataLength(message);
    return length <= 0 ? std::string() : std::string(data, static_cast<std::size_t>(length));
}

std::string randomWord() {
    std::random_device device;
    std::string word;
    for (int i = 0; i < 16; ++i) word += "0123456789abcdef"[device() % 16];
    return word;
}

// "2026-11-21T05:30:12.345678901Z", as milliseconds; 0 for anything else.
std::int64_t millisecondsOf(const std::string& text) {
    std::tm parts{};
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr) return 0;
    const double fraction = *rest == '.' ? std::strtod(rest, nullptr) : 0;
    return timegm(&parts) * 1000 + static_cast<std::int64_t>(fraction * 1000);
}

std::string keySubject(const std::string& bucket, const std::string& key) {
    return "$KV." + bucket + "." + key;
}

}  // namespace

// What the library's own threads have to tell.
struct NatsLink::Watch {
    std::mutex mutex;
    std::condition_variable changed;
    std::string problem;  // the first one of this connection
    bool closed = false;

    static void failed(natsConnection* nc, natsSubscription*, natsStatus status, void* self) {
        const char* text = nullptr;
        const bool told = natsConnection_GetLastError(nc, &text) != NATS_OK && text != nullptr;
        auto* const watch = static_cast<Watch*>(self);
        const std::lock_guard<std::mutex> lock(watch->mutex);
        if (watch->problem.empty()) watch->problem = told ? text : natsStatus_GetText(status);
        watch->changed.notify_all();
    }
    static void ended(natsConnection*, void* self) {
        auto* const watch = static_cast<Watch*>(self);
        const std::lock_guard<std::mutex> lock(watch->mutex);
        watch->closed = true;
        watch->changed.notify_all();
    }
};

NatsLink::NatsLink(Settings settingsIN) : settings(std::move(settingsIN)) {}

NatsLink::~NatsLink() { drop(); }

// --- the connection ---

bool NatsLink::isUp() {
    return connection != nullptr && natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED;
}

std::string NatsLink::connect() {
    if (isUp()) return std::string();
    drop();
    if (cancelled) return "cancelled";
    natsOptions* made = nullptr;
    const natsStatus status = natsOptions_Create(&made);
    if (status != NATS_OK) return reasonOf(status);
    const Options options(made);
    const std::string wrong = setOptions(options.get());
    return wrong.empty() ? open(options.get()) : wrong;
}

std::string NatsLink::setOptions(natsOptions* options) const {
    std::string wrong;
    const auto with = [&](natsStatus status, const std::string& what) {
        if (status != NATS_OK && wrong.empty()) wrong = what + ": " + reasonOf(status);
    };
    std::vector<const char*> urls;
    bool secure = !settings.caFile.empty() || !settings.certFile.empty();
    for (const std::string& url : settings.urls) {
        urls.push_back(url.c_str());
        secure = secure || url.compare(0, 6, "tls://") == 0;
    }
    const auto count = static_cast<std::int64_t>(std::max<std::size_t>(urls.size(), 1));
    const std::int64_t share = std::max<std::int64_t>(settings.timeoutMs / count, 1000);
    with(natsOptions_SetServers(options, urls.data(), static_cast<int>(urls.size())), "urls");
    with(natsOptions_SetTimeout(options, std::min(share, kLongestConnect)), "timeout");
    with(natsOptions_SetAllowReconnect(options, false), "connection");
    with(natsOptions_SetName(options, settings.client.c_str()), "name");
    if (!settings.inbox.empty()) {
        with(natsOptions_SetCustomInboxPrefix(options, settings.inbox.c_str()), "inbox");
    }
    if (secure) with(natsOptions_SetSecure(options, true), "TLS");
    if (!settings.caFile.empty()) {
        with(natsOptions_LoadCATrustedCertificates(options, settings.caFile.c_str()),
             settings.caFile);
    }
    if (!settings.certFile.empty()) {
        with(natsOptions_LoadCertificatesChain(options, settings.certFile.c_str(),
                                               settings.keyFile.c_str()),
             settings.certFile + " with " + settings.keyFile);
    }
    if (!settings.user.empty()) {
        with(natsOptions_SetUserInfo(options, settings.user.c_str(), settings.password.c_str()),
             "user");
    }
    if (!settings.token.empty())
        with(natsOptions_SetToken(options, settings.token.c_str()), "token");
    if (!settings.credentialsFile.empty()) {
        with(natsOptions_SetUserCredentialsFromFiles(options, settings.credentialsFile.c_str(),
                                                     nullptr),
             settings.credentialsFile);
    }
    if (!settings.nkey.empty()) {
        with(natsOptions_SetNKeyFromSeed(options, settings.nkey.c_str(),
                                         settings.nkeySeedFile.c_str()),
             settings.nkeySeedFile);
    }
    return wrong;
}

std::string NatsLink::open(natsOptions* options) {
    watch = std::make_unique<Watch>();
    natsStatus status = natsOptions_SetErrorHandler(options, Watch::failed, watch.get());
    if (status == NATS_OK) {
        status = natsOptions_SetClosedCB(options, Watch::ended, watch.get());
    }
    if (status != NATS_OK) return reasonOf(status);
    status = natsConnection_Connect(&connection, options);
    if (status != NATS_OK) {
        connection = nullptr;
        return "cannot connect (" + reasonOf(status) + ")";
    }
    inbox = (settings.inbox.empty() ? "_INBOX" : settings.inbox) + "." + randomWord();
    status = natsConnection_SubscribeSync(&answers, connection, (inbox + ".*").c_str());
    if (status == NATS_OK) return std::string();
    const std::string why = reasonOf(status);
    drop();
    return "cannot listen for answers (" + why + ")";
}

void NatsLink::drop() {
    if (answers != nullptr) natsSubscription_Destroy(answers);
    answers = nullptr;
    if (connection == nullptr) return;
    natsConnection_Close(connection);
    {
        // The last call of the library's threads for this connection; until then they use `watch`.
        std::unique_lock<std::mutex> lock(watch->mutex);
        if (!watch->changed.wait_for(lock, kToClose, [this] { return watch->closed; })) {
            lock.unlock();
            (void)watch.release();  // a few bytes are better than a call into freed memory
        }
    }
    natsConnection_Destroy(connection);
    connection = nullptr;
}

std::string NatsLink::firstProblem() const {
    if (watch == nullptr) return std::string();
    const std::lock_guard<std::mutex> lock(watch->mutex);
    return watch->problem;
}

std::string NatsLink::later(const std::string& what) const {
    const std::string problem = firstProblem();
    return problem.empty() ? what : what + " (" + problem + ")";
}

// --- questions and answers ---

std::string NatsLink::replyTo(std::uint64_t number) const {
    return inbox + "." + std::to_string(number);
}

bool NatsLink::send(const Message& message, std::uint64_t number, Answer& failed) {
    natsMsg* made = nullptr;
    natsStatus status = natsMsg_Create(&made, message.subject.c_str(), replyTo(number).c_str(),
                                       message.body.data(), static_cast<int>(message.body.size()));
    const OwnMessage own(made);
    if (status == NATS_OK && !message.id.empty()) {
        status = natsMsgHeader_Set(made, "Nats-Msg-Id", message.id.c_str());
    }
    for (const auto& [name, value] : message.headers) {
        if (status == NATS_OK) status = natsMsgHeader_Set(made, name.c_str(), value.c_str());
    }
    if (status == NATS_OK) status = natsConnection_PublishMsg(connection, made);
    if (status == NATS_OK) return true;
    const bool never = status == NATS_MAX_PAYLOAD || status == NATS_INVALID_SUBJECT;
    failed = {never ? Answer::Kind::kNever : Answer::Kind::kLater, 0, reasonOf(status)};
    return false;
}

template <typename Take>
bool NatsLink::collect(std::int64_t limitMs, Take&& take) {
    const auto end = SteadyClock::now() + milliseconds(limitMs);
    auto patience = end;
    while (!cancelled && SteadyClock::now() < std::min(end, patience)) {
        natsMsg* message = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&message, answers, kSlice.count());
        if (status == NATS_TIMEOUT) {
            if (patience == end && !firstProblem().empty()) {
                patience = SteadyClock::now() + kAfterProblem;
            }
            continue;
        }
        // Nobody takes one of our questions; the library does not say which.
        if (status == NATS_NO_RESPONDERS) {
            if (take(0, nullptr)) return true;
            continue;
        }
        if (status != NATS_OK) return false;
        const OwnMessage own(message);
        const std::string subject = natsMsg_GetSubject(message);
        const std::string number = subject.substr(subject.rfind('.') + 1);
        if (take(std::strtoull(number.c_str(), nullptr, 10), message)) return true;
    }
    return false;
}

std::vector<FleetLink::Answer> NatsLink::publish(const std::vector<Message>& messages) {
    std::vector<Answer> all(messages.size());
    const std::string wrong = connect();
    for (Answer& answer : all) answer.text = wrong;
    if (!wrong.empty()) return all;

    const std::uint64_t first = asked + 1;
    std::vector<bool> open(messages.size());
    std::size_t waiting = 0;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        open[i] = send(messages[i], ++asked, all[i]);
        if (open[i]) ++waiting;
    }
    const auto take = [&](std::uint64_t number, natsMsg* message) {
        // As many questions without a taker are left open in the end.
        if (message == nullptr) return --waiting == 0;
        const std::uint64_t index = number - first;  // an answer that comes late is far beyond
        if (number < first || index >= all.size() || !open[index]) return false;
        all[index] = publishAnswer(bodyOf(message));
        open[index] = false;
        return --waiting == 0;
    };
    if (waiting == 0 || collect(settings.timeoutMs, take)) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (open[i]) all[i] = {Answer::Kind::kNoStream, 0, "no stream takes it"};
        }
        return all;
    }
    // What the server did with these nobody knows; a fresh connection and the same ids will tell.
    const std::string why = later(cancelled ? "cancelled" : "no acknowledgement");
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (open[i]) all[i] = {Answer::Kind::kUnclear, 0, why};
    }
    drop();
    return all;
}

FleetLink::Put NatsLink::put(const std::string& bucket, const std::string& key,
                             const std::string& value, std::uint64_t* revision,
                             std::string& error) {
    Message message{keySubject(bucket, key), "", {}, value};
    if (revision != nullptr) message.headers.emplace_back(kExpected, std::to_string(*revision));
    const Answer answer = publish({message}).front();
    error = answer.text;
    switch (answer.kind) {
        case Answer::Kind::kStored:
        case Answer::Kind::kDuplicate:
            if (revision != nullptr) *revision = answer.position;
            return Put::kDone;
        case Answer::Kind::kNoStream:
            error = "there is no bucket " + bucket;
            return Put::kNoBucket;
        case Answer::Kind::kLater:
            return answer.position == kNatsWrongLast ? Put::kOther : Put::kFailed;
        case Answer::Kind::kUnclear:
        case Answer::Kind::kNever:
            break;
    }
    return Put::kFailed;
}

// By the question that an account can be held to: it has the key in its subject.
std::string NatsLink::get(const std::string& bucket, const std::string& key, bool& found,
                          Entry& entry) {
    found = false;
    const std::string wrong = connect();
    if (!wrong.empty()) return wrong;
    const std::uint64_t number = ++asked;
    Answer failed;
    const std::string subject = "$JS.API.DIRECT.GET.KV_" + bucket + "." + keySubject(bucket, key);
    if (!send({subject, "", {}, ""}, number, failed)) return failed.text;
    std::string error;
    const auto take = [&](std::uint64_t answered, natsMsg* message) {
        if (message == nullptr) {
            error = "there is no bucket " + bucket;
            return true;
        }
        if (answered != number) return false;
        const std::string status = headerOf(message, "Status");
        if (!status.empty() && status != "404") {
            error = "the server answers " + status + " " + headerOf(message, "Description");
        } else if (status.empty() && headerOf(message, "KV-Operation").empty()) {
            found = true;
            entry.value = bodyOf(message);
            entry.revision = std::strtoull(headerOf(message, "Nats-Sequence").c_str(), nullptr, 10);
            entry.at = millisecondsOf(headerOf(message, "Nats-Time-Stamp"));
        }
        return true;
    };
    if (collect(std::min(settings.timeoutMs, kLongestGet), take)) return error;
    error = later(cancelled ? "cancelled" : "no answer about " + key);
    drop();
    return error;
}

// --- streams and buckets ---

std::string NatsLink::makeStream(const Plan& plan) {
    const std::string wrong = connect();
    if (!wrong.empty()) return wrong;
    jsOptions patience;
    (void)jsOptions_Init(&patience);  // sets members, cannot fail
    patience.Wait = std::min(settings.timeoutMs, kLongestGet);
    jsCtx* made = nullptr;
    natsStatus status = natsConnection_JetStream(&made, connection, &patience);
    const Stream js(made);
    if (status != NATS_OK) return reasonOf(status);
    jsStreamInfo* info = nullptr;
    jsErrCode code{};
    status = js_GetStreamInfo(&info, made, plan.stream.c_str(), nullptr, &code);
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
    status = js_AddStream(&info, made, &config, nullptr, &code);
    (void)StreamInfo(info);
    return status == NATS_OK ? std::string() : later(reasonOf(status));
}

std::string NatsLink::makeBucket(const Plan& plan) {
    const std::string wrong = connect();
    if (!wrong.empty()) return wrong;
    jsOptions patience;
    (void)jsOptions_Init(&patience);  // sets members, cannot fail
    patience.Wait = std::min(settings.timeoutMs, kLongestGet);
    jsCtx* made = nullptr;
    natsStatus status = natsConnection_JetStream(&made, connection, &patience);
    const Stream js(made);
    if (status != NATS_OK) return reasonOf(status);
    kvStore* store = nullptr;
    status = js_KeyValue(&store, made, plan.stream.c_str());
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
    status = js_CreateKeyValue(&store, made, &config);
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
    const std::string wrong = connect();
    if (!wrong.empty()) return wrong;
    jsOptions patience;
    (void)jsOptions_Init(&patience);  // sets members, cannot fail
    patience.Wait = std::min(settings.timeoutMs, kLongestGet);
    jsCtx* made = nullptr;
    natsStatus status = natsConnection_JetStream(&made, connection, &patience);
    const Stream js(made);
    if (status != NATS_OK) return reasonOf(status);
    // Without `follow` only what is there now: machines that go on sending may be faster than we.
    jsStreamInfo* info = nullptr;
    jsErrCode code{};
    status = js_GetStreamInfo(&info, made, stream.c_str(), nullptr, &code);
    const StreamInfo own(info);
    if (status == NATS_NOT_FOUND) return "there is no stream " + stream;
    if (status == NATS_NO_RESPONDERS) return "JetStream is switched off there";
    if (status != NATS_OK) return later(reasonOf(status));
    const std::uint64_t last = info->State.LastSeq;

    wanted->Stream = stream.c_str();
    wanted->Ordered = true;
    natsSubscription* subscribed = nullptr;
    status = js_SubscribeSync(&subscribed, made, subject.c_str(), nullptr, wanted, &code);
    if (status != NATS_OK) return later(reasonOf(status));
    const List list(subscribed);
    return readOn(subscribed, follow, last, take);
}

std::string NatsLink::readOn(natsSubscription* list, bool follow, std::uint64_t last,
                             const MessageTaker& take) {
    if (!follow) {
        jsConsumerInfo* info = nullptr;
        const natsStatus status = natsSubscription_GetConsumerInfo(&info, list, nullptr, nullptr);
        const ConsumerInfo own(info);
        if (status != NATS_OK) return later(reasonOf(status));
        if (info->NumPending == 0 && info->Delivered.Consumer == 0) return std::string();
    }
    auto end = SteadyClock::now() + milliseconds(settings.timeoutMs);
    for (;;) {
        natsMsg* message = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&message, list, kSlice.count());
        if (cancelled) return std::string();
        if (status == NATS_TIMEOUT) {
            if (follow && !take(nullptr, nullptr)) return std::string();
            if (!follow && SteadyClock::now() > end) return later("the server stopped sending");
            continue;
        }
        if (status != NATS_OK) return later(reasonOf(status));
        const OwnMessage own(message);
        jsMsgMetaData* place = nullptr;
        if (natsMsg_GetMetaData(&place, message) != NATS_OK) continue;  // a heartbeat
        const MetaData ownPlace(place);
        end = SteadyClock::now() + milliseconds(settings.timeoutMs);
        if (!take(message, place)) return std::string();
        if (!follow && (place->NumPending == 0 || place->Sequence.Stream >= last)) {
            return std::string();
        }
    }
}

// --- the module ---

extern "C" {

__attribute__((visibility("default"))) int raidwatchFleetVersion() { return FleetLink::kVersion; }

__attribute__((visibility("default"))) FleetLink* raidwatchFleetOpen(
    const FleetLink::Settings& settings) {
    return new NatsLink(settings);
}
}
