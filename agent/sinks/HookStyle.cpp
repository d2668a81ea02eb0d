#include "agent/sinks/HookStyle.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include "agent/EventJson.h"
#include "agent/EventNames.h"
#include "agent/SafeText.h"
#include "agent/sinks/SinkRule.h"
#include "agent/spool/RecordJson.h"
#include "monitor/EventRows.h"

namespace {

struct WordOfCode {
    int code;
    const char* word;
};

constexpr char kRebuildPercent[] = "Rebuild";  // the percentage follows

// The events of `mdadm --monitor` that ours come closest to. A resynchronisation and a first build
// count as rebuilding there.
// clang-format off
constexpr WordOfCode kMdadmWords[] = {
    {rows::kDriveFailed[0][0].specific.code, "Fail"},
    {rows::kDriveFailed[0][1].specific.code, "Fail"},
    {rows::kLogicalOffline.code,   "Fail"},
    {rows::kLogicalCritical.code,  "DegradedArray"},
    {rows::kLogicalNormal.code,    "SpareActive"},
    {rows::kLogicalAdded.code,     "NewArray"},
    {rows::kLogicalDeleted.code,   "DeviceDisappeared"},
    {rows::kHotSpareDeleted.code,  "SparesMissing"},
    {rows::kRebuildDetected.code,  "RebuildStarted"},
    {rows::kSyncDetected.code,     "RebuildStarted"},
    {rows::kInitDetected.code,     "RebuildStarted"},
    {rows::kRebuildRunning.code,   kRebuildPercent},
    {rows::kSyncRunning.code,      kRebuildPercent},
    {rows::kInitRunning.code,      kRebuildPercent},
    {rows::kRebuildComplete.code,  "RebuildFinished"},
    {rows::kSyncComplete.code,     "RebuildFinished"},
    {rows::kInitComplete.code,     "RebuildFinished"},
    {rows::kRebuildFailed.code,    "RebuildFinished"},
    {rows::kSyncFailed.code,       "RebuildFinished"},
    {rows::kInitFailed.code,       "RebuildFinished"},
    {rows::kRebuildStopped.code,   "RebuildFinished"},
    {rows::kSyncStopped.code,      "RebuildFinished"},
    {rows::kInitStopped.code,      "RebuildFinished"},
    {rows::kRebuildAborted.code,   "RebuildFinished"},
    {rows::kSyncAborted.code,      "RebuildFinished"},
    {rows::kInitAborted.code,      "RebuildFinished"},
};

// smartd's reasons.
constexpr WordOfCode kSmartdWords[] = {
    {rows::kDriveFailed[0][0].specific.code, "Health"},
    {rows::kDriveFailed[0][1].specific.code, "Health"},
    {rows::kDrivePfa[0][0].specific.code,    "Health"},
    {rows::kDrivePfa[0][1].specific.code,    "Health"},
    {rows::kBadBlockFound.code,              "CurrentPendingSector"},
    {rows::kDriveRemoved.specific.code,      "FailedOpenDevice"},
};
// clang-format on

template <class Table>
std::string wordOf(const Table& table, const Record& record) {
    if (record.kind != Record::Kind::kEvent) return std::string();
    for (const WordOfCode& row : table) {
        if (row.code == record.event.eventCode) return row.word;
    }
    return std::string();
}

// The number before the first percent sign: engine events carry it in their text only.
int percentIn(const std::string& text) {
    for (std::size_t sign = text.find('%'); sign != std::string::npos;
         sign = text.find('%', sign + 1)) {
        std::size_t end = sign;
        const auto isBlank = [](char c) { return c == ' ' || static_cast<signed char>(c) < 0; };
        while (end > 0 && isBlank(text[end - 1])) --end;  // no-break spaces too
        std::size_t begin = end;
        while (begin > 0 && text[begin - 1] >= '0' && text[begin - 1] <= '9') --begin;
        if (begin != end && end - begin <= 3)
            return std::atoi(text.substr(begin, end - begin).c_str());
    }
    return 0;
}

std::string mdadmWord(const Record& record, const HookDevices& devices) {
    if (isTestNotice(record)) return "TestMessage";
    const std::string word = wordOf(kMdadmWords, record);
    if (word == "Fail" && devices.isSpare) return "FailSpare";
    if (word != kRebuildPercent) return word;
    char text[24];
    std::snprintf(text, sizeof text, "Rebuild%02d", percentIn(record.event.text));
    return text;
}

std::string smartdWord(const Record& record) {
    return isTestNotice(record) ? "EmailTest" : wordOf(kSmartdWords, record);
}

bool isArrayKey(const std::string& key) { return key.rfind("array:", 0) == 0; }
bool isDriveKey(const std::string& key) { return key.rfind("drive:", 0) == 0; }

// "md127" and "sdb" are device nodes; "array 1:0" is not.
std::string deviceNode(const std::string& name) {
    const bool isNode = !name.empty() && name.find_first_of(" :/") == std::string::npos;
    return safeText(isNode ? "/dev/" + name : name);
}

std::string message(const Record& record) {
    if (record.kind == Record::Kind::kEvent || record.notice.body.empty()) {
        return messageOf(record) + "\n";
    }
    return record.notice.body;
}

// As date(1) prints it; local time, like smartd's.
std::string dateText(std::int64_t seconds) {
    const auto when = static_cast<std::time_t>(seconds);
    std::tm local{};
    localtime_r(&when, &local);
    char text[64];
    const std::size_t size = std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y %Z", &local);
    return std::string(text, size);
}

using Variables = std::vector<std::string>;

void add(Variables& variables, const char* name, const std::string& value) {
    variables.push_back(std::string(name) + "=" + safeText(value));
}

void addOurs(Variables& variables, const Record& record, const std::string& id,
             const HookDevices& devices) {
    const bool isNotice = record.kind == Record::Kind::kNotice;
    const Incident& incident = record.notice.incident;
    add(variables, "RAIDWATCH_ID", id);
    add(variables, "RAIDWATCH_KIND", isNotice ? "notice" : "event");
    add(variables, "RAIDWATCH_ORIGIN", originWord(record.origin));
    add(variables, "RAIDWATCH_TIME", rfc3339(timeOf(record)));
    add(variables, "RAIDWATCH_SEVERITY", severityOf(record));
    add(variables, "RAIDWATCH_CODE", codeOf(record) == 0 ? "" : std::to_string(codeOf(record)));
    add(variables, "RAIDWATCH_EVENT_ID", eventIdOf(record));
    add(variables, "RAIDWATCH_TEXT", messageOf(record));
    add(variables, "RAIDWATCH_OBJECT", record.object);
    add(variables, "RAIDWATCH_OBJECT_NAME", record.objectName);
    add(variables, "RAIDWATCH_SERIAL", serialOf(record));
    add(variables, "RAIDWATCH_ARRAY", devices.array);
    add(variables, "RAIDWATCH_DRIVE", devices.drive);
    add(variables, "RAIDWATCH_INCIDENT",
        record.incident == 0 ? "" : std::to_string(record.incident));
    add(variables, "RAIDWATCH_NOTICE", isNotice ? noticeWord(record.notice.kind) : "");
    add(variables, "RAIDWATCH_CONDITION", isNotice ? incident.condition : "");
    add(variables, "RAIDWATCH_VALUE", isNotice ? incident.value : "");
}

void addSmartd(Variables& variables, const Record& record, const HookDevices& devices) {
    const std::string device = devices.drive.empty() ? record.objectName : devices.drive;
    const std::string word = smartdWord(record);
    add(variables, "SMARTD_DEVICE", device);
    add(variables, "SMARTD_DEVICESTRING", device);
    add(variables, "SMARTD_DEVICETYPE", "auto");
    add(variables, "SMARTD_DEVICEINFO",
        record.objectName + (serialOf(record).empty() ? "" : ", S/N:" + serialOf(record)));
    add(variables, "SMARTD_FAILTYPE", word);
    add(variables, "SMARTD_MESSAGE", messageOf(record));
    variables.push_back("SMARTD_FULLMESSAGE=" + message(record));  // it has lines
    add(variables, "SMARTD_SUBJECT", "SMART error (" + word + ") detected: " + messageOf(record));
    add(variables, "SMARTD_TFIRST", dateText(timeOf(record)));
    add(variables, "SMARTD_TFIRSTEPOCH", std::to_string(timeOf(record)));
    add(variables, "SMARTD_PREVCNT", "0");
    add(variables, "SMARTD_NEXTDAYS", "");
}

}  // namespace

