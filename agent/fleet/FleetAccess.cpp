#include "agent/fleet/FleetAccess.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/SafeText.h"
#include "agent/sinks/BadSinkSetting.h"

namespace {

constexpr std::int64_t kDay = 86400;

std::string cause(const char* what) {
    return std::string(what) + " (" + std::strerror(errno) + ")";
}

std::string wrongPlainFile(const std::string& file, struct stat& info) {
    if (stat(file.c_str(), &info) != 0) return cause("cannot be found");
    if (!S_ISREG(info.st_mode)) return "is no plain file";
    if (access(file.c_str(), R_OK) != 0) return cause("cannot be read");
    if (info.st_uid != 0 && info.st_uid != geteuid()) {
        return "belongs to somebody else; chown it to root";
    }
    return std::string();
}

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

std::string wrongSecretFile(const std::string& file) {
    struct stat info {};
    const std::string wrong = wrongPlainFile(file, info);
    if (!wrong.empty()) return wrong;
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) == 0) return std::string();
    return "can be read by others than its owner; chmod 600 it";
}

std::string wrongTrustedFile(const std::string& file) {
    struct stat info {};
    const std::string wrong = wrongPlainFile(file, info);
    if (!wrong.empty()) return wrong;
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) == 0) return std::string();
    return "can be changed by others than its owner; chmod go-w it";
}

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
