#include "agent/metrics/MetricsFamilies.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

#include "agent/EventNames.h"
#include "events/EnumEventType.h"
#include "monitor/EventRows.h"

namespace {

using View = MetricsView;
using Out = MetricsWriter;
using Labels = std::initializer_list<std::string_view>;

constexpr std::int64_t kMegabyte = 1024 * 1024;

// The last word of each list stands for every state that the list does not have.
constexpr const char* kArrayStates[] = {"normal",  "degraded", "rebuilding", "checking",
                                        "offline", "failed",   "unknown"};
constexpr const char* kDriveStates[] = {"normal", "unused",  "spare",  "rebuilding",
                                        "failed", "missing", "unknown"};
constexpr const char* kMemberStates[] = {"active", "rebuilding", "spare",
                                         "failed", "missing",    "unknown"};
constexpr const char* kControllerStates[] = {"normal", "failed", "unknown"};
constexpr const char* kBatteryStates[] = {"normal", "charging", "discharging", "low", "unknown"};
constexpr const char* kEnclosureStates[] = {"normal", "degraded", "failed", "unknown"};
constexpr const char* kElementStates[] = {"normal",  "degraded", "failed",
                                          "missing", "too hot",  "unknown"};
constexpr int kIncidentSeverities[] = {kEventError, kEventWarning, kEventInformation};

constexpr char kFan[] = "fan";  // kinds of elements
constexpr char kSupply[] = "supply";
constexpr char kTemperature[] = "temperature";

std::string lowered(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// "error", "warning", "info", ...
std::string severityLabel(int severity) {
    const std::string word = lowered(severityWord(severity));
    return word.empty() ? "none" : word;
}

std::string placeOf(int adapter, int channel, int device) {
    return std::to_string(adapter) + ":" + std::to_string(channel) + ":" + std::to_string(device);
}

// --- walking the objects ---

template <class Object, class Use>
void each(const std::vector<Object>& objects, const std::vector<std::string>& labels, Use use) {
    for (std::size_t i = 0; i < objects.size(); ++i) use(objects[i], labels[i]);
}

template <class Use>
void eachArray(const View& view, Use use) {
    each(view.input.machine.arrays, view.arrays, use);
}

template <class Use>
void eachTask(const View& view, Use use) {
    eachArray(view, [&use](const ArrayState& array, const std::string& label) {
        if (!array.task.kind.empty()) use(array.task, label, metricsLabel(array.task.kind));
    });
}

template <class Use>
void eachDrive(const View& view, Use use) {
    each(view.input.machine.drives, view.drives, use);
}

template <class Use>
void eachEnclosure(const View& view, Use use) {
    each(view.input.machine.enclosures, view.enclosures, use);
}

template <class Use>
void eachElement(const View& view, const char* kind, Use use) {
    eachEnclosure(view, [&](const EnclosureState& enclosure, const std::string& label) {
        std::vector<const ElementState*> elements;
        std::vector<MetricsName> names;
        for (const ElementState& element : enclosure.elements) {
            if (element.kind != kind) continue;
            elements.push_back(&element);
            names.push_back({element.name, ""});
        }
        const std::vector<std::string> labels = metricsLabels(names);
        for (std::size_t i = 0; i < elements.size(); ++i) use(*elements[i], label, labels[i]);
    });
}

template <class Use>
void eachController(const View& view, Use use) {
    each(view.input.machine.controllers, view.controllers, use);
}

// --- one number of each object; what is below 0 is not known and not written ---

template <class Value>
void known(Out& out, Labels labels, Value value) {
    if constexpr (std::is_floating_point_v<Value>) {
        if (value >= 0) out.sample(labels, double{value});
    } else {
        const std::int64_t number = value;
        if (number >= 0) out.sample(labels, number);
    }
}

template <auto kMember>
void ofAgent(const View& view, Out& out) {
    known(out, {}, view.input.*kMember);
}

template <auto kMember>
void ofMachine(const View& view, Out& out) {
    known(out, {}, view.input.machine.*kMember);
}

template <auto kMember>
void ofSpool(const View& view, Out& out) {
    if (view.input.spoolReadable) known(out, {}, view.input.*kMember);
}

template <auto kMember>
void ofSinks(const View& view, Out& out) {
    each(view.input.sinks, view.sinks, [&out](const SinkStatus& sink, const std::string& label) {
        known(out, {label}, sink.*kMember);
    });
}

template <auto kMember>
void ofArrays(const View& view, Out& out) {
    eachArray(view, [&out](const ArrayState& array, const std::string& label) {
        known(out, {label}, array.*kMember);
    });
}

template <auto kMember>
void ofTasks(const View& view, Out& out) {
    eachTask(view,
             [&out](const TaskState& task, const std::string& array, const std::string& label) {
                 known(out, {array, label}, task.*kMember);
             });
}

template <auto kMember>
void ofDrives(const View& view, Out& out) {
    eachDrive(view, [&out](const DriveState& drive, const std::string& label) {
        known(out, {label}, drive.*kMember);
    });
}

template <auto kMember>
void ofEnclosures(const View& view, Out& out) {
    eachEnclosure(view, [&out](const EnclosureState& enclosure, const std::string& label) {
        known(out, {label}, enclosure.*kMember);
    });
}

template <auto kMember>
void ofControllers(const View& view, Out& out) {
    eachController(view, [&out](const ControllerState& controller, const std::string& label) {
        known(out, {label}, controller.*kMember);
    });
}

// --- states: one sample for each that there is, 1 for the present one ---

template <std::size_t kCount>
const char* stateIn(const char* const (&all)[kCount], const std::string& word) {
    const auto found = std::find(std::begin(all), std::end(all), word);
    return found == std::end(all) ? all[kCount - 1] : *found;
}

template <std::size_t kCount>
void states(Out& out, const std::string& label, const char* const (&all)[kCount],
            const std::string& word) {
    const char* const now = stateIn(all, word);
    for (const char* const state : all) out.sample({label, state}, std::int64_t{state == now});
}

void arrayStates(const View& view, Out& out) {
    eachArray(view, [&out](const ArrayState& array, const std::string& label) {
        states(out, label, kArrayStates, array.state);
    });
}

void driveStates(const View& view, Out& out) {
    eachDrive(view, [&out](const DriveState& drive, const std::string& label) {
        states(out, label, kDriveStates, drive.state);
    });
}

void enclosureStates(const View& view, Out& out) {
    eachEnclosure(view, [&out](const EnclosureState& enclosure, const std::string& label) {
        states(out, label, kEnclosureStates, enclosure.state);
    });
}

void controllerStates(const View& view, Out& out) {
    eachController(view, [&out](const ControllerState& controller, const std::string& label) {
        states(out, label, kControllerStates, controller.state);
    });
}

void batteryStates(const View& view, Out& out) {
    eachController(view, [&out](const ControllerState& controller, const std::string& label) {
        if (!controller.battery.empty()) states(out, label, kBatteryStates, controller.battery);
    });
}

template <const char* kKind>
void elementStates(const View& view, Out& out) {
    eachElement(view, kKind,
                [&out](const ElementState& element, const std::string& enclosure,
                       const std::string& label) {
                    const char* const now = stateIn(kElementStates, element.state);
                    for (const char* const state : kElementStates) {
                        out.sample({enclosure, label, state}, std::int64_t{state == now});
                    }
                });
}

template <const char* kKind>
void elementValues(const View& view, Out& out) {
    eachElement(view, kKind,
                [&out](const ElementState& element, const std::string& enclosure,
                       const std::string& label) {
                    known(out, {enclosure, label}, element.value);
                });
}

void members(const View& view, Out& out) {
    eachArray(view, [&out](const ArrayState& array, const std::string& label) {
        std::map<std::string, std::int64_t> counts;
        for (const MemberState& member : array.members) {
            ++counts[stateIn(kMemberStates, member.state)];
        }
        for (const char* const state : kMemberStates) out.sample({label, state}, counts[state]);
    });
}

// --- what describes an object ---

void version(const View& view, Out& out) {
    out.sample({metricsLabel(view.input.version)}, std::int64_t{1});
}

void arrayInfo(const View& view, Out& out) {
    eachArray(view, [&](const ArrayState& array, const std::string& label) {
        out.sample({label, metricsLabel(array.name), metricsLabel(array.label),
                    metricsLabel(array.level), view.controllerAt(array.adapter)},
                   std::int64_t{1});
    });
}

void driveInfo(const View& view, Out& out) {
    eachDrive(view, [&](const DriveState& drive, const std::string& label) {
        out.sample(
            {label, metricsLabel(drive.name), metricsLabel(drive.osName),
             metricsLabel(drive.vendor), metricsLabel(drive.model), metricsLabel(drive.serial),
             metricsLabel(drive.wwn), metricsLabel(drive.partNumber), metricsLabel(drive.firmware),
             view.withKey(drive.array), view.withKey(drive.enclosure), metricsLabel(drive.slotName),
             view.controllerAt(drive.adapter)},
            std::int64_t{1});
    });
}

void enclosureInfo(const View& view, Out& out) {
    eachEnclosure(view, [&](const EnclosureState& enclosure, const std::string& label) {
        out.sample({label, metricsLabel(enclosure.name), metricsLabel(enclosure.vendor),
                    metricsLabel(enclosure.model), metricsLabel(enclosure.serial),
                    metricsLabel(enclosure.partNumber), view.controllerAt(enclosure.adapter)},
                   std::int64_t{1});
    });
}

void controllerInfo(const View& view, Out& out) {
    eachController(view, [&out](const ControllerState& controller, const std::string& label) {
        out.sample({label, std::to_string(controller.number), metricsLabel(controller.name),
                    metricsLabel(controller.vendor), metricsLabel(controller.serial),
                    metricsLabel(controller.pci), metricsLabel(controller.driver),
                    metricsLabel(controller.firmware)},
                   std::int64_t{1});
    });
}

// --- the rest ---

// A picture that is dated far ahead says as little: the clock was set back since.
void upToDate(const View& view, Out& out) {
    const MetricsInput& in = view.input;
    const std::int64_t age = in.now - in.machine.polledAt;
    const bool recent = age <= in.staleAfter && age >= -in.staleAfter;
    out.sample({}, std::int64_t{recent && in.machine.polledAt != 0});
}

void problems(const View& view, Out& out) {
    out.sample({}, static_cast<std::int64_t>(view.input.problems.size()));
}

void spoolReadable(const View& view, Out& out) {
    out.sample({}, std::int64_t{view.input.spoolReadable});
}

// Every event that the engine can raise has its sample from the beginning, so that the first one
// is an increase and not a new series.
void events(const View& view, Out& out) {
    if (!view.input.spoolReadable) return;
    std::map<std::pair<int, int>, std::int64_t> counts;
    for (const EventRow* row : rows::kAllEventRows) counts[{row->severity, row->code}] = 0;
    for (const EventTotal& total : view.input.events) {
        counts[{total.severity, total.code}] += total.count;
    }
    for (const auto& [kind, count] : counts) {
        out.sample({severityLabel(kind.first), std::to_string(kind.second)}, count);
    }
}

void incidents(const View& view, Out& out) {
    if (!view.input.spoolReadable) return;
    std::map<std::pair<int, bool>, std::int64_t> counts;
    for (const int severity : kIncidentSeverities) {
        for (const bool acknowledged : {false, true}) counts[{severity, acknowledged}] = 0;
    }
    for (const Incident& incident : view.input.openIncidents) {
        ++counts[{incident.severity, incident.acknowledged()}];
    }
    for (const auto& [kind, count] : counts) {
        out.sample({severityLabel(kind.first), kind.second ? "yes" : "no"}, count);
    }
}

void lastDelivered(const View& view, Out& out) {
    each(view.input.sinks, view.sinks, [&out](const SinkStatus& sink, const std::string& label) {
        out.sample({label}, static_cast<double>(sink.lastDelivered) / 1000);
    });
}

void exposedSince(const View& view, Out& out) {
    eachArray(view, [&out](const ArrayState& array, const std::string& label) {
        if (array.exposedSince > 0) out.sample({label}, array.exposedSince);
    });
}

void arraySizes(const View& view, Out& out) {
    eachArray(view, [&out](const ArrayState& array, const std::string& label) {
        out.sample({label}, array.sizeMB * kMegabyte);
    });
}

void driveSizes(const View& view, Out& out) {
    eachDrive(view, [&out](const DriveState& drive, const std::string& label) {
        out.sample({label}, drive.sizeMB * kMegabyte);
    });
}

void progress(const View& view, Out& out) {
    eachTask(view,
             [&out](const TaskState& task, const std::string& array, const std::string& label) {
                 out.sample({array, label}, task.percent / 100);
             });
}

// Those of drives that have gone are not told: nobody can do anything about them.
void badBlocks(const View& view, Out& out) {
    if (!view.input.spoolReadable) return;
    eachDrive(view, [&](const DriveState& drive, const std::string& label) {
        const auto found = view.input.badBlocks.find(drive.key);
        out.sample({label}, found == view.input.badBlocks.end() ? 0 : found->second);
    });
}

// clang-format off
constexpr MetricsFamily kFamilies[] = {
    {"raidwatch", "build_info", "gauge", "version", "Always 1; the version of raidwatch", version},
    {"raidwatch", "up_to_date", "gauge", "", "1 when the last completed poll is recent; 0 when the rest is an old picture", upToDate},
    {"raidwatch", "last_completed_poll_timestamp_seconds", "gauge", "", "When the storage was last looked at, since 1970; 0 for never", ofMachine<&MachineState::polledAt>},
    {"raidwatch", "stale_after_seconds", "gauge", "", "Age at which a poll says nothing about now, as configured", ofAgent<&MetricsInput::staleAfter>},
    {"raidwatch", "polls_total", "counter", "", "Completed polls since raidwatch was started", ofMachine<&MachineState::polls>},
    {"raidwatch", "poll_duration_seconds", "gauge", "", "How long the last completed poll took", ofAgent<&MetricsInput::pollSeconds>},
    {"raidwatch", "problems", "gauge", "", "Troubles of raidwatch itself, which raidwatch status names", problems},
    {"raidwatch", "events_total", "counter", "severity,code", "Events recorded, tests and drills left out; goes on after a restart", events},
    {"raidwatch", "incidents_open", "gauge", "severity,acknowledged", "Open incidents", incidents},
    {"raidwatch", "spool_readable", "gauge", "", "0 when the spool cannot be read; then events, incidents and sinks are missing", spoolReadable},
    {"raidwatch", "spool_size_bytes", "gauge", "", "Size of the spool on the disk", ofSpool<&MetricsInput::spoolBytes>},
    {"raidwatch", "spool_records_total", "counter", "", "Events and notices ever recorded, the highest sequence number", ofSpool<&MetricsInput::lastSequence>},
    {"raidwatch", "spool_first_sequence", "gauge", "", "Lowest sequence number that is still kept; 0 for none", ofSpool<&MetricsInput::firstSequence>},
    {"raidwatch", "unspooled_events", "gauge", "", "Events that could not yet be stored and wait in memory", ofAgent<&MetricsInput::unspooled>},

    {"sinks", "sink_up", "gauge", "sink", "1 when the last try of this sink succeeded, or there was none", ofSinks<&SinkStatus::ok>},
    {"sinks", "sink_waiting_records", "gauge", "sink", "Records that this sink has not yet taken", ofSinks<&SinkStatus::waiting>},
    {"sinks", "sink_failed_tries", "gauge", "sink", "Failed tries for the record that is next", ofSinks<&SinkStatus::tries>},
    {"sinks", "sink_last_delivered_timestamp_seconds", "gauge", "sink", "When this sink last took a record, since 1970; 0 for never", lastDelivered},
    {"sinks", "sink_delivered_total", "counter", "sink", "Records that this sink has taken; goes on after a restart", ofSinks<&SinkStatus::everDelivered>},
    {"sinks", "sink_failed_total", "counter", "sink", "Tries that failed and were or will be repeated; goes on after a restart", ofSinks<&SinkStatus::everFailed>},
    {"sinks", "sink_given_up_total", "counter", "sink", "Records that this sink refused or that became too old; goes on after a restart", ofSinks<&SinkStatus::everDead>},

    {"arrays", "array_info", "gauge", "array,name,label,level,controller", "Always 1; what describes an array", arrayInfo},
    {"arrays", "array_state", "gauge", "array,state", "1 for the state that the array is in, 0 for the others", arrayStates},
    {"arrays", "array_size_bytes", "gauge", "array", "Usable size", arraySizes},
    {"arrays", "array_survives_failures", "gauge", "array", "Further drive failures that the array surely survives", ofArrays<&ArrayState::survives>},
    {"arrays", "array_full_survives_failures", "gauge", "array", "The same with every drive in order", ofArrays<&ArrayState::fullSurvives>},
    {"arrays", "array_exposed_since_timestamp_seconds", "gauge", "array", "Since when the array has less redundancy than it should, since 1970; only while it has", exposedSince},
    {"arrays", "array_drives", "gauge", "array", "Drives that the array should have; 0 where that is not known", ofArrays<&ArrayState::devices>},
    {"arrays", "array_members", "gauge", "array,state", "Drives of the array by their state in it", members},
    {"arrays", "array_bad_stripes", "gauge", "array", "Places that did not match at the last check", ofArrays<&ArrayState::badStripes>},
    {"arrays", "array_task_progress_ratio", "gauge", "array,task", "How far the task is, from 0 to 1", progress},
    {"arrays", "array_task_waiting", "gauge", "array,task", "1 while the task waits for its turn or is paused", ofTasks<&TaskState::waiting>},
    {"arrays", "array_task_started_timestamp_seconds", "gauge", "array,task", "When the task was first seen, since 1970", ofTasks<&TaskState::startedAt>},
    {"arrays", "array_task_remaining_seconds", "gauge", "array,task", "How long the task will still take, once that can be told", ofTasks<&TaskState::secondsLeft>},

    {"drives", "drive_info", "gauge", "drive,name,os_name,vendor,model,serial,wwn,part_number,firmware,array,enclosure,slot,controller", "Always 1; what describes a drive, and where it is now", driveInfo},
    {"drives", "drive_state", "gauge", "drive,state", "1 for the state that the drive is in, 0 for the others", driveStates},
    {"drives", "drive_failure_predicted", "gauge", "drive", "1 when the drive foretells its failure", ofDrives<&DriveState::predicted>},
    {"drives", "drive_temperature_celsius", "gauge", "drive", "Temperature, where the drive tells it", ofDrives<&DriveState::temperature>},
    {"drives", "drive_size_bytes", "gauge", "drive", "Capacity", driveSizes},
    {"drives", "drive_bad_blocks_total", "counter", "drive", "Reports of bad blocks on the drive; goes on after a restart", badBlocks},

    {"enclosures", "enclosure_info", "gauge", "enclosure,name,vendor,model,serial,part_number,controller", "Always 1; what describes an enclosure", enclosureInfo},
    {"enclosures", "enclosure_state", "gauge", "enclosure,state", "1 for the state that the enclosure is in, 0 for the others", enclosureStates},
    {"enclosures", "enclosure_slots", "gauge", "enclosure", "Slots for drives; 0 where that is not known", ofEnclosures<&EnclosureState::slots>},
    {"enclosures", "fan_state", "gauge", "enclosure,fan,state", "1 for the state that the fan is in, 0 for the others", elementStates<kFan>},
    {"enclosures", "fan_speed_rpm", "gauge", "enclosure,fan", "Turns a minute, where the enclosure tells them", elementValues<kFan>},
    {"enclosures", "power_supply_state", "gauge", "enclosure,power_supply,state", "1 for the state that the power supply is in, 0 for the others", elementStates<kSupply>},
    {"enclosures", "temperature_sensor_state", "gauge", "enclosure,sensor,state", "1 for what the temperature sensor says, 0 for the rest", elementStates<kTemperature>},
    {"enclosures", "temperature_sensor_celsius", "gauge", "enclosure,sensor", "Temperature, where the sensor tells it", elementValues<kTemperature>},

    {"controllers", "controller_info", "gauge", "controller,number,name,vendor,serial,pci,driver,firmware", "Always 1; what describes a controller", controllerInfo},
    {"controllers", "controller_state", "gauge", "controller,state", "1 for the state that the controller is in, 0 for the others", controllerStates},
    {"controllers", "controller_battery_state", "gauge", "controller,state", "1 for the state of the battery of the write cache, 0 for the others; only with a battery", batteryStates},
    {"controllers", "controller_temperature_celsius", "gauge", "controller", "Temperature, where the controller tells it", ofControllers<&ControllerState::temperature>},
};
// clang-format on

}  // namespace

MetricsView::MetricsView(const MetricsInput& inputIN) : input(inputIN) {
    const MachineState& machine = input.machine;
    std::vector<MetricsName> names;
    for (const ArrayState& array : machine.arrays) {
        names.push_back({array.key, std::to_string(array.adapter)});
    }
    arrays = metricsLabels(std::exchange(names, {}));
    for (const DriveState& drive : machine.drives) {
        names.push_back({drive.key, placeOf(drive.adapter, drive.channel, drive.device)});
    }
    drives = metricsLabels(std::exchange(names, {}));
    for (const EnclosureState& each : machine.enclosures) {
        names.push_back({each.key, placeOf(each.adapter, each.channel, each.device)});
    }
    enclosures = metricsLabels(std::exchange(names, {}));
    for (const ControllerState& controller : machine.controllers) {
        names.push_back({controller.key, std::to_string(controller.number)});
    }
    controllers = metricsLabels(std::exchange(names, {}));
    for (const SinkStatus& sink : input.sinks) names.push_back({sink.sink, ""});
    sinks = metricsLabels(names);

    // Objects refer to each other by the first one that has the key.
    each(machine.arrays, arrays, [this](const ArrayState& array, const std::string& label) {
        byKey.emplace(array.key, label);
    });
    each(machine.enclosures, enclosures,
         [this](const EnclosureState& enclosure, const std::string& label) {
             byKey.emplace(enclosure.key, label);
         });
    each(machine.controllers, controllers,
         [this](const ControllerState& controller, const std::string& label) {
             byNumber.emplace(controller.number, label);
         });
}

std::string MetricsView::withKey(const std::string& key) const {
    const auto found = byKey.find(key);
    return found == byKey.end() ? std::string() : found->second;
}

std::string MetricsView::controllerAt(int number) const {
    const auto found = byNumber.find(number);
    return found == byNumber.end() ? std::string() : found->second;
}

std::vector<MetricsFamily> metricsFamilies() {
    return {std::begin(kFamilies), std::end(kFamilies)};
}

std::string metricsMarkdown() {
    std::string text;
    std::string about;
    for (const MetricsFamily& family : kFamilies) {
        if (about != family.about) {
            about = family.about;
            text += (text.empty() ? "" : "\n") + std::string("| ") + about +
                    " | type | labels | what it is |\n|---|---|---|---|\n";
        }
        std::string labels;
        for (const char* c = family.labels; *c != '\0'; ++c) {
            labels += *c == ',' ? std::string(", ") : std::string(1, *c);
        }
        text += std::string("| `raidwatch_") + family.name + "` | " + family.type + " | " + labels +
                " | " + family.help + " |\n";
    }
    return text;
}