HookStyle hookStyle(const std::string& word) {
    if (word == "mdadm") return HookStyle::kMdadm;
    return word == "smartd" ? HookStyle::kSmartd : HookStyle::kRaidwatch;
}

HookDevices hookDevices(const Record& record, const MachineState* state) {
    HookDevices devices;
    if (isArrayKey(record.object)) devices.array = deviceNode(record.objectName);
    if (!isDriveKey(record.object)) return devices;
    devices.drive = deviceNode(record.objectName);
    if (state == nullptr) return devices;
    std::string array;
    for (const DriveState& drive : state->drives) {
        if (drive.key != record.object) continue;
        if (!drive.osName.empty()) devices.drive = deviceNode(drive.osName);
        array = drive.array;
    }
    for (const ArrayState& candidate : state->arrays) {
        bool isMember = candidate.key == array;
        bool wasSpare = false;
        for (const MemberState& member : candidate.members) {
            if (member.drive != record.object) continue;
            isMember = true;
            wasSpare = member.state == "spare" || (member.state == "failed" && member.slot < 0);
        }
        if (!isMember) continue;
        devices.array = deviceNode(candidate.name);
        // The state may be that of just before the failure: only what surely was a spare is one.
        devices.isSpare =
            wasSpare && candidate.devices > 0 && candidate.working >= candidate.devices;
        break;
    }
    return devices;
}

bool hookWants(HookStyle style, RecordChoice choice, const Record& record) {
    if (isTestNotice(record)) return true;
    if (style == HookStyle::kMdadm) return !wordOf(kMdadmWords, record).empty();
    if (style == HookStyle::kSmartd) return !wordOf(kSmartdWords, record).empty();
    return isChosen(choice, record);
}

std::vector<std::string> hookArguments(HookStyle style, const Record& record, const std::string& id,
                                       const HookDevices& devices) {
    if (style == HookStyle::kSmartd) return {};
    if (style == HookStyle::kRaidwatch) {
        return {safeText(id), record.object.empty() ? "-" : safeText(record.object),
                severityOf(record)};
    }
    // The array comes first there, even where only a drive is known.
    std::string device = devices.array.empty() ? devices.drive : devices.array;
    if (device.empty()) device = safeText(record.objectName);
    std::vector<std::string> arguments = {mdadmWord(record, devices), device};
    if (!devices.drive.empty() && devices.drive != device) arguments.push_back(devices.drive);
    return arguments;
}

std::vector<std::string> hookVariables(HookStyle style, const Record& record, const std::string& id,
                                       const HookDevices& devices) {
    Variables variables;
    addOurs(variables, record, id, devices);
    if (style == HookStyle::kSmartd) addSmartd(variables, record, devices);
    return variables;
}

std::string hookInput(HookStyle style, const Record& record, const std::string& id) {
    return style == HookStyle::kSmartd ? message(record) : recordJson(record, id) + "\n";
}
