#include "agent/settings/SinkKeys.h"

namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kYear = 366 * kDay;
constexpr std::int64_t kKilo = 1024;
constexpr std::int64_t kTera = kKilo * kKilo * kKilo * kKilo;

constexpr const char* kSend =
    "what it is told: notices for people, every event, both, or both without repeats (told)";
constexpr const char* kSendWords = "events|notices|both|told";

}  // namespace

const std::vector<SinkKey>& sinkKeys() {
    // clang-format off
    static const std::vector<SinkKey> rows = {
        {"", "type", SinkKey::kText, true, "what kind of sink it is", "", 0, 0, ""},
        {"", "enabled", SinkKey::kFlag, false, "false switches the sink off", "", 0, 0, "true"},
        {"", "min_severity", SinkKey::kText, false, "the least severity that it is told of; task and progress are for programs", "error|warning|info|task|progress", 0, 0, "info"},
        {"", "objects", SinkKey::kList, false, "only these objects: names or keys with * and ?, as in \"md*\"", "", 0, 0, "[]"},
        {"", "codes", SinkKey::kNumberList, false, "only events of these codes", "", 1, 99999, "[]"},
        {"", "timeout", SinkKey::kSeconds, false, "how long one try may take", "", 1, kHour, "30s"},
        {"", "first_retry", SinkKey::kSeconds, false, "the wait after the first failed try; it doubles each time", "", 1, kDay, "5s"},
        {"", "longest_retry", SinkKey::kSeconds, false, "the longest wait between two tries", "", 1, kDay, "15m"},
        {"", "give_up_after", SinkKey::kSeconds, false, "the age at which a record is given up; 0 never gives up", "", 0, kYear, "7d"},

        {"journal", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "told"},

        {"syslog", "facility", SinkKey::kText, false, "of the messages", "daemon|user|local0|local1|local2|local3|local4|local5|local6|local7", 0, 0, "daemon"},
        {"syslog", "tag", SinkKey::kText, false, "the program name of the messages", "", 0, 0, "raidwatch"},
        {"syslog", "socket", SinkKey::kPath, false, "the socket of the system log", "", 0, 0, "/dev/log"},
        {"syslog", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "told"},

        {"mail", "url", SinkKey::kUrl, false, "the mail server: smtp://HOST:PORT, or smtps:// for TLS from the start", "smtp|smtps", 0, 0, ""},
        {"mail", "from", SinkKey::kText, false, "the sender's address", "", 0, 0, "raidwatch@HOST"},
        {"mail", "to", SinkKey::kList, true, "the addresses that get the mail", "", 0, 0, ""},
        {"mail", "user", SinkKey::kText, false, "the name to log in with", "", 0, 0, ""},
        {"mail", "password", SinkKey::kSecretFile, false, "a file that holds the password", "", 0, 0, ""},
        {"mail", "sendmail", SinkKey::kList, false, "instead of url: a program and its arguments that takes the mail on its input", "", 0, 0, ""},
        {"mail", "tls", SinkKey::kText, false, "whether the connection must be encrypted; if not set, it must, but for this machine itself", "required|optional|never", 0, 0, ""},
        {"mail", "ca_file", SinkKey::kPath, false, "certificates to trust instead of the system's", "", 0, 0, ""},
        {"mail", "subject_prefix", SinkKey::kText, false, "what every subject begins with", "", 0, 0, ""},

        {"exec", "command", SinkKey::kList, false, "a program, by its full path, and its arguments", "", 0, 0, ""},
        {"exec", "dir", SinkKey::kPath, false, "a folder; every program in it is run, in name order", "", 0, 0, ""},
        {"exec", "style", SinkKey::kText, false, "which arguments and variables it gets: ours, or those of another monitor", "raidwatch|mdadm|smartd", 0, 0, "raidwatch"},
        {"exec", "jobs", SinkKey::kNumber, false, "how many programs may run at once", "", 1, 64, "4"},
        {"exec", "user", SinkKey::kText, false, "the user to run as", "", 0, 0, ""},
        {"exec", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "notices"},

        {"webhook", "url", SinkKey::kUrl, true, "where to send the request", "http|https", 0, 0, ""},
        {"webhook", "method", SinkKey::kText, false, "of the request", "POST|PUT|PATCH|GET", 0, 0, "POST"},
        {"webhook", "headers", SinkKey::kTable, false, "further headers; {{subject}} and the like work here too", "", 0, 0, ""},
        {"webhook", "template", SinkKey::kText, false, "the body, with {{subject}} and the like; without it the record as JSON", "", 0, 0, ""},
        {"webhook", "content_type", SinkKey::kText, false, "of the body; if not set, that of JSON", "", 0, 0, ""},
        {"webhook", "token", SinkKey::kSecretFile, false, "a file that holds the token; sent as \"Authorization: Bearer\"", "", 0, 0, ""},
        {"webhook", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "both"},
        {"webhook", "ca_file", SinkKey::kPath, false, "certificates to trust instead of the system's", "", 0, 0, ""},
        {"webhook", "cert_file", SinkKey::kPath, false, "our certificate, for servers that ask for one", "", 0, 0, ""},
        {"webhook", "key_file", SinkKey::kPath, false, "the key of our certificate", "", 0, 0, ""},
        {"webhook", "unix_socket", SinkKey::kPath, false, "connect to this socket instead of to the host of url", "", 0, 0, ""},

        {"alertmanager", "urls", SinkKey::kUrlList, true, "every instance of the cluster; each is told", "http|https", 0, 0, ""},
        {"alertmanager", "labels", SinkKey::kTable, false, "further labels of every alert", "", 0, 0, ""},
        {"alertmanager", "token", SinkKey::kSecretFile, false, "a file that holds the token; sent as \"Authorization: Bearer\"", "", 0, 0, ""},
        {"alertmanager", "ca_file", SinkKey::kPath, false, "certificates to trust instead of the system's", "", 0, 0, ""},

        {"nats", "urls", SinkKey::kUrlList, true, "the servers, as tls://HOST:4222; one that answers is enough", "nats|tls", 0, 0, ""},
        {"nats", "credentials_file", SinkKey::kPath, false, "a file with the credentials of this machine's account", "", 0, 0, ""},
        {"nats", "nkey", SinkKey::kText, false, "the public key to log in with", "", 0, 0, ""},
        {"nats", "nkey_seed_file", SinkKey::kPath, false, "a file that holds the seed of nkey", "", 0, 0, ""},
        {"nats", "user", SinkKey::kText, false, "the name to log in with", "", 0, 0, ""},
        {"nats", "password", SinkKey::kSecretFile, false, "a file that holds the password", "", 0, 0, ""},
        {"nats", "token", SinkKey::kSecretFile, false, "a file that holds the token to log in with", "", 0, 0, ""},
        {"nats", "ca_file", SinkKey::kPath, false, "certificates to trust instead of the system's", "", 0, 0, ""},
        {"nats", "cert_file", SinkKey::kPath, false, "our certificate, for servers that ask for one", "", 0, 0, ""},
        {"nats", "key_file", SinkKey::kPath, false, "the key of our certificate", "", 0, 0, ""},
        {"nats", "stream", SinkKey::kText, false, "the stream; its buckets are called after it", "", 0, 0, "RAIDWATCH"},
        {"nats", "subject", SinkKey::kText, false, "what the subjects of the stream begin with", "", 0, 0, "raidwatch.v1"},
        {"nats", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "both"},
        {"nats", "heartbeat", SinkKey::kSeconds, false, "how often the machine says that it lives", "", 5, kHour, "60s"},
        {"nats", "in_flight", SinkKey::kNumber, false, "how many records may wait for their acknowledgement at once", "", 1, 1000, "64"},
        {"nats", "create", SinkKey::kFlag, false, "whether to make stream and buckets where there are none", "", 0, 0, "true"},
        {"nats", "replicas", SinkKey::kNumber, false, "of a stream that is made: on how many servers of the cluster", "", 1, 5, "1"},
        {"nats", "max_age", SinkKey::kSeconds, false, "of a stream that is made: how long it keeps a record; 0 for ever", "", 0, 20 * kYear, "90d"},
        {"nats", "max_size", SinkKey::kSize, false, "of a stream that is made: beyond it the oldest records go", "", 1024 * kKilo, 1024 * kTera, ""},
        {"nats", "window", SinkKey::kSeconds, false, "of a stream that is made: how long it recognises a repeat", "", 1, 7 * kDay, "1h"},

        {"file", "path", SinkKey::kPath, true, "the file; one JSON object per line", "", 0, 0, ""},
        {"file", "max_size", SinkKey::kSize, false, "the size at which a new file begins", "", 4 * kKilo, kTera, "10M"},
        {"file", "keep", SinkKey::kNumber, false, "how many old files stay", "", 0, 1000, "5"},
        {"file", "send", SinkKey::kText, false, kSend, kSendWords, 0, 0, "both"},
    };
    // clang-format on
    return rows;
}

