#include "agent/state/StateJson.h"

#include <nlohmann/json.hpp>

#include "agent/Failure.h"

namespace {

using Json = nlohmann::ordered_json;

// Each object names its members once; Out writes them, In reads them back.
struct Out {
    Json& json;
    template <class Value>
    void operator()(const char* name, const Value& value) {
        json[name] = value;
    }
};

struct In {
    const Json& json;
    template <class Value>
    void operator()(const char* name, Value& value) {
        const auto found = json.find(name);
        if (found != json.end()) found->get_to(value);
    }
};

template <class Object>
struct Fields;

template <>
struct Fields<TaskState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& task) {
        v("kind", task.kind);
        v("percent", task.percent);
        v("waiting", task.waiting);
        v("startedAt", task.startedAt);
        v("secondsLeft", task.secondsLeft);
        v("megabytesPerSecond", task.megabytesPerSecond);
    }
};

template <>
struct Fields<MemberState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& member) {
        v("drive", member.drive);
        v("name", member.name);
        v("slot", member.slot);
        v("state", member.state);
    }
};

template <>
struct Fields<ArrayState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& array) {
        v("key", array.key);
        v("name", array.name);
        v("label", array.label);
        v("adapter", array.adapter);
        v("number", array.number);
        v("level", array.level);
        v("sizeMB", array.sizeMB);
        v("state", array.state);
        v("devices", array.devices);
        v("working", array.working);
        v("spares", array.spares);
        v("survives", array.survives);
        v("fullSurvives", array.fullSurvives);
        v("exposedSince", array.exposedSince);
        v("badStripes", array.badStripes);
    }
};

template <>
struct Fields<DriveState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& drive) {
        v("key", drive.key);
        v("name", drive.name);
        v("osName", drive.osName);
        v("adapter", drive.adapter);
        v("channel", drive.channel);
        v("device", drive.device);
        v("enclosure", drive.enclosure);
        v("slot", drive.slot);
        v("slotName", drive.slotName);
        v("vendor", drive.vendor);
        v("model", drive.model);
        v("serial", drive.serial);
        v("wwn", drive.wwn);
        v("partNumber", drive.partNumber);
        v("firmware", drive.firmware);
        v("sizeMB", drive.sizeMB);
        v("state", drive.state);
        v("predicted", drive.predicted);
        v("temperature", drive.temperature);
        v("array", drive.array);
    }
};

template <>
struct Fields<ElementState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& element) {
        v("kind", element.kind);
        v("name", element.name);
        v("state", element.state);
        v("value", element.value);
    }
};

template <>
struct Fields<EnclosureState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& enclosure) {
        v("key", enclosure.key);
        v("name", enclosure.name);
        v("adapter", enclosure.adapter);
        v("channel", enclosure.channel);
        v("device", enclosure.device);
        v("vendor", enclosure.vendor);
        v("model", enclosure.model);
        v("serial", enclosure.serial);
        v("partNumber", enclosure.partNumber);
        v("state", enclosure.state);
        v("slots", enclosure.slots);
    }
};

template <>
struct Fields<ControllerState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& controller) {
        v("key", controller.key);
        v("number", controller.number);
        v("name", controller.name);
        v("vendor", controller.vendor);
        v("serial", controller.serial);
        v("pci", controller.pci);
        v("driver", controller.driver);
        v("firmware", controller.firmware);
        v("state", controller.state);
        v("battery", controller.battery);
        v("temperature", controller.temperature);
    }
};

template <>
struct Fields<PhyState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& phy) {
        v("place", phy.place);
        v("rate", phy.rate);
        v("owner", phy.owner);
    }
};

template <>
struct Fields<MachineState> {
    template <class Visitor, class Object>
    static void visit(Visitor&& v, Object& state) {
        v("host", state.host);
        v("source", state.source);
        v("polledAt", state.polledAt);
        v("polls", state.polls);
    }
};

// Objects inside an object are written and read by these.
template <class List, class Write>
Json listOf(const List& list, Write write) {
    Json array = Json::array();
    for (const auto& each : list) array.push_back(write(each));
    return array;
}

template <class List, class Read>
void readList(const Json& json, const char* name, List& list, Read read) {
    const auto found = json.find(name);
    if (found == json.end()) return;
    if (!found->is_array()) {
        throw Failure(Failure::kFailed, std::string("\"") + name + "\" of the state is no list");
    }
    for (const Json& each : *found) list.push_back(read(each));
}

template <class Object>
Json write(const Object& object) {
    Json json = Json::object();
    Fields<Object>::visit(Out{json}, object);
    return json;
}

template <class Object>
Object read(const Json& json) {
    if (!json.is_object()) throw Failure(Failure::kFailed, "a part of the state is no object");
    Object object;
    Fields<Object>::visit(In{json}, object);
    return object;
}

Json writeArray(const ArrayState& array) {
    Json json = write(array);
    json["members"] = listOf(array.members, write<MemberState>);
    json["task"] = array.task.kind.empty() ? Json() : write(array.task);
    return json;
}

ArrayState readArray(const Json& json) {
    auto array = read<ArrayState>(json);
    readList(json, "members", array.members, read<MemberState>);
    const auto task = json.find("task");
    if (task != json.end() && task->is_object()) array.task = read<TaskState>(*task);
    return array;
}

Json writeEnclosure(const EnclosureState& enclosure) {
    Json json = write(enclosure);
    json["elements"] = listOf(enclosure.elements, write<ElementState>);
    return json;
}

EnclosureState readEnclosure(const Json& json) {
    auto enclosure = read<EnclosureState>(json);
    readList(json, "elements", enclosure.elements, read<ElementState>);
    return enclosure;
}

}  // namespace

Json stateJson(const MachineState& state) {
    Json json = write(state);
    json["arrays"] = listOf(state.arrays, writeArray);
    json["drives"] = listOf(state.drives, write<DriveState>);
    json["enclosures"] = listOf(state.enclosures, writeEnclosure);
    json["controllers"] = listOf(state.controllers, write<ControllerState>);
    json["phys"] = listOf(state.phys, write<PhyState>);
    return json;
}

MachineState stateFromJson(const Json& json) {
    MachineState state;
    try {
        if (!json.is_object()) throw Failure(Failure::kFailed, "the state is no JSON object");
        Fields<MachineState>::visit(In{json}, state);
        readList(json, "arrays", state.arrays, readArray);
        readList(json, "drives", state.drives, read<DriveState>);
        readList(json, "enclosures", state.enclosures, readEnclosure);
        readList(json, "controllers", state.controllers, read<ControllerState>);
        readList(json, "phys", state.phys, read<PhyState>);
    } catch (const Json::exception& e) {
        throw Failure(Failure::kFailed, std::string("the state cannot be read: ") + e.what());
    }
    return state;
}
