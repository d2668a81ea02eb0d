#include "agent/sinks/JournalSink.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

// The journal would show the place in our sources where the entry was made; the same for each.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include "agent/LateLibrary.h"
#include "agent/SafeText.h"
#include "agent/sinks/MessageId.h"
#include "agent/sinks/SinkValues.h"

namespace {

constexpr char kSocket[] = "/run/systemd/journal/socket";

using SendEntry = decltype(&sd_journal_sendv);

// Loaded for the first entry: most daemons have nothing to tell for months.
SendEntry sendEntry() {
    static const SendEntry function = [] {
        SendEntry found = nullptr;
        LateLibrary("libsystemd.so.0", "libsystemd0").find("sd_journal_sendv", found);
        return found;
    }();
    return function;
}

std::string numberOf(std::int64_t value) { return value == 0 ? "" : std::to_string(value); }

// 0 when a journal listens, else the errno.
int reachJournal() {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return errno;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kSocket, sizeof kSocket);
    const int failed =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    close(fd);
    return failed;
}

std::string sentence(int error) {
    if (error == ENOENT || error == ECONNREFUSED) {
        return std::string("no journal listens on ") + kSocket +
               "; start systemd-journald, or set enabled = false for this sink";
    }
    return std::string("the journal did not take it: ") + std::strerror(error);
}

// Lines of people keep their line ends; everything else that could harm a terminal is escaped.
std::string safeLines(const std::string& raw) {
    std::string safe;
    std::size_t at = 0;
    while (at < raw.size()) {
        const std::size_t end = std::min(raw.find('\n', at), raw.size());
        safe += safeText(raw.substr(at, end - at)) + (end < raw.size() ? "\n" : "");
        at = end + 1;
    }
    return safe;
}

}  // namespace

JournalSink::JournalSink(const SinkSettings& settings) {
    const SinkValues values(settings);
    records = recordChoice(values.oneOf("send", "told", {"notices", "events", "told", "both"}));
}

JournalSink::Fields JournalSink::fields(const Record& record, const std::string& id) {
    const bool isNotice = record.kind == Record::Kind::kNotice;
    const Incident& incident = record.notice.incident;
    const Fields all = {
        {"MESSAGE", messageOf(record)},
        {"MESSAGE_ID", messageId(record)},
        {"PRIORITY", std::to_string(priorityOf(record))},
        {"SYSLOG_IDENTIFIER", "raidwatch"},
        {"RAIDWATCH_ID", safeText(id)},
        {"RAIDWATCH_KIND", isNotice ? "notice" : "event"},
        {"RAIDWATCH_ORIGIN", originWord(record.origin)},
        {"RAIDWATCH_SEVERITY", severityOf(record)},
        {"RAIDWATCH_CODE", numberOf(codeOf(record))},
        {"RAIDWATCH_EVENT_ID", eventIdOf(record)},
        {"RAIDWATCH_TIME", std::to_string(timeOf(record))},
        {"RAIDWATCH_OBJECT", safeText(record.object)},
        {"RAIDWATCH_OBJECT_NAME", safeText(record.objectName)},
        {"RAIDWATCH_SERIAL", serialOf(record)},
        {"RAIDWATCH_INCIDENT", numberOf(record.incident)},
        {"RAIDWATCH_NOTICE", isNotice ? noticeWord(record.notice.kind) : ""},
        {"RAIDWATCH_CONDITION", isNotice ? safeText(incident.condition) : ""},
        {"RAIDWATCH_VALUE", isNotice ? safeText(incident.value) : ""},
        {"RAIDWATCH_BODY", isNotice ? safeLines(record.notice.body) : ""},
    };
    Fields filled;
    for (const auto& field : all) {
        if (!field.second.empty()) filled.push_back(field);
    }
    return filled;
}

Answer JournalSink::deliver(const Record& record, const std::string& id) {
    // Without a journal sd_journal_sendv() reports success, so this is asked first.
    const int away = reachJournal();
    if (away != 0) return {Answer::Kind::kRetry, sentence(away)};

    std::vector<std::string> assignments;
    for (const auto& [name, value] : fields(record, id)) assignments.push_back(name + "=" + value);
    std::vector<iovec> parts;
    parts.reserve(assignments.size());
    for (std::string& text : assignments) parts.push_back({text.data(), text.size()});
    try {
        const int failed = sendEntry()(parts.data(), static_cast<int>(parts.size()));
        if (failed < 0) return {Answer::Kind::kRetry, sentence(-failed)};
    } catch (const LateLibrary::Missing& e) {
        return {Answer::Kind::kRetry, e.what()};
    }
    return {Answer::Kind::kDelivered, "taken by the journal"};
}

std::string JournalSink::problem() {
    const int away = reachJournal();
    return away == 0 ? std::string() : sentence(away);
}

std::unique_ptr<Sink> makeJournalSink(const SinkSettings& settings) {
    return std::make_unique<JournalSink>(settings);
}
