#include "storlib/sources/LinuxHosts.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>
#include <utility>

#include "storlib/sources/CleanText.h"
#include "storlib/sources/SysfsReader.h"

namespace {

bool hexField(const std::string& text, std::size_t at, std::size_t digits, int& value) {
    const std::string field = text.substr(at, digits);
    if (field.size() != digits ||
        field.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return false;
    }
    value = static_cast<int>(std::strtol(field.c_str(), nullptr, 16));
    return true;
}

// "0000:00:1f.2", with a domain of four or five digits.
bool parsePci(const std::string& part, PciPlace& place) {
    const std::size_t colon = part.find(':');
    int domain = 0;
    int bus = 0;
    if (colon == std::string::npos || colon < 4 || colon > 5 || part.size() != colon + 8 ||
        part[colon + 3] != ':' || part[colon + 6] != '.') {
        return false;
    }
    if (!hexField(part, 0, colon, domain) || !hexField(part, colon + 1, 2, bus) ||
        !hexField(part, colon + 4, 2, place.device) ||
        !hexField(part, colon + 7, 1, place.function)) {
        return false;
    }
    place.bus = domain * 256 + bus;
    return true;
}

std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Whether "/ata7/" or the like stands in the path.
bool hasNumberedPart(const std::string& path, const std::string& stem) {
    std::size_t at = path.find("/" + stem);
    while (at != std::string::npos) {
        const std::size_t digits = at + 1 + stem.size();
        const std::size_t end = path.find_first_not_of("0123456789", digits);
        if (end != digits && end != std::string::npos && path[end] == '/') return true;
        at = path.find("/" + stem, at + 1);
    }
    return false;
}

// The first of several names under which drivers publish the same thing.
std::string firstText(SysfsReader& reader, const std::string& folder,
                      std::initializer_list<const char*> names) {
    for (const char* name : names) {
        std::string text = cleanText(reader.text(folder + "/" + name));
        if (!text.empty()) return text;
    }
    return std::string();
}

std::string shortHex(const std::string& text) {
    return text.compare(0, 2, "0x") == 0 ? text.substr(2) : text;
}

std::string driverVersion(SysfsReader& reader, const std::string& functionPath) {
    std::string module = lastPart(reader.resolve(functionPath + "/driver"));
    if (module.empty()) return std::string();
    std::replace(module.begin(), module.end(), '-', '_');
    return cleanText(reader.text("/sys/module/" + module + "/version"));
}

void describe(SysfsReader& reader, const std::string& functionPath, LinuxController& controller) {
    const std::string vendor = shortHex(reader.text(functionPath + "/vendor"));
    const std::string device = shortHex(reader.text(functionPath + "/device"));
    if (!vendor.empty()) controller.vendor = cleanText("[" + vendor + ":" + device + "]");
    const ScsiHost& host = controller.hosts.front();
    const std::string folder = host.path + "/scsi_host/host" + std::to_string(host.number);
    controller.driverVersion = driverVersion(reader, functionPath);
    if (controller.driverVersion.empty())
        controller.driverVersion = LinuxHosts::kernelRelease(reader);
    if (host.kind == ScsiHost::Kind::kAta) {
        controller.name = firstText(reader, folder, {"proc_name"});
        return;
    }
    controller.name = firstText(reader, folder, {"board_name", "model_name", "proc_name"});
    controller.serial = firstText(reader, folder, {"board_tracer", "board_tracer_number"});
    controller.biosVersion = firstText(reader, folder, {"version_bios", "bios_version"});
    controller.firmwareVersion =
        firstText(reader, folder, {"version_fw", "fw_version", "firmware_revision"});
}

}  // namespace

bool PciPlace::operator<(const PciPlace& other) const {
    return std::tie(bus, device, function) < std::tie(other.bus, other.device, other.function);
}

bool PciPlace::operator==(const PciPlace& other) const {
    return bus == other.bus && device == other.device && function == other.function;
}

std::int64_t PciPlace::ordinal() const {
    const std::int64_t number = static_cast<std::int64_t>(bus) * 256 + device * 8 + function;
    return known() && number < 0x10000000 ? number : -1;
}

PciPlace PciPlace::onTheWayTo(const std::string& path, std::string* functionPath) {
    PciPlace found;
    std::size_t begin = 0;
    while (begin < path.size()) {
        std::size_t end = path.find('/', begin);
        if (end == std::string::npos) end = path.size();
        PciPlace place;
        if (parsePci(path.substr(begin, end - begin), place)) {
            found = place;
            if (functionPath != nullptr) *functionPath = path.substr(0, end);
        }
        begin = end + 1;
    }
    return found;
}

