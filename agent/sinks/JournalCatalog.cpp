#include "agent/sinks/JournalCatalog.h"

#include <utility>
#include <vector>

#include "agent/EventNames.h"
#include "agent/SafeText.h"
#include "agent/sinks/MessageId.h"

namespace {

using Entry = EventReference::Entry;

constexpr std::size_t kWidth = 76;  // journalctl puts three columns before each line

constexpr char kHead[] =
    "# What `journalctl -x` says about the lines of raidwatch. Made by the program's tests from\n"
    "# its table of events; change the table, not this file.\n";

struct NoticeText {
    Notice::Kind kind;
    const char* subject;
    const char* body;
};

// clang-format off
constexpr NoticeText kNotices[] = {
    {Notice::Kind::kOpened, "A storage problem began",
     "@RAIDWATCH_OBJECT_NAME@ is not as it should be."},
    {Notice::Kind::kUpdated, "A storage problem changed",
     "@RAIDWATCH_OBJECT_NAME@ is in another state than before, and not in a worse one."},
    {Notice::Kind::kWorse, "A storage problem became worse",
     "@RAIDWATCH_OBJECT_NAME@ is in a worse state than before."},
    {Notice::Kind::kResolved, "A storage problem is over",
     "@RAIDWATCH_OBJECT_NAME@ is as it should be again. Nothing needs to be done."},
    {Notice::Kind::kReminder, "A storage problem is still there",
     "Nobody has said that they look after @RAIDWATCH_OBJECT_NAME@."},
    {Notice::Kind::kFlapping, "A storage problem comes and goes",
     "@RAIDWATCH_OBJECT_NAME@ changes its state again and again. There will be no further message "
     "until it holds still. Look at cables, power and the drive itself."},
    {Notice::Kind::kTest, "A test of the alerts",
     "Nothing happened. Somebody wanted to know whether alerts arrive."},
};
// clang-format on

// Commands stand alone on their lines, ready to be copied.
constexpr char kNoticeHelp[] =
    "What is open:          raidwatch incidents\n"
    "What it means:         raidwatch explain @RAIDWATCH_CODE@\n"
    "To end the reminders:  raidwatch ack @RAIDWATCH_INCIDENT@\n";

std::string paragraph(const std::string& text) {
    std::string lines;
    for (const std::string& line : wrapText(text, kWidth)) lines += line + "\n";
    return lines;
}

std::string head(const std::string& id, const std::string& subject) {
    return "\n-- " + id + "\nSubject: " + subject +
           "\nDefined-By: raidwatch\nDocumentation: man:raidwatch(1)\n\n";
}

std::string subjectOf(const Entry& entry) {
    return "RAID event " + std::to_string(entry.code) +
           (entry.eventId.empty() ? "" : " " + entry.eventId);
}

std::string bodyOf(const Entry& entry) {
    return paragraph(entry.meaning) + "\n" + paragraph("When: " + entry.when) +
           paragraph("Likely cause: " + entry.cause) + paragraph("Risk: " + entry.risk) +
           paragraph("What to do: " + entry.action);
}

// Entries that share an id, in the order of the reference; each text once.
std::string section(const std::vector<const Entry*>& same) {
    const Entry& first = *same.front();
    std::string text = head(eventMessageId(first.code, first.eventId), subjectOf(first));
    if (isCompanion(first.code)) {
        return text + paragraph(
                          "The state of @RAIDWATCH_OBJECT_NAME@ changed. The event beside this one "
                          "says what happened; \"raidwatch explain " +
                          std::to_string(first.code) + "\" lists all cases.");
    }
    std::vector<std::string> told;
    for (const Entry* entry : same) {
        const std::string body = bodyOf(*entry);
        bool known = false;
        for (const std::string& other : told) known = known || other == body;
        if (!known) told.push_back(body);
    }
    for (std::size_t i = 0; i < told.size(); ++i) text += (i == 0 ? "" : "\nOr:\n\n") + told[i];
    return text;
}

}  // namespace

std::string journalCatalog(const EventReference& reference) {
    std::string text = kHead;
    for (const NoticeText& notice : kNotices) {
        text += head(noticeMessageId(notice.kind), notice.subject) + paragraph(notice.body);
        const bool needsHelp =
            notice.kind != Notice::Kind::kResolved && notice.kind != Notice::Kind::kTest;
        if (needsHelp) text += "\n" + std::string(kNoticeHelp);
    }
    std::vector<std::pair<std::string, std::vector<const Entry*>>> groups;  // in their first order
    for (const Entry& entry : reference.all()) {
        const std::string id = eventMessageId(entry.code, entry.eventId);
        auto group = groups.begin();
        while (group != groups.end() && group->first != id) ++group;
        if (group == groups.end()) group = groups.insert(group, {id, {}});
        group->second.push_back(&entry);
    }
    for (const auto& [id, same] : groups) text += section(same);
    return text;
}
