#include "agent/commands/LocateVerb.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"
#include "agent/settings/Quantity.h"
#include "agent/state/ObjectKeys.h"
#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;
using Slot = EnclosureSlots::Slot;
using Light = EnclosureSlots::Light;

constexpr std::int64_t kLongestTime = 86400;  // seconds
constexpr std::chrono::milliseconds kLook{500};

const char* wordOf(Light light) {
    switch (light) {
        case Light::kOff:
            return "off";
        case Light::kOn:
            return "on";
        case Light::kUnknown:
            break;
    }
    return "unknown";
}

Json jsonOf(Light light) { return light == Light::kUnknown ? Json() : Json(light == Light::kOn); }

Json jsonOf(const Slot& slot) {
    return {{"enclosure", slot.enclosure},
            {"slot", slot.name},
            {"number", slot.number},
            {"drives", slot.drives},
            {"serial", slot.serial},
            {"wwn", slot.wwn},
            {"locate", jsonOf(EnclosureSlots::locate(slot))},
            {"fault", jsonOf(EnclosureSlots::fault(slot))},
            {"status", EnclosureSlots::status(slot)}};
}

// "sdb, serial S7K2M9Q0", "empty"
std::string inside(const Slot& slot) {
    if (slot.isEmpty()) return "empty";
    std::string text;
    for (const std::string& drive : slot.drives) text += (text.empty() ? "" : " ") + drive;
    if (!slot.serial.empty()) text += (text.empty() ? "serial " : ", serial ") + slot.serial;
    if (text.empty()) text = "WWN 0x" + slot.wwn;
    return safeText(text);
}

std::string named(const Slot& slot) { return safeText(slot.path()) + " (" + inside(slot) + ")"; }

Failure unsure(const std::string& line) { return Failure(Failure::kFailed, line); }

Slot onlyOne(const std::vector<Slot>& found, const std::string& wanted) {
    if (found.size() == 1) return found.front();
    std::string places;
    for (const Slot& slot : found) places += (places.empty() ? "" : " and ") + named(slot);
    throw unsure(wanted + " can mean " + places + "; name the slot as ENCLOSURE/SLOT");
}

// A light that is on, and that goes off at the end of the scope at the latest.
class Burning {
public:
    explicit Burning(const Slot& slotIN) : slot(slotIN) { EnclosureSlots::setLocate(slot, true); }
    ~Burning() {
        try {
            if (burns) EnclosureSlots::setLocate(slot, false);
        } catch (const Failure&) {
            // Whoever unwinds has an error of his own to tell.
        }
    }
    Burning(const Burning&) = delete;
    Burning& operator=(const Burning&) = delete;

    void end() {
        burns = false;
        EnclosureSlots::setLocate(slot, false);
    }

private:
    const Slot slot;
    bool burns = true;
};

std::string checkTime(const std::string& text) {
    std::int64_t seconds = 0;
    const bool fits = parseDuration(text, seconds) && seconds >= 1 && seconds <= kLongestTime;
    return fits ? "" : "\"" + text + "\" is no time; give 1s to 24h, as 10m";
}

}  // namespace

void LocateVerb::declare(Flags& flags) {
    flags.option("SLOT", wanted,
                 "ENCLOSURE/SLOT, c1:e2:s4, or a drive: sdb, /dev/sdb, serial number, WWN "
                 "(default: show every slot)");
    flags.option("ACTION", action, "on, off or status")
        .among({"on", "off", "status"})
        .showDefault();
    flags.option("--for", time, "with on: how long the light burns, 1s to 24h")
        .check(checkTime)
        .showDefault();
    flags.option("--root", root, "read the tree below this folder").showDefault();
    flags.flag("--json", json, "as JSON");
}

int LocateVerb::run(const Context& context) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(root, ignored)) {
        throw Failure(Failure::kBadUse,
                      "--root " + root + " is no folder; name one that holds sys");
    }
    const EnclosureSlots slots(root);
    if (wanted.empty()) return showAll(context, slots);
    const Slot slot = theSlot(slots);
    if (action == "on") return burn(context, slot);
    if (action == "off") EnclosureSlots::setLocate(slot, false);
    show(context, slot);
    return Failure::kDone;
}