namespace LinuxHosts {

std::vector<ScsiHost> hosts(SysfsReader& reader) {
    std::vector<ScsiHost> found;
    std::vector<std::pair<std::string, std::string>> links;
    std::vector<std::string> sas;
    (void)reader.listLinks("/sys/class/scsi_host", "host", links);
    (void)reader.list("/sys/class/sas_host", "host", sas);
    for (const auto& [name, place] : links) {
        ScsiHost host;
        std::int64_t number = 0;
        if (!SysfsReader::parse(name.substr(4), number) || number < 0 || number > 0xffffff)
            continue;
        host.number = static_cast<int>(number);
        const std::string ending = "/scsi_host/" + name;
        if (place.size() <= ending.size() ||
            place.compare(place.size() - ending.size(), ending.size(), ending) != 0) {
            continue;
        }
        host.path = place.substr(0, place.size() - ending.size());
        host.pci = PciPlace::onTheWayTo(host.path, &host.functionPath);
        if (hasNumberedPart(host.path, "ata")) {
            host.kind = ScsiHost::Kind::kAta;
        } else if (std::binary_search(sas.begin(), sas.end(), name)) {
            host.kind = ScsiHost::Kind::kSas;
        }
        found.push_back(host);
    }
    std::sort(found.begin(), found.end(),
              [](const ScsiHost& a, const ScsiHost& b) { return a.number < b.number; });
    return found;
}

std::vector<LinuxController> controllers(SysfsReader& reader, const std::vector<ScsiHost>& hosts,
                                         const std::vector<LinuxDrive>& drives, bool withNvme,
                                         bool withOther) {
    std::map<PciPlace, LinuxController> onPci;
    LinuxController nvme;
    LinuxController other = otherDrives();
    nvme.kind = LinuxController::Kind::kNvme;
    nvme.name = "NVMe";
    std::map<PciPlace, bool> isStorage;
    for (const ScsiHost& host : hosts) {
        if (host.pci.known() && isStorage.count(host.pci) == 0) {
            // Class 0x01XXXX is mass storage; a USB or network function is not.
            isStorage[host.pci] =
                shortHex(reader.text(host.functionPath + "/class")).compare(0, 2, "01") == 0;
        }
        if (host.pci.known() && isStorage[host.pci]) {
            onPci[host.pci].hosts.push_back(host);
        } else {
            other.hosts.push_back(host);
        }
    }
    std::vector<LinuxController> found;
    for (auto& [place, controller] : onPci) {
        controller.kind = LinuxController::Kind::kPci;
        controller.pci = place;
        describe(reader, controller.hosts.front().functionPath, controller);
        found.push_back(controller);
    }
    const auto isOther = [&](const LinuxDrive& drive) {
        if (drive.kind == LinuxDrive::Kind::kNvme) return false;
        if (drive.kind != LinuxDrive::Kind::kScsi) return true;
        const auto isOwn = [&](const ScsiHost& host) { return host.number == drive.host; };
        return std::none_of(found.begin(), found.end(), [&](const LinuxController& controller) {
            return std::any_of(controller.hosts.begin(), controller.hosts.end(), isOwn);
        });
    };
    const auto isNvme = [](const LinuxDrive& d) { return d.kind == LinuxDrive::Kind::kNvme; };
    const bool anyNvme = std::any_of(drives.begin(), drives.end(), isNvme);
    const bool anyOther = std::any_of(drives.begin(), drives.end(), isOther);
    if (withNvme || anyNvme) found.push_back(nvme);
    if (withOther || anyOther) found.push_back(other);
    return found;
}

LinuxController otherDrives() {
    LinuxController other;
    other.kind = LinuxController::Kind::kOther;
    other.name = "other drives";
    return other;
}

std::string kernelRelease(SysfsReader& reader) {
    std::string release = cleanText(reader.text("/proc/sys/kernel/osrelease"));
    if (!release.empty()) return release;
    const std::string version = reader.text("/proc/version");  // "Linux version 6.1.0 (..."
    const std::string lead = "Linux version ";
    if (version.compare(0, lead.size(), lead) != 0) return std::string();
    return cleanText(version.substr(lead.size(), version.find(' ', lead.size()) - lead.size()));
}

}  // namespace LinuxHosts
