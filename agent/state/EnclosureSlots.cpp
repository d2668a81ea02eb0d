#include "agent/state/EnclosureSlots.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

#include "agent/Failure.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostBytes = 4096;  // of an attribute

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::string text(kMostBytes, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    return text;
}

std::string trimmed(const std::string& text) {
    const auto isBlank = [](unsigned char c) { return std::isspace(c) != 0 || c == 0; };
    auto begin = std::find_if_not(text.begin(), text.end(), isBlank);
    auto end = std::find_if_not(text.rbegin(), text.rend(), isBlank).base();
    return begin < end ? std::string(begin, end) : std::string();
}

std::string attribute(const std::string& folder, const char* name) {
    return trimmed(contentsOf(folder + "/" + name));
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool exists(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

// The number of the vital product data page: after four bytes of head, to the length in the last
// of them.
std::string serialOf(const std::string& device) {
    const std::string page = contentsOf(device + "/vpd_pg80");
    if (page.size() <= 4) return "";
    return trimmed(page.substr(4, static_cast<unsigned char>(page[3])));
}

std::string withoutWwnPrefix(const std::string& text) {
    std::string wwn = lower(text);
    for (const char* prefix : {"wwn-", "naa.", "0x"}) {
        if (wwn.rfind(prefix, 0) == 0) wwn.erase(0, std::strlen(prefix));
    }
    return wwn;
}

// "naa.5000c500a1b2c3d4"; a name of another kind is none.
std::string wwnOf(const std::string& device) {
    const std::string wwid = lower(attribute(device, "wwid"));
    return wwid.rfind("naa.", 0) == 0 ? withoutWwnPrefix(wwid) : "";
}

int numberOf(const std::string& text) {
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    const bool whole = !text.empty() && *end == 0 && number >= 0 && number < 100000;
    return whole ? static_cast<int>(number) : -1;
}

EnclosureSlots::Light lightOf(const EnclosureSlots::Slot& slot, const char* name) {
    const std::string value = attribute(slot.folder, name);
    if (value == "0") return EnclosureSlots::Light::kOff;
    return value.empty() ? EnclosureSlots::Light::kUnknown : EnclosureSlots::Light::kOn;
}

EnclosureSlots::Slot slotAt(const std::string& folder) {
    EnclosureSlots::Slot slot;
    slot.folder = folder;
    slot.number = numberOf(attribute(folder, "slot"));
    const std::string device = folder + "/device";
    slot.drives = namesIn(device + "/block");
    slot.serial = serialOf(device);
    slot.wwn = wwnOf(device);
    return slot;
}

// Whether `wanted`, in lower case, is what stands in the slot.
bool holds(const EnclosureSlots::Slot& slot, const std::string& wanted) {
    const std::string device = wanted.rfind("/dev/", 0) == 0 ? wanted.substr(5) : wanted;
    const auto isIt = [&](const std::string& name) { return lower(name) == device; };
    if (std::any_of(slot.drives.begin(), slot.drives.end(), isIt)) return true;
    if (!slot.serial.empty() && lower(slot.serial) == wanted) return true;
    return !slot.wwn.empty() && slot.wwn == withoutWwnPrefix(wanted);
}

bool isNamed(const EnclosureSlots::Slot& slot, const std::string& name) {
    return lower(slot.name) == name || (slot.number >= 0 && numberOf(name) == slot.number);
}

bool isAt(const EnclosureSlots::Slot& slot, const std::string& wanted) {
    const std::string::size_type slash = wanted.find('/');
    if (slash == std::string::npos) return isNamed(slot, wanted);
    const std::string enclosure = wanted.substr(0, slash);
    return (lower(slot.enclosure) == enclosure || lower(slot.enclosureId) == enclosure) &&
           isNamed(slot, wanted.substr(slash + 1));
}

// The same slot of the same enclosure, reached on two ways.
bool isTwin(const EnclosureSlots::Slot& a, const EnclosureSlots::Slot& b) {
    return !a.enclosureId.empty() && a.enclosureId == b.enclosureId && a.name == b.name &&
           a.number == b.number && (a.serial.empty() || b.serial.empty() || a.serial == b.serial);
}

}  // namespace

EnclosureSlots::EnclosureSlots(const std::string& rootIN) : root(rootIN) {
    while (!root.empty() && root.back() == '/') root.pop_back();
}

std::vector<EnclosureSlots::Slot> EnclosureSlots::all() const {
    std::vector<Slot> slots;
    const std::string base = root + "/sys/class/enclosure";
    for (const std::string& enclosure : namesIn(base)) {
        const std::string folder = base + "/" + enclosure;
        for (const std::string& name : namesIn(folder)) {
            // Each of the drive places has a type; links to devices and power settings have not.
            if (!exists(folder + "/" + name + "/type") || name == "device") continue;
            Slot slot = slotAt(folder + "/" + name);
            slot.enclosure = enclosure;
            slot.enclosureId = attribute(folder, "id");
            slot.name = name;
            slots.push_back(slot);
        }
    }
    std::stable_sort(slots.begin(), slots.end(), [](const Slot& a, const Slot& b) {
        return std::tie(a.enclosure, a.number) < std::tie(b.enclosure, b.number);
    });
    return slots;
}

std::vector<EnclosureSlots::Slot> EnclosureSlots::find(const std::string& wanted) const {
    const std::string name = lower(wanted);
    std::vector<Slot> found;
    if (name.empty()) return found;
    for (const Slot& slot : all()) {
        if (!holds(slot, name) && !isAt(slot, name)) continue;
        const auto same = [&](const Slot& other) { return isTwin(slot, other); };
        if (std::none_of(found.begin(), found.end(), same)) found.push_back(slot);
    }
    return found;
}

bool EnclosureSlots::hasEnclosure() const {
    return !namesIn(root + "/sys/class/enclosure").empty();
}

bool EnclosureSlots::hasDrive(const std::string& name) const {
    const std::string device = name.rfind("/dev/", 0) == 0 ? name.substr(5) : name;
    return !device.empty() && device.find('/') == std::string::npos && device[0] != '.' &&
           exists(root + "/sys/block/" + device);
}

EnclosureSlots::Light EnclosureSlots::locate(const Slot& slot) { return lightOf(slot, "locate"); }

EnclosureSlots::Light EnclosureSlots::fault(const Slot& slot) { return lightOf(slot, "fault"); }

std::string EnclosureSlots::status(const Slot& slot) { return attribute(slot.folder, "status"); }

void EnclosureSlots::setLocate(const Slot& slot, bool on) {
    const std::string file = slot.folder + "/locate";
    // Never made: an attribute that is not there must not become a file.
    const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    int why = fd < 0 ? errno : 0;
    if (fd >= 0) {
        if (write(fd, on ? "1" : "0", 1) != 1) why = errno;
        if (close(fd) != 0 && why == 0) why = errno;
    }
    if (why == EACCES || why == EPERM) {
        throw Failure(Failure::kFailed, "not permitted to switch the light of " + slot.path() +
                                            "; run as root, with sudo");
    }
    if (why != 0) {
        throw Failure(Failure::kFailed, "cannot switch the light of " + slot.path() + " (" +
                                            std::strerror(why) +
                                            "); the enclosure may have none for this slot");
    }
    if (locate(slot) != (on ? Light::kOn : Light::kOff)) {
        throw Failure(Failure::kFailed, "the enclosure took the order for " + slot.path() +
                                            ", but its light does not show " + (on ? "on" : "off") +
                                            "; look before you pull a drive");
    }
}
