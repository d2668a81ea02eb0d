#include "storlib/sources/SesEnclosures.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "storlib/sources/CleanText.h"
#include "storlib/sources/SysfsReader.h"

namespace {

constexpr std::size_t kPageLimit = 64 * 1024 - 4;
constexpr unsigned int kTimeoutMilliSeconds = 2000;

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

struct StatusRow {
    char const* text;
    EnumSESStatusCodes status;
};

// clang-format off
constexpr StatusRow kStatusRows[] = {
    {"unsupported",   kSesUnsupported},   {"OK",            kSesOk},
    {"critical",      kSesCritical},      {"non-critical",  kSesNonCritical},
    {"unrecoverable", kSesUnrecoverable}, {"not installed", kSesNotInstalled},
    {"unknown",       kSesUnknown},       {"unavailable",   kSesNotAvailable},
};
// clang-format on

// One page over SG_IO; a device that answers with a sense code has no such page.
bool receivePage(const std::string& node, int code, std::string& page) {
    const int handle = ::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (handle < 0) return false;
    unsigned char command[6] = {
        0x1c, 0x01, static_cast<unsigned char>(code), kPageLimit >> 8, kPageLimit & 0xff, 0};
    unsigned char sense[32] = {};
    std::string buffer(kPageLimit, '\0');
    sg_io_hdr_t request = {};
    request.interface_id = 'S';
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.cmd_len = sizeof command;
    request.mx_sb_len = sizeof sense;
    request.dxfer_len = static_cast<unsigned int>(buffer.size());
    request.dxferp = &buffer[0];
    request.cmdp = command;
    request.sbp = sense;
    request.timeout = kTimeoutMilliSeconds;
    const bool sent = ::ioctl(handle, SG_IO, &request) == 0;
    ::close(handle);
    if (!sent || (request.info & SG_INFO_OK_MASK) != SG_INFO_OK) return false;
    const std::size_t length =
        static_cast<unsigned char>(buffer[2]) * 256U + static_cast<unsigned char>(buffer[3]) + 4U;
    const auto unused = static_cast<std::size_t>(request.resid > 0 ? request.resid : 0);
    buffer.resize(std::min(length, buffer.size() - std::min(unused, buffer.size())));
    page.swap(buffer);
    return page.size() >= 4 && static_cast<unsigned char>(page[0]) == code;
}

}  // namespace

bool SesEnclosures::fetch(const LinuxDrive& device, int code, std::string& page) {
    char name[16];
    std::snprintf(name, sizeof name, "page_%02x.bin", static_cast<unsigned int>(code));
    const std::string recorded = "/lab/ses/" + device.name + "/" + name;
    if (!reader.isThisMachine()) return reader.read(recorded, page);
    std::vector<std::string> nodes;
    if (!reader.list(device.devicePath + "/scsi_generic", "sg", nodes) || nodes.empty()) {
        return false;
    }
    errno = 0;
    if (!receivePage("/dev/" + nodes.front(), code, page)) {
        reader.noteFailure(errno);
        return false;
    }
    if (reader.getRecorder() != nullptr) reader.getRecorder()->file(recorded, page);
    return true;
}

std::vector<SesUnit> SesEnclosures::unitsOf(const LinuxDrive& device, bool fresh) {
    SesPages& pages = known[device.devicePath];
    if (!fetch(device, SesPages::kStatus, pages.status)) {
        known.erase(device.devicePath);
        return {};
    }
    if (fresh || !pages.fits(pages.status)) {
        if (!fetch(device, SesPages::kConfiguration, pages.configuration)) return {};
        if (!fetch(device, SesPages::kThresholds, pages.thresholds)) pages.thresholds.clear();
        if (!fetch(device, SesPages::kDescriptors, pages.descriptors)) pages.descriptors.clear();
        if (!fetch(device, SesPages::kAdditional, pages.additional)) pages.additional.clear();
    }
    return pages.units();
}

std::vector<SesUnit> SesEnclosures::slotsOfClass(const LinuxDrive& device) {
    const std::string folder = device.devicePath + "/enclosure/" + device.name;
    std::vector<std::string> names;
    std::vector<SesUnit> units;
    (void)reader.list(folder, "", names);
    for (const std::string& name : names) {
        const std::string type = reader.text(folder + "/" + name + "/type");
        if (type != "array device" && type != "device") continue;
        SesUnit unit;
        unit.type = type == "device" ? kSesDevice : kSesArrayDevice;
        unit.status = kSesUnknown;
        const std::string status = reader.text(folder + "/" + name + "/status");
        for (const StatusRow& row : kStatusRows) {
            if (status == row.text) unit.status = row.status;
        }
        const std::int64_t slot = reader.number(folder + "/" + name + "/slot",
                                                static_cast<std::int64_t>(units.size()), 0, 65535);
        unit.descriptor = "SLOT " + std::to_string(slot);
        units.push_back(unit);
    }
    return units;
}

std::vector<LinuxEnclosure> SesEnclosures::read(bool identified) {
    std::vector<std::pair<std::string, std::string>> links;
    std::vector<LinuxEnclosure> found;
    (void)reader.listLinks("/sys/class/enclosure", "", links);
    for (const auto& [name, place] : links) {
        LinuxEnclosure enclosure;
        LinuxDrive& device = enclosure.device;
        device.kind = LinuxDrive::Kind::kScsi;
        device.name = name;
        int used = 0;
        unsigned int host = 0;
        if (std::sscanf(name.c_str(), "%9u:%9u:%9u:%9u%n", &host, &device.channel, &device.target,
                        &device.lun, &used) != 4 ||
            static_cast<std::size_t>(used) != name.size()) {
            continue;
        }
        device.host = static_cast<int>(host);
        device.devicePath = folderOf(folderOf(place));
        if (lastPart(device.devicePath) != name) continue;
        enclosure.units = unitsOf(device, identified);
        if (enclosure.units.empty()) enclosure.units = slotsOfClass(device);
        if (identified) BlockDrives::identify(reader, device);
        found.push_back(std::move(enclosure));
    }
    return found;
}