Slot LocateVerb::theSlot(const EnclosureSlots& slots) const {
    if (!slots.hasEnclosure()) {
        throw unsure(
            "the kernel knows no enclosure here, so no light can be switched; load the module ses, "
            "or use the tool of the controller's maker");
    }
    const std::vector<Slot> found = slots.find(wanted);
    if (!found.empty()) return onlyOne(found, wanted);
    if (slots.hasDrive(wanted)) {
        throw unsure(wanted +
                     " sits in no slot of an enclosure that the kernel knows; find it by "
                     "its serial number");
    }
    return bySystem(slots);
}

// By what only the whole picture knows: c1:e2:s4, the name of an event. It is read now: a light
// that goes by an old picture marks the wrong drive.
Slot LocateVerb::bySystem(const EnclosureSlots& slots) const {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open("linux:" + root, error);
    if (!lib || lib->getSystemConfig().status != Ret::kOk) {
        throw unsure("nothing is called " + wanted + ", and the storage cannot be read" +
                     (lib ? ": " + lib->lastError() : ""));
    }
    StateBuilder builder;
    const MachineState state = builder.build(*lib, Clock::current().now());
    const std::vector<ObjectKey> objects = findObjects(state, wanted);
    if (objects.empty()) {
        throw unsure("no slot and no drive is called " + wanted +
                     "; raidwatch locate shows every slot");
    }
    if (objects.size() > 1) {
        throw unsure(wanted + " can mean " + std::to_string(objects.size()) +
                     " things; name the slot as ENCLOSURE/SLOT");
    }
    const DriveState* const drive = state.findDrive(objects.front().key);
    if (drive == nullptr) throw unsure(wanted + " is no drive; name a drive or a slot");
    if (drive->osName.empty()) {
        throw unsure(objects.front().name +
                     " is not there for the kernel; name its slot as "
                     "ENCLOSURE/SLOT");
    }
    const std::vector<Slot> found = slots.find(drive->osName);
    if (found.empty()) {
        throw unsure(objects.front().name + " (" + drive->osName +
                     ") sits in no slot of an enclosure that the kernel knows");
    }
    Slot slot = onlyOne(found, wanted);
    if (!drive->serial.empty() && !slot.serial.empty() && drive->serial != slot.serial) {
        throw unsure("the slot of " + drive->osName + " holds serial " + slot.serial + " and not " +
                     drive->serial + "; try again");
    }
    return slot;
}

void LocateVerb::show(const Context& context, const Slot& slot) const {
    if (json) {
        context.out.line(jsonLine(jsonOf(slot)));
        return;
    }
    const std::string state = EnclosureSlots::status(slot);
    context.out.line(named(slot) + ": light " + wordOf(EnclosureSlots::locate(slot)) + ", fault " +
                     wordOf(EnclosureSlots::fault(slot)) +
                     (state.empty() ? "" : ", status " + safeText(state)));
}

int LocateVerb::showAll(const Context& context, const EnclosureSlots& slots) const {
    const std::vector<Slot> all = slots.all();
    if (json) {
        Json list = Json::array();
        for (const Slot& slot : all) list.push_back(jsonOf(slot));
        context.out.line(jsonLine(list));
        return Failure::kDone;
    }
    if (all.empty()) context.out.line("the kernel knows no enclosure with slots here");
    for (const Slot& slot : all) show(context, slot);
    return Failure::kDone;
}

int LocateVerb::burn(const Context& context, const Slot& slot) const {
    std::int64_t seconds = 0;
    (void)parseDuration(time, seconds);
    Burning light(slot);
    show(context, slot);
    context.note("it goes off in " + writtenDuration(seconds) + ", or at Ctrl-C");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    bool stopped = false;
    while (!stopped && std::chrono::steady_clock::now() < end) {
        stopped = context.stop.waitFor(kLook);
        if (EnclosureSlots::locate(slot) == Light::kOff) {
            context.note("somebody has switched it off");
            break;
        }
        context.out.check();
    }
    light.end();
    context.note("the light of " + slot.path() + " is off");
    return Failure::kDone;
}
