#include "agent/state/ObjectKeys.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>

#include "agent/EventNames.h"

namespace {

std::string number(unsigned int identifier) {
    return identifier == Addr::kNotSet ? "-" : std::to_string(identifier);
}

std::string placeOf(const Addr& at) {
    return number(at.controllerID) + ":" + number(at.channelID) + ":" + number(at.deviceID);
}

template <class Object>
bool standsAt(const Object& object, const Addr& at) {
    return static_cast<unsigned int>(object.adapter) == at.controllerID &&
           static_cast<unsigned int>(object.channel) == at.channelID &&
           static_cast<unsigned int>(object.device) == at.deviceID;
}

// A drive that has just been exchanged stands at the place of another one, so the serial number
// that the event carries counts before the place.
ObjectKey driveKey(const QELEvent& event, const MachineState& state) {
    const std::string& serial = event.extra1;
    const std::string name = "drive " + placeOf(event.location);
    const DriveState* here = nullptr;
    for (const DriveState& drive : state.drives) {
        if (!standsAt(drive, event.location)) continue;
        if (serial.empty() || drive.serial == serial) return {drive.key, drive.name};
        here = &drive;
    }
    for (const DriveState& drive : state.drives) {
        if (!serial.empty() && drive.serial == serial && here == nullptr) return {drive.key, name};
    }
    if (!serial.empty()) return {"drive:" + serial, name};
    return {"drive:at:" + placeOf(event.location), name};
}

ObjectKey arrayKey(const Addr& at, unsigned int arrayNumber, const MachineState& state) {
    const std::string place = number(at.controllerID) + ":" + number(arrayNumber);
    const std::string key = "array:" + place;
    const ArrayState* known = state.findArray(key);
    return {key, known == nullptr ? "array " + place : known->name};
}

ObjectKey enclosureKey(const Addr& at, const MachineState& state) {
    for (const EnclosureState& enclosure : state.enclosures) {
        if (standsAt(enclosure, at)) return {enclosure.key, enclosure.name};
    }
    return {"enclosure:at:" + placeOf(at), "enclosure " + placeOf(at)};
}

// Units are counted from 1, as their labels are.
ObjectKey unitKey(const char* word, int index, const Addr& at, const MachineState& state) {
    const ObjectKey enclosure = enclosureKey(at, state);
    const std::string which =
        index == QELEvent::kNotSet ? std::string("-") : std::to_string(index + 1);
    return {enclosure.key + "/" + word + which,
            std::string(word) + " " + which + " of " + enclosure.name};
}

ObjectKey controllerKey(const QELEvent& event, const MachineState& state) {
    for (const ControllerState& controller : state.controllers) {
        if (static_cast<unsigned int>(controller.number) == event.location.controllerID) {
            return {controller.key, "controller " + std::to_string(controller.number)};
        }
    }
    const std::string& serial = event.adapterSerial;
    return {"controller:" + (serial.empty() ? number(event.location.controllerID) : serial),
            "controller " + number(event.location.controllerID)};
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool startsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

std::string withoutPrefix(const std::string& text, const char* prefix) {
    return startsWith(text, prefix) ? text.substr(std::string(prefix).size()) : text;
}

// What a person may type for one object; all in lower case.
struct Wanted {
    std::string text;        // as typed
    std::string device;      // without /dev/
    std::string wwn;         // without naa., 0x, ...
    std::vector<int> place;  // of a drive or an enclosure: three numbers, or none
    int arrayNumber = -1;    // "ld0", "array 0", as events name them
    int arrayAdapter = -1;
};

// Of "1:0:3"; none when it is anything else.
std::vector<int> numbersIn(const std::string& text) {
    std::vector<int> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        int number = 0;
        const std::from_chars_result read = std::from_chars(at, end, number);
        if (read.ec != std::errc() || number < 0) return {};
        numbers.push_back(number);
        if (read.ptr == end) return numbers;
        if (*read.ptr != ':') return {};
        at = read.ptr + 1;
    }
}

// "c1:e2:s4" becomes "1:2:4", anything else "".
std::string withoutLetters(const std::string& text) {
    const std::size_t e = text.find(":e");
    const std::size_t s = text.find(":s", e == std::string::npos ? 0 : e);
    if (!startsWith(text, "c") || e == std::string::npos || s == std::string::npos) return "";
    return text.substr(1, e) + text.substr(e + 2, s - e - 1) + text.substr(s + 2);
}

Wanted parse(const std::string& typed) {
    Wanted wanted;
    wanted.text = lower(typed);
    wanted.device = withoutPrefix(withoutPrefix(wanted.text, "/dev/"), "md/");
    wanted.wwn = withoutPrefix(withoutPrefix(withoutPrefix(wanted.text, "wwn-"), "naa."), "0x");
    for (const std::string& place :
         {wanted.text, withoutPrefix(wanted.text, "drive "),
          withoutPrefix(wanted.text, "enclosure "), withoutPrefix(wanted.text, "encl. "),
          withoutLetters(wanted.text)}) {
        const std::vector<int> numbers = numbersIn(place);
        if (numbers.size() == 3) wanted.place = numbers;
    }
    const std::string array = withoutPrefix(withoutPrefix(wanted.text, "ld"), "array ");
    const std::vector<int> numbers = numbersIn(array);
    if (numbers.size() == 2) wanted.arrayAdapter = numbers.front();
    if (numbers.size() == 2 || (numbers.size() == 1 && array != wanted.text)) {
        wanted.arrayNumber = numbers.back();
    }
    return wanted;
}

bool is(const std::string& name, const std::string& wanted) {
    return !name.empty() && lower(name) == wanted;
}

bool matches(const ArrayState& array, const Wanted& wanted) {
    if (is(array.key, wanted.text) || is(array.name, wanted.device) ||
        is(array.label, wanted.device)) {
        return true;
    }
    return wanted.arrayNumber == array.number &&
           (wanted.arrayAdapter < 0 || wanted.arrayAdapter == array.adapter);
}

// The last number of c1:e2:s4 is a slot where the drive's slot is known, else a device number.
bool matches(const DriveState& drive, const Wanted& wanted) {
    if (is(drive.key, wanted.text) || is(drive.name, wanted.text) ||
        is(drive.osName, wanted.device) || is(drive.serial, wanted.text)) {
        return true;
    }
    if (!drive.wwn.empty() && withoutPrefix(lower(drive.wwn), "0x") == wanted.wwn) return true;
    if (wanted.place.empty()) return false;
    const bool bySlot = startsWith(wanted.text, "c") && drive.slot >= 0;
    return wanted.place[0] == drive.adapter && wanted.place[1] == drive.channel &&
           wanted.place[2] == (bySlot ? drive.slot : drive.device);
}

bool matches(const EnclosureState& enclosure, const Wanted& wanted) {
    if (is(enclosure.key, wanted.text) || is(enclosure.name, wanted.text) ||
        is(enclosure.serial, wanted.text)) {
        return true;
    }
    return !wanted.place.empty() && !startsWith(wanted.text, "c") &&
           !startsWith(wanted.text, "d") && wanted.place[0] == enclosure.adapter &&
           wanted.place[1] == enclosure.channel && wanted.place[2] == enclosure.device;
}

bool matches(const ControllerState& controller, const Wanted& wanted) {
    return is(controller.key, wanted.text) || is(controller.serial, wanted.text) ||
           wanted.text == "controller " + std::to_string(controller.number) ||
           wanted.text == "adapter " + std::to_string(controller.number) ||
           wanted.text == "c" + std::to_string(controller.number);
}

}  // namespace

