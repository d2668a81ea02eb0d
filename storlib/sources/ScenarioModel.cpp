#include "storlib/sources/ScenarioModel.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace {

using List = ScenarioObject::List;
using Place = ScenarioModel::Place;

constexpr std::int64_t kLowByte = 0xff;

unsigned int number32(const ScenarioObject& object, const char* field) {
    return static_cast<unsigned int>(object.number(field, 0));
}

// --- finding ---

// The address that an object has in the tree, given the one above it.
Addr addressBelow(const Addr& parent, const ScenarioObject& object, const std::string& list) {
    Addr address = parent;
    if (list == "controllers") address = Addr::ofController(number32(object, "number"));
    if (list == "channels") address.channelID = number32(object, "number");
    if (list == "logicalDrives") address.logicalDriveID = number32(object, "number");
    if (object.kind->field("device") != nullptr) address.deviceID = number32(object, "device");
    return address;
}

// The first object below `parent` of which `isIt` holds.
template <class Test>
bool findBelow(ScenarioObject& parent, const Place& above, const Test& isIt, Place& found) {
    for (auto& [name, objects] : parent.lists) {
        for (std::size_t i = 0; i < objects.size(); ++i) {
            ScenarioObject& object = *objects[i];
            Place place{&object,
                        &parent,
                        name,
                        i,
                        above.controllerSerial,
                        addressBelow(above.address, object, name)};
            if (name == "controllers") place.controllerSerial = object.serial;
            if (isIt(object)) {
                found = place;
                return true;
            }
            if (findBelow(object, place, isIt, found)) return true;
        }
    }
    return false;
}

bool missing(const std::string& id, std::string& why) {
    why = "nothing is called \"" + id + "\" at this step; give an object that id, or use one " +
          "that is there";
    return false;
}

// An id in `object` or below it that `exists`; "" when there is none.
template <class Exists>
std::string takenId(const ScenarioObject& object, const Exists& exists) {
    if (!object.id.empty() && exists(object.id)) return object.id;
    for (const auto& [name, objects] : object.lists) {
        for (const auto& child : objects) {
            const std::string id = takenId(*child, exists);
            if (!id.empty()) return id;
        }
    }
    return std::string();
}

// --- numbers ---

// Gives each object of the list that has none the lowest number that is free in it.
void settleNumbers(const List& list) {
    std::set<std::int64_t> taken;
    for (const auto& object : list) {
        const std::int64_t number = object->number("number", -1);
        if (number >= 0) taken.insert(number);
    }
    std::int64_t next = 0;
    for (const auto& object : list) {
        if (object->kind->field("number") == nullptr || object->fields.count("number") != 0) {
            continue;
        }
        while (!taken.insert(next).second) ++next;
        object->fields["number"].integer = next;
    }
}

// --- conflicts ---

// Notes what is taken, and by whom.
template <class Key>
class Register {
public:
    // The object that has the key already; null when it was free.
    const ScenarioObject* enter(const Key& key, const ScenarioObject& object) {
        const auto [entry, isNew] = entries.emplace(key, &object);
        return isNew ? nullptr : entry->second;
    }

private:
    std::map<Key, const ScenarioObject*> entries;
};

using Found = std::optional<ScenarioModel::Conflict>;

Found numbersIn(const List& list) {
    Register<std::int64_t> numbers;
    for (const auto& object : list) {
        if (object->kind->field("number") == nullptr) continue;
        const std::int64_t number = object->number("number", 0);
        if (const ScenarioObject* other = numbers.enter(number, *object)) {
            return {{object.get(), std::string("is ") + object->kind->name + " " +
                                       std::to_string(number) + ", and so is " + other->where +
                                       "; give one of them another \"number\""}};
        }
    }
    return std::nullopt;
}

Found identitiesIn(const List& controllers) {
    Register<std::tuple<std::int64_t, std::int64_t, std::int64_t>> identities;
    for (const auto& object : controllers) {
        const ScenarioObject* other =
            identities.enter({object->number("pciBus", 0), object->number("pciDevice", 0),
                              object->number("pciFunction", 0)},
                             *object);
        if (other != nullptr) {
            return {{object.get(), "has the identity of " + other->where +
                                       "; give one of them another \"pciBus\", \"pciDevice\" or "
                                       "\"pciFunction\""}};
        }
    }
    return std::nullopt;
}

Found devicesOf(const ScenarioObject& channel) {
    Register<std::int64_t> devices;
    for (const char* list : {"drives", "safteEnclosures", "sesEnclosures"}) {
        for (const auto& object : channel.list(list)) {
            const std::int64_t device = object->number("device", 0);
            const bool endsIn255 = (device & kLowByte) == kLowByte;
            if (endsIn255 && !object->flag("spurious", false)) {
                return {{object.get(),
                         "has the device number " + std::to_string(device) +
                             ", whose low byte 255 marks an empty place; use another one" +
                             (object->kind->field("spurious") == nullptr
                                  ? ""
                                  : ", or say \"spurious\": true")}};
            }
            if (!endsIn255 && object->flag("spurious", false)) {
                return {{object.get(),
                         "is spurious, so its device number must have 255 as low "
                         "byte; use 255, 511, ..."}};
            }
            if (const ScenarioObject* other = devices.enter(device, *object)) {
                return {{object.get(), "is device " + std::to_string(device) +
                                           " of its channel, and so is " + other->where +
                                           "; give one of them another \"device\""}};
            }
        }
    }
    return std::nullopt;
}

