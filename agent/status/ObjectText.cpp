#include "agent/status/ObjectText.h"

#include <algorithm>
#include <cstddef>

#include <nlohmann/json.hpp>

#include "agent/ConfigText.h"
#include "agent/Duration.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/Wording.h"
#include "agent/state/StateJson.h"
#include "agent/state/Trouble.h"

namespace {

using Json = nlohmann::ordered_json;

// Lines of a name and a value; what is not known is left out.
class Properties {
public:
    void add(const char* name, const std::string& value) {
        if (value.empty()) return;
        const std::string label = name;
        text += label + std::string(label.size() < kWidth ? kWidth - label.size() : 1, ' ') +
                safeText(value) + "\n";
    }
    void add(const char* name, int value, int unknown) {
        if (value != unknown) add(name, std::to_string(value));
    }

    std::string text;

private:
    static constexpr std::size_t kWidth = 18;
};

std::string megabytes(std::int64_t size) {
    return size <= 0 ? "" : sizeText(static_cast<unsigned long long>(size));
}

std::string since(std::int64_t when, std::int64_t now) {
    return when <= 0 ? "" : durationText(now - when) + ", since " + localTimeText(when);
}

std::string taskText(const TaskState& task) {
    if (task.kind.empty()) return "";
    if (task.waiting) return task.kind + ", waits for its turn";
    std::string words = task.kind + " " + std::to_string(static_cast<int>(task.percent)) + " %";
    if (task.secondsLeft >= 0) words += ", about " + durationText(task.secondsLeft) + " left";
    return words;
}

// "sdb failed, port 1, serial KL7A201"
std::string memberText(const MachineState& state, const MemberState& member) {
    const std::string words = joined(member.name.empty() ? "-" : member.name, " ", member.state);
    const DriveState* drive = state.findDrive(member.drive);
    if (drive == nullptr) return words + (member.drive.empty() ? "" : ", " + member.drive);
    return words + (drive->slotName.empty() ? "" : ", " + drive->slotName) +
           (drive->serial.empty() ? "" : ", serial " + drive->serial);
}

std::string arrayText(const MachineState& state, const ArrayState& array, std::int64_t now) {
    Properties lines;
    lines.add("array", array.name);
    lines.add("called", array.label);
    lines.add("state", array.state);
    lines.add("level", array.level);
    lines.add("size", megabytes(array.sizeMB));
    lines.add("drives",
              std::to_string(array.working) + " of " + std::to_string(array.devices) + " work" +
                  (array.spares > 0 ? ", " + std::to_string(array.spares) + " spare" : ""));
    lines.add("survives",
              array.survives < 0
                  ? "not known"
                  : counted(array.survives, "more drive failure") +
                        (array.fullSurvives > array.survives
                             ? " (" + std::to_string(array.fullSurvives) + " when all is well)"
                             : ""));
    lines.add("exposed", since(array.exposedSince, now));
    lines.add("task", taskText(array.task));
    if (array.badStripes > 0) lines.add("mismatches", std::to_string(array.badStripes));
    for (const MemberState& member : array.members) {
        const std::string slot =
            member.slot < 0 ? "no place" : "place " + std::to_string(member.slot);
        lines.add(slot.c_str(), memberText(state, member));
    }
    lines.add("key", array.key);
    return lines.text;
}

std::string degrees(int celsius) {
    return celsius < 0 ? "" : std::to_string(celsius) + " degrees Celsius";
}

std::string driveText(const MachineState& state, const DriveState& drive) {
    Properties lines;
    lines.add("drive", joined(drive.vendor, " ", drive.model));
    lines.add("state", drive.state + (drive.predicted ? ", foretells its failure" : ""));
    const ArrayState* array = state.findArray(drive.array);
    lines.add("belongs to", array == nullptr ? drive.array : array->name);
    lines.add("temperature", degrees(drive.temperature));
    lines.add("serial number", drive.serial);
    lines.add("WWN", drive.wwn);
    lines.add("part number", drive.partNumber);
    lines.add("firmware", drive.firmware);
    lines.add("size", megabytes(drive.sizeMB));
    lines.add("place", drive.name.substr(drive.name.find(' ') + 1));
    const EnclosureState* enclosure = state.findEnclosure(drive.enclosure);
    lines.add("slot", drive.slotName + (enclosure == nullptr ? "" : " of " + enclosure->name));
    lines.add("device now", drive.osName.empty() ? "" : "/dev/" + drive.osName);
    lines.add("key", drive.key);
    return lines.text;
}

std::string enclosureText(const MachineState& state, const EnclosureState& enclosure) {
    Properties lines;
    lines.add("enclosure", joined(enclosure.vendor, " ", enclosure.model));
    lines.add("state", enclosure.state);
    lines.add("place", enclosure.name.substr(enclosure.name.find(' ') + 1));
    lines.add("serial number", enclosure.serial);
    lines.add("part number", enclosure.partNumber);
    lines.add("slots", enclosure.slots, 0);
    for (const ElementState& element : enclosure.elements) {
        const std::string value = element.kind == "temperature" ? degrees(element.value)
                                  : element.value < 0
                                      ? ""
                                      : std::to_string(element.value) + " turns a minute";
        lines.add(element.name.c_str(), element.state + (value.empty() ? "" : ", " + value));
    }
    for (const DriveState& drive : state.drives) {
        if (drive.enclosure != enclosure.key) continue;
        lines.add(safeText(drive.slotName).c_str(),
                  joined(drive.osName, " ", drive.state) + "  " + drive.key);
    }
    lines.add("key", enclosure.key);
    return lines.text;
}

std::string controllerText(const ControllerState& controller) {
    Properties lines;
    lines.add("controller", joined(controller.vendor, " ", controller.name));
    lines.add("number", std::to_string(controller.number));
    lines.add("in messages", "controller " + std::to_string(controller.number + 1));
    lines.add("state", controller.state);
    lines.add("serial number", controller.serial);
    lines.add("PCI place", controller.pci);
    lines.add("driver", controller.driver);
    lines.add("firmware", controller.firmware);
    lines.add("battery", controller.battery);
    lines.add("temperature", degrees(controller.temperature));
    lines.add("key", controller.key);
    return lines.text;
}

using Row = std::vector<std::string>;

// Columns as wide as their widest cell; "-" for what is not known.
std::string table(std::vector<Row> rows) {
    std::vector<std::size_t> widths;
    for (Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = row[i].empty() ? "-" : safeText(row[i]);
            widths[i] = std::max(widths[i], textWidth(row[i]));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i] + std::string(widths[i] - textWidth(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::vector<Row> arrayRows(const MachineState& state, std::int64_t now) {
    std::vector<Row> rows = {{"NAME", "LEVEL", "SIZE", "STATE", "DRIVES", "SURVIVES", "EXPOSED"}};
    for (const ArrayState* each : worstFirst(state.arrays)) {
        const ArrayState& array = *each;
        rows.push_back({array.name, array.level, megabytes(array.sizeMB), array.state,
                        std::to_string(array.working) + "/" + std::to_string(array.devices),
                        array.survives < 0 ? "" : std::to_string(array.survives),
                        array.exposedSince > 0 ? durationText(now - array.exposedSince) : ""});
    }
    return rows;
}

std::vector<Row> driveRows(const MachineState& state, std::int64_t) {
    std::vector<Row> rows = {
        {"PLACE", "SLOT", "DEVICE", "STATE", "ARRAY", "SERIAL", "SIZE", "MODEL"}};
    for (const DriveState* each : worstFirst(state.drives)) {
        const DriveState& drive = *each;
        const ArrayState* array = state.findArray(drive.array);
        rows.push_back({drive.name.substr(drive.name.find(' ') + 1), drive.slotName, drive.osName,
                        shownState(drive), array == nullptr ? "" : array->name, drive.serial,
                        megabytes(drive.sizeMB), joined(drive.vendor, " ", drive.model)});
    }
    return rows;
}

std::vector<Row> enclosureRows(const MachineState& state, std::int64_t) {
    std::vector<Row> rows = {{"PLACE", "STATE", "SLOTS", "SERIAL", "MODEL", "IN TROUBLE"}};
    for (const EnclosureState* each : worstFirst(state.enclosures)) {
        const EnclosureState& enclosure = *each;
        std::string trouble;
        for (const ElementState& element : enclosure.elements) {
            if (element.state == "failed" || element.state == "too hot") {
                trouble += (trouble.empty() ? "" : ", ") + element.name + " " + element.state;
            }
        }
        rows.push_back({enclosure.name.substr(enclosure.name.find(' ') + 1), enclosure.state,
                        std::to_string(enclosure.slots), enclosure.serial,
                        joined(enclosure.vendor, " ", enclosure.model), trouble});
    }
    return rows;
}

std::vector<Row> controllerRows(const MachineState& state, std::int64_t) {
    std::vector<Row> rows = {{"NUMBER", "PCI", "STATE", "BATTERY", "DRIVER", "FIRMWARE", "NAME"}};
    for (const ControllerState* each : worstFirst(state.controllers)) {
        const ControllerState& controller = *each;
        rows.push_back({std::to_string(controller.number), controller.pci, controller.state,
                        controller.battery, controller.driver, controller.firmware,
                        joined(controller.vendor, " ", controller.name)});
    }
    return rows;
}

std::vector<Row> phyRows(const MachineState& state, std::int64_t) {
    std::vector<Row> rows = {{"PHY", "RATE", "OF"}};
    for (const PhyState& phy : state.phys) rows.push_back({phy.place, phy.rate, phy.owner});
    return rows;
}

std::vector<Row> taskRows(const MachineState& state, std::int64_t now) {
    std::vector<Row> rows = {{"ARRAY", "TASK", "DONE", "LEFT", "RUNS FOR"}};
    for (const ArrayState& array : state.arrays) {
        const TaskState& task = array.task;
        if (task.kind.empty()) continue;
        rows.push_back(
            {array.name, task.kind,
             task.waiting ? "waits" : std::to_string(static_cast<int>(task.percent)) + " %",
             task.secondsLeft < 0 ? "" : durationText(task.secondsLeft),
             task.startedAt > 0 ? durationText(now - task.startedAt) : ""});
    }
    return rows;
}

struct ListKind {
    const char* name;
    std::vector<Row> (*rows)(const MachineState&, std::int64_t);
};

constexpr ListKind kKinds[] = {
    {"arrays", arrayRows}, {"controllers", controllerRows},
    {"drives", driveRows}, {"enclosures", enclosureRows},
    {"phys", phyRows},     {"tasks", taskRows},
};

Json tasksJson(const Json& state) {
    Json tasks = Json::array();
    for (const Json& array : state["arrays"]) {
        if (array["task"].is_null()) continue;
        Json task = {{"array", array["key"]}, {"name", array["name"]}};
        task.update(array["task"]);
        tasks.push_back(task);
    }
    return tasks;
}

}  // namespace

std::string objectText(const MachineState& state, const std::string& key, std::int64_t now) {
    if (const ArrayState* array = state.findArray(key)) return arrayText(state, *array, now);
    if (const DriveState* drive = state.findDrive(key)) return driveText(state, *drive);
    if (const EnclosureState* enclosure = state.findEnclosure(key)) {
        return enclosureText(state, *enclosure);
    }
    for (const ControllerState& controller : state.controllers) {
        if (controller.key == key) return controllerText(controller);
    }
    return "";
}

Json objectJson(const MachineState& state, const std::string& key) {
    const Json all = stateJson(state);
    for (const char* list : {"arrays", "drives", "enclosures", "controllers"}) {
        for (const Json& each : all[list]) {
            if (each["key"] == key) return each;
        }
    }
    return Json();
}

const std::vector<std::string>& listKinds() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const ListKind& kind : kKinds) list.emplace_back(kind.name);
        return list;
    }();
    return names;
}

std::string listText(const MachineState& state, const std::string& kind, std::int64_t now) {
    for (const ListKind& each : kKinds) {
        if (kind != each.name) continue;
        const std::vector<Row> rows = each.rows(state, now);
        return rows.size() < 2 ? "no " + kind + "\n" : table(rows);
    }
    return "";
}

Json listJson(const MachineState& state, const std::string& kind) {
    const Json all = stateJson(state);
    return kind == "tasks" ? tasksJson(all) : all[kind];
}