ObjectKey objectOf(const QELEvent& event, const MachineState& state) {
    const Addr& at = event.location;
    switch (event.objectType) {
        case QELEvent::kPhysicalDrive:
            return driveKey(event, state);
        case QELEvent::kLogicalDrive:
            return arrayKey(at, at.logicalDriveID, state);
        case QELEvent::kArray:
            return arrayKey(at, at.arrayID, state);
        case QELEvent::kEnclosure:
            return enclosureKey(at, state);
        case QELEvent::kFan:
            return unitKey("fan", event.value2, at, state);
        case QELEvent::kPowerSupply:
            return unitKey("supply", event.value3, at, state);
        case QELEvent::kAdapter:
            return controllerKey(event, state);
        default:
            return {"system", "this machine"};
    }
}

std::vector<ObjectKey> findObjects(const MachineState& state, const std::string& wanted) {
    const Wanted parsed = parse(wanted);
    std::vector<ObjectKey> found;
    if (wanted.empty()) return found;
    for (const ArrayState& array : state.arrays) {
        if (matches(array, parsed)) found.push_back({array.key, array.name});
    }
    for (const DriveState& drive : state.drives) {
        if (matches(drive, parsed)) found.push_back({drive.key, drive.name});
    }
    for (const EnclosureState& enclosure : state.enclosures) {
        if (matches(enclosure, parsed)) found.push_back({enclosure.key, enclosure.name});
    }
    for (const ControllerState& controller : state.controllers) {
        if (matches(controller, parsed)) {
            found.push_back({controller.key, "controller " + std::to_string(controller.number)});
        }
    }
    return found;
}