Found tasksOf(const ScenarioObject& controller) {
    std::set<std::int64_t> drives;
    for (const auto& drive : controller.list("logicalDrives")) {
        drives.insert(drive->number("number", 0));
    }
    Register<std::int64_t> busy;
    for (const auto& task : controller.list("tasks")) {
        const std::int64_t on = task->number("on", 0);
        if (drives.count(on) == 0) {
            return {{task.get(), "runs on logical drive " + std::to_string(on) +
                                     ", which the controller does not have; change \"on\" or "
                                     "remove the task"}};
        }
        if (const ScenarioObject* other = busy.enter(on, *task)) {
            return {{task.get(), "runs on logical drive " + std::to_string(on) + ", and so does " +
                                     other->where + "; one drive has one task at a time"}};
        }
    }
    return std::nullopt;
}

Found conflictBelow(const ScenarioObject& parent, Register<std::string>& ids) {
    for (const auto& [name, objects] : parent.lists) {
        for (const auto& object : objects) {
            if (object->id.empty()) continue;
            if (const ScenarioObject* other = ids.enter(object->id, *object)) {
                return {{object.get(), "the id \"" + object->id + "\" is taken by " + other->where +
                                           "; choose another one"}};
            }
        }
        if (Found found = numbersIn(objects)) return found;
        if (name == "controllers") {
            if (Found found = identitiesIn(objects)) return found;
        }
        for (const auto& object : objects) {
            if (name == "channels") {
                if (Found found = devicesOf(*object)) return found;
            }
            if (name == "controllers") {
                if (Found found = tasksOf(*object)) return found;
            }
            if (Found found = conflictBelow(*object, ids)) return found;
        }
    }
    return std::nullopt;
}

}  // namespace

ScenarioModel::ScenarioModel(std::unique_ptr<ScenarioObject> machine) : root(std::move(machine)) {
    settle(*root);
}

void ScenarioModel::settle(ScenarioObject& parent) {
    for (auto& [name, objects] : parent.lists) {
        settleNumbers(objects);
        for (const auto& object : objects) {
            if (object->serial == 0) object->serial = ++lastSerial;
            if (name == "controllers" && object->fields.count("pciBus") == 0) {
                object->fields["pciBus"].integer = object->number("number", 0) + 1;
            }
            settle(*object);
        }
    }
}

bool ScenarioModel::set(const std::string& id, const std::map<std::string, ScenarioValue>& fields,
                        std::string& why) {
    Place place;
    if (!find(id, place)) return missing(id, why);
    for (const auto& [name, value] : fields) place.object->fields[name] = value;
    return true;
}

bool ScenarioModel::add(const std::string& parent, const std::string& list,
                        const ScenarioObject& object, std::string& why) {
    Place place;
    place.object = root.get();
    if (!parent.empty() && !find(parent, place)) return missing(parent, why);
    const std::string taken = takenId(object, [this](const std::string& id) {
        Place unused;
        return find(id, unused);
    });
    if (!taken.empty()) {
        why = "there is a \"" + taken + "\" already; choose another id";
        return false;
    }
    place.object->lists[list].push_back(object.clone());
    settle(*root);
    return true;
}

bool ScenarioModel::remove(const std::string& id, std::string& why) {
    Place place;
    if (!find(id, place)) return missing(id, why);
    List& list = place.parent->lists[place.list];
    removed[id] = {std::move(list[place.index]), place.parent->serial, place.list, place.index};
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(place.index));
    return true;
}

bool ScenarioModel::restore(const std::string& id, std::string& why) {
    const auto entry = removed.find(id);
    if (entry == removed.end()) {
        why = "nothing called \"" + id + "\" has been removed before this step; use add for " +
              "something new";
        return false;
    }
    Removed& gone = entry->second;
    Place place;
    place.object = root.get();
    const auto isParent = [&](const ScenarioObject& o) { return o.serial == gone.parentSerial; };
    if (gone.parentSerial != 0 && !findBelow(*root, Place(), isParent, place)) {
        why = "what held \"" + id + "\" is gone; restore that first";
        return false;
    }
    const std::string taken = takenId(*gone.object, [this](const std::string& name) {
        Place unused;
        return find(name, unused);
    });
    if (!taken.empty()) {
        why = "there is a \"" + taken + "\" already; remove it first";
        return false;
    }
    List& list = place.object->lists[gone.list];
    const std::size_t index = std::min(gone.index, list.size());
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), std::move(gone.object));
    // A controller that was away has lost its event log, as a new one.
    if (gone.list == "controllers") list[index]->serial = ++lastSerial;
    removed.erase(entry);
    return true;
}

bool ScenarioModel::find(const std::string& id, Place& place) const {
    if (id.empty()) return false;
    return findBelow(
        *root, Place(), [&id](const ScenarioObject& object) { return object.id == id; }, place);
}

std::optional<ScenarioModel::Conflict> ScenarioModel::conflict() const {
    Register<std::string> ids;
    return conflictBelow(*root, ids);
}
