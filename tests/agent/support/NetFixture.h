// What the tests of the network sinks share: servers, certificates, records, and a look at what
// arrived.
#ifndef TESTS_AGENT_SUPPORT_NETFIXTURE_H
#define TESTS_AGENT_SUPPORT_NETFIXTURE_H

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/settings/AgentSettings.h"
#include "agent/spool/Record.h"
#include "tests/agent/support/ServerProcess.h"
#include "tests/support/TempDir.h"

namespace net {

constexpr const char* kPython = "/usr/bin/python3";  // the one that Debian's modules are for
constexpr const char* kId = "6f1a2b3c-0000-4000-8000-1234567890ab:42";

inline std::string supportFile(const std::string& name) {
    return std::string(QEL_SOURCE_DIR) + "/tests/agent/support/" + name;
}

// What a command prints; "" when it fails.
inline std::string outputOf(const std::string& command) {
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return std::string();
    std::string all;
    char bytes[4096];
    for (std::size_t size = 0; (size = std::fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
        all.append(bytes, size);
    }
    const int status = pclose(pipe);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? all : std::string();
}

// A key and a certificate for 127.0.0.1 that is its own issuer: NAME.key and NAME.pem.
inline bool makeCertificate(const TempDir& dir, const std::string& name) {
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
        "-subj /CN=" +
        name + " -addext subjectAltName=IP:127.0.0.1,DNS:localhost -keyout " +
        dir.file(name + ".key") + " -out " + dir.file(name + ".pem") + " 2>/dev/null";
    return std::system(command.c_str()) == 0;  // NOLINT(concurrency-mt-unsafe)
}

inline std::vector<nlohmann::json> jsonLines(const std::string& text) {
    std::vector<nlohmann::json> all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) all.push_back(nlohmann::json::parse(line));
    return all;
}

// An incident of one drive, as a notice of that kind.
inline Record noticeRecord(Notice::Kind kind, std::int64_t sequence = 42) {
    Record record;
    record.kind = Record::Kind::kNotice;
    record.sequence = sequence;
    record.at = 1795238412000 + sequence;
    record.object = "drive:S7K2M9Q0";
    record.objectName = "drive 1:0:3";
    record.incident = 7;
    record.notice.kind = kind;
    record.notice.subject = "FAILED drive 1:0:3 on box";
    record.notice.body = "Drive 1:0:3 has failed.\nReplace it.\n";
    Incident& incident = record.notice.incident;
    incident.id = 7;
    incident.object = record.object;
    incident.objectName = record.objectName;
    incident.condition = "drive";
    incident.value = kind == Notice::Kind::kResolved ? "normal" : "failed";
    incident.severity = kind == Notice::Kind::kResolved ? kEventInformation : kEventError;
    incident.open = kind != Notice::Kind::kResolved;
    incident.openedAt = 1795238400;
    incident.resolvedAt = incident.open ? 0 : 1795242000;
    incident.code = 404;
    incident.text = "Drive failed: drive 1:0:3";
    return record;
}

inline Record eventRecord() {
    Record record;
    record.sequence = 41;
    record.at = 1795238411000;
    record.object = "drive:S7K2M9Q0";
    record.objectName = "drive 1:0:3";
    record.event =
        QELEvent(404, kEventError, "Drive failed: drive 1:0:3", "EVENT_TORVEX_PD_STATE_FAILED");
    record.event.timeStamp = 1795238410;
    return record;
}

inline SinkSettings settingsOf(const std::string& type) {
    SinkSettings settings;
    settings.name = "ops";
    settings.type = type;
    settings.where = "/etc/raidwatch/raidwatch.toml:12";
    settings.timeout = 20;
    return settings;
}

// The line of the Failure that `make` throws; "" when it does not.
template <typename Make>
std::string failureOf(const Make& make) {
    try {
        make();
    } catch (const Failure& e) {
        return e.what();
    }
    return std::string();
}

}  // namespace net

#endif  // TESTS_AGENT_SUPPORT_NETFIXTURE_H
