#include "agent/fleet/FleetAccess.h"

#include <arpa/inet.h>

#include <algorithm>

#include "agent/SafeText.h"
#include "agent/settings/SecretFile.h"
#include "agent/sinks/BadSinkSetting.h"

namespace {

constexpr std::int64_t kDay = 86400;

void check(const SinkSettings& settings, const char* key,
           std::string (*wrong)(const std::string& file)) {
    const std::string& file = settings.text(key);
    if (file.empty()) return;
    const std::string what = wrong(file);
    if (what.empty()) return;
    throw BadSinkSetting(settings, std::string(key) + " " + safeText(file) + " " + what);
}

void bothOrNone(const SinkSettings& settings, const char* one, const char* other) {
    if (settings.text(one).empty() == settings.text(other).empty()) return;
    const bool lacksOther = settings.text(other).empty();
    throw BadSinkSetting(settings, std::string(lacksOther ? one : other) + " without " +
                                       (lacksOther ? other : one) + "; name both");
}

// Of the ways to log in, one.
void oneLogin(const SinkSettings& settings) {
    std::string given;
    int count = 0;
    for (const char* key : {"credentials_file", "nkey", "user", "token"}) {
        if (settings.text(key).empty()) continue;
        given += (count++ == 0 ? "" : " and ") + std::string(key);
    }
    if (count > 1) throw BadSinkSetting(settings, given + " are given; log in in one way");
}

// "nats://[::1]:4222" is "[::1]".
std::string hostIn(const std::string& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t from = scheme == std::string::npos ? 0 : scheme + 3;
    const std::string place = url.substr(from, url.find_first_of("/?#", from) - from);
    const std::size_t bracket = place.rfind(']');
    if (bracket != std::string::npos) return place.substr(0, bracket + 1);
    return place.substr(0, place.rfind(':'));
}

bool isThisMachine(const std::string& host) {
    in_addr v4{};
    return host == "localhost" || host == "[::1]" ||
           (host.compare(0, 4, "127.") == 0 && inet_pton(AF_INET, host.c_str(), &v4) == 1);
}

// Keys and credentials only sign what the server asks; a password and a token are sent as they are.
void checkWay(const SinkSettings& settings, const std::vector<std::string>& urls) {
    bool isSecure = !settings.text("ca_file").empty() || !settings.text("cert_file").empty();
    for (const std::string& url : urls) isSecure = isSecure || url.compare(0, 6, "tls://") == 0;
    for (const std::string& url : urls) {
        if (url.find('@') != std::string::npos) {
            throw BadSinkSetting(settings,
                                 "urls holds a user or password; take it out and use user and "
                                 "password_file, or token_file");
        }
        const char* const secret = !settings.text("password").empty() ? "password"
                                   : !settings.text("token").empty()  ? "token"
                                                                      : nullptr;
        if (secret == nullptr || isSecure || isThisMachine(hostIn(url))) continue;
        throw BadSinkSetting(settings, "the " + std::string(secret) +
                                           " could be read on its way; begin urls with tls://");
    }
}

FleetLink::Settings linkOf(const SinkSettings& settings) {
    for (const char* key : {"credentials_file", "nkey_seed_file", "key_file"}) {
        check(settings, key, wrongSecretFile);
    }
    for (const char* key : {"ca_file", "cert_file"}) check(settings, key, wrongTrustedFile);
    bothOrNone(settings, "cert_file", "key_file");
    bothOrNone(settings, "nkey", "nkey_seed_file");
    if (!settings.text("user").empty() && settings.text("password").empty()) {
        throw BadSinkSetting(settings, "user without password_file; name both");
    }
    oneLogin(settings);
    FleetLink::Settings link;
    const auto urls = settings.lists.find("urls");
    if (urls != settings.lists.end()) link.urls = urls->second;
    if (link.urls.empty()) {
        throw BadSinkSetting(settings, "urls is missing; say urls = [\"tls://host:4222\"]");
    }
    checkWay(settings, link.urls);
    link.user = settings.text("user");
    link.password = settings.text("password");
    link.token = settings.text("token");
    link.credentialsFile = settings.text("credentials_file");
    link.nkey = settings.text("nkey");
    link.nkeySeedFile = settings.text("nkey_seed_file");
    link.caFile = settings.text("ca_file");
    link.certFile = settings.text("cert_file");
    link.keyFile = settings.text("key_file");
    link.client = "raidwatch";
    link.timeoutMs = settings.timeout * 1000;
    return link;
}

std::string textOr(const SinkSettings& settings, const char* key, const char* otherwise) {
    const std::string& text = settings.text(key);
    return text.empty() ? otherwise : text;
}

}  // namespace

FleetAccess fleetAccess(const SinkSettings& settings) {
    FleetAccess access;
    access.link = linkOf(settings);
    const std::string stream = textOr(settings, "stream", FleetNames::kDefaultStream);
    const std::string subject = textOr(settings, "subject", FleetNames::kDefaultSubject);
    const std::string badStream = FleetNames::wrongStream(stream);
    if (!badStream.empty()) {
        throw BadSinkSetting(settings, "stream \"" + safeText(stream) + "\" " + badStream);
    }
    const std::string badSubject = FleetNames::wrongSubject(subject);
    if (!badSubject.empty()) {
        throw BadSinkSetting(settings, "subject \"" + safeText(subject) + "\" " + badSubject);
    }
    access.names = FleetNames(stream, subject);
    access.plan.stream = stream;
    access.plan.subjects = {access.names.everySubject()};
    access.plan.copies = static_cast<int>(settings.number("replicas", 1));
    access.plan.maxAgeSeconds = settings.number("max_age", 90 * kDay);
    access.plan.maxBytes = settings.number("max_size", 0);
    access.plan.windowSeconds = settings.number("window", 3600);
    access.mayMake = settings.number("create", 1) != 0;
    access.heartbeat = settings.number("heartbeat", 60);
    access.window = static_cast<std::size_t>(settings.number("in_flight", 64));
    access.send = textOr(settings, "send", "both");
    return access;
}