std::vector<const SinkKey*> sinkKeysOf(const std::string& type) {
    std::vector<const SinkKey*> found;
    for (const SinkKey& row : sinkKeys()) {
        if (*row.type == 0 || type == row.type) found.push_back(&row);
    }
    return found;
}

SettingValue defaultValue(const SinkKey& key) {
    SettingValue value;
    const std::string written = key.otherwise;
    if (written.empty()) return value;
    value.kind = SettingValue::Kind::kText;
    switch (key.kind) {
        case SinkKey::kFlag:
            value.kind = SettingValue::Kind::kFlag;
            value.number = written == "true" ? 1 : 0;
            break;
        case SinkKey::kNumber:
            value.kind = SettingValue::Kind::kNumber;
            value.number = std::stoll(written);
            break;
        case SinkKey::kList:
        case SinkKey::kNumberList:
            value.kind = SettingValue::Kind::kList;
            break;
        default:
            value.text = written;
    }
    return value;
}

const std::vector<SinkType>& sinkTypeList() {
    static const std::vector<SinkType> types = {
        {"journal", "the system's journal", false, {nullptr, nullptr}},
        {"syslog", "the system log", false, {nullptr, nullptr}},
        {"mail", "mail, by a server or by a program", true, {"url", "sendmail"}},
        {"exec", "programs of yours", true, {"command", "dir"}},
        {"webhook", "an HTTP request", true, {nullptr, nullptr}},
        {"alertmanager", "alerts of Prometheus Alertmanager", true, {nullptr, nullptr}},
        {"nats", "the stream of a fleet, on a NATS server", false, {nullptr, nullptr}},
        {"file", "a file of JSON lines", false, {nullptr, nullptr}},
    };
    return types;
}

const SinkType* findSinkType(const std::string& type) {
    for (const SinkType& row : sinkTypeList()) {
        if (type == row.type) return &row;
    }
    return nullptr;
}
