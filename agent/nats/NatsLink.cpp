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

constexpr milliseconds kAfterProblem(300);  // for further answers once something was refused
constexpr milliseconds kToClose(5000);
constexpr std::int64_t kLongestConnect = 5000;  // milliseconds, for one server

constexpr char kExpected[] = "Nats-Expected-Last-Subject-Sequence";

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
    const bool isMade = status == NATS_OK;
    if (isMade) status = natsConnection_PublishMsg(connection, made);
    if (status == NATS_OK) return true;
    const bool never = status == NATS_MAX_PAYLOAD || status == NATS_INVALID_SUBJECT;
    // A connection that breaks while it takes a message may have passed on all of it.
    const Answer::Kind otherwise = isMade ? Answer::Kind::kUnclear : Answer::Kind::kLater;
    failed = {never ? Answer::Kind::kNever : otherwise, 0, reasonOf(status)};
    return false;
}

template <typename Take>
bool NatsLink::collect(std::int64_t limitMs, Take&& take) {
    const auto end = SteadyClock::now() + milliseconds(limitMs);
    auto patience = end;
    while (!cancelled && SteadyClock::now() < std::min(end, patience)) {
        natsMsg* message = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&message, answers, kNatsSlice.count());
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

// --- the module ---

extern "C" {

__attribute__((visibility("default"))) int raidwatchFleetVersion() { return FleetLink::kVersion; }

__attribute__((visibility("default"))) FleetLink* raidwatchFleetOpen(
    const FleetLink::Settings& settings) {
    return new NatsLink(settings);
}
}
