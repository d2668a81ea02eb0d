#include "storlib/sources/BlockDrives.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "storlib/sources/CleanText.h"
#include "storlib/sources/SysfsReader.h"

namespace {

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool startsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

// "1:0:2:0"
bool parseAddress(const std::string& text, LinuxDrive& drive) {
    unsigned int host = 0;
    int used = 0;
    if (std::sscanf(text.c_str(), "%9u:%9u:%9u:%9u%n", &host, &drive.channel, &drive.target,
                    &drive.lun, &used) != 4 ||
        static_cast<std::size_t>(used) != text.size()) {
        return false;
    }
    drive.host = static_cast<int>(host);
    return true;
}

// "nvme0n1", but not the hidden "nvme0c1n1"
bool parseNvme(const std::string& name, LinuxDrive& drive) {
    int used = 0;
    return std::sscanf(name.c_str(), "nvme%6un%6u%n", &drive.instance, &drive.nameSpace, &used) ==
               2 &&
           static_cast<std::size_t>(used) == name.size();
}

bool isHexText(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

void setWwn(const std::string& digits, LinuxDrive& drive) {
    if (!isHexText(digits) || digits.size() < 16) return;
    drive.wwn = digits;
    for (char& c : drive.wwn) {
        if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
    }
    for (std::size_t i = 0; i < drive.wwnBytes.size(); ++i) {
        drive.wwnBytes[i] = static_cast<unsigned char>(
            std::stoul(digits.substr(i * 2, 2), nullptr, 16));  // two digits: cannot fail
    }
}

// "naa.5001122300000500", "eui.0025385b71b0a1c2", "t10.ATA     MODEL      SERIAL"
void applyWwid(const std::string& wwid, LinuxDrive& drive) {
    if (startsWith(wwid, "naa.") || startsWith(wwid, "eui.")) {
        setWwn(wwid.substr(4), drive);
        if (drive.serial.empty()) drive.serial = drive.wwn;
    } else if (drive.serial.empty() && startsWith(wwid, "t10.")) {
        const std::string text = cleanText(wwid.substr(4));
        drive.serial = cleanText(text.substr(text.find_last_of(' ') + 1));
    }
}

// Text in the identification of an ATA drive: two characters a word, the second one first.
std::string ataText(const std::string& words, std::size_t first, std::size_t count) {
    std::string text;
    for (std::size_t i = first * 2; i < (first + count) * 2; i += 2) {
        text += words[i + 1];
        text += words[i];
    }
    return cleanText(text);
}

// VPD page 0x89 holds the whole identification, of which the SCSI texts are cut copies.
bool applyAtaPage(const std::string& page, LinuxDrive& drive) {
    constexpr std::size_t kIdentification = 60;
    constexpr std::size_t kSize = 512;
    if (page.size() < kIdentification + kSize || page[1] != '\x89') return false;
    const std::string words = page.substr(kIdentification, kSize);
    drive.serial = ataText(words, 10, 10);
    drive.firmware = ataText(words, 23, 4);
    drive.model = ataText(words, 27, 20);
    char digits[17];
    int length = 0;
    for (std::size_t word = 108; word < 112; ++word) {
        const auto high = static_cast<unsigned char>(words[word * 2 + 1]);
        const auto low = static_cast<unsigned char>(words[word * 2]);
        length += std::snprintf(digits + length, sizeof digits - static_cast<std::size_t>(length),
                                "%02X%02X", high, low);
    }
    if (digits[0] == '5') setWwn(digits, drive);  // a registered name; anything else is filler
    return !drive.model.empty();
}

void identifyNvme(SysfsReader& reader, LinuxDrive& drive) {
    drive.model = cleanText(reader.text(drive.devicePath + "/model"));
    drive.serial = cleanText(reader.text(drive.devicePath + "/serial"));
    drive.firmware = cleanText(reader.text(drive.devicePath + "/firmware_rev"));
    applyWwid(reader.text(drive.path + "/wwid"), drive);
    const std::string state = reader.text(drive.devicePath + "/state");
    drive.answers = state != "dead" && state != "deleting";
}

void identifyOther(SysfsReader& reader, LinuxDrive& drive) {
    if (startsWith(drive.name, "mmcblk")) {
        drive.model = cleanText(reader.text(drive.devicePath + "/name"));
        drive.serial = cleanText(reader.text(drive.devicePath + "/serial"));
    } else if (startsWith(drive.name, "loop")) {
        drive.model = "loop-back";
        drive.serial = lastPart(cleanText(reader.text(drive.path + "/loop/backing_file")));
    } else {
        drive.serial = cleanText(reader.text(drive.path + "/serial"));
        if (startsWith(drive.name, "vd")) drive.model = "virtio";
    }
}

bool isKnownOther(const std::string& name) {
    static constexpr const char* kNames[] = {"vd",     "xvd", "hd",   "loop",
                                             "mmcblk", "ub",  "dasd", "pmem"};
    if (startsWith(name, "mmcblk") && name.find("boot") != std::string::npos) return false;
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](const char* start) { return startsWith(name, start); });
}

// What kind of drive a name stands for; false when it is none.
bool classify(const BlockName& block, LinuxDrive& drive) {
    drive.name = block.name;
    drive.path = block.path;
    const std::string parent = folderOf(block.path);
    if (startsWith(block.name, "sd")) {
        drive.kind = LinuxDrive::Kind::kScsi;
        drive.devicePath = folderOf(parent);  // ".../0:0:1:0/block/sda"
        return parseAddress(lastPart(drive.devicePath), drive);
    }
    if (startsWith(block.name, "nvme")) {
        drive.kind = LinuxDrive::Kind::kNvme;
        drive.devicePath = parent;
        return parseNvme(block.name, drive);
    }
    drive.devicePath = folderOf(parent);
    return isKnownOther(block.name);
}

// A loop device counts while it is bound to a file that can be written: packages are mounted
// through read-only ones by the dozen.
bool isUsable(SysfsReader& reader, const LinuxDrive& drive, std::int64_t sectors) {
    if (startsWith(drive.name, "loop"))
        return sectors > 0 && reader.text(drive.path + "/ro") == "0";
    return sectors > 0 || reader.text(drive.path + "/removable") != "1";
}

}  // namespace

namespace BlockDrives {

std::vector<BlockName> names(SysfsReader& reader) {
    std::vector<std::pair<std::string, std::string>> links;
    std::vector<BlockName> found;
    (void)reader.listLinks("/sys/block", "", links);
    found.reserve(links.size());
    for (auto& [name, path] : links) found.push_back({std::move(name), std::move(path)});
    return found;
}

std::string serialOfPage80(const std::string& page) {
    if (page.size() < 4 || page[1] != '\x80') return std::string();
    const std::size_t length =
        static_cast<unsigned char>(page[2]) * 256U + static_cast<unsigned char>(page[3]);
    return cleanText(page.substr(4, length));
}

void identify(SysfsReader& reader, LinuxDrive& device) {
    const std::string& folder = device.devicePath;
    const std::string state = reader.text(folder + "/state");
    device.answers = state != "offline" && state != "transport-offline" && state != "cancel" &&
                     state != "deleted";
    device.vendor = cleanText(reader.text(folder + "/vendor"));
    std::string page;
    if (device.vendor == "ATA" && reader.read(folder + "/vpd_pg89", page) &&
        applyAtaPage(page, device)) {
        if (device.wwn.empty()) applyWwid(reader.text(folder + "/wwid"), device);
        return;
    }
    device.model = cleanText(reader.text(folder + "/model"));
    device.firmware = cleanText(reader.text(folder + "/rev"));
    if (reader.read(folder + "/vpd_pg80", page)) device.serial = serialOfPage80(page);
    applyWwid(reader.text(folder + "/wwid"), device);
}

std::vector<LinuxDrive> read(SysfsReader& reader, const std::vector<BlockName>& names) {
    std::vector<LinuxDrive> drives;
    for (const BlockName& block : names) {
        LinuxDrive drive;
        if (!classify(block, drive)) continue;
        reader.enter(drive.devicePath);  // the block device lies below it
        const std::int64_t sectors = reader.number(drive.path + "/size", 0, 0, INT64_MAX);
        if (!isUsable(reader, drive, sectors)) continue;
        drive.megabytes = sectors / 2048;
        if (drive.kind == LinuxDrive::Kind::kScsi) {
            identify(reader, drive);
        } else if (drive.kind == LinuxDrive::Kind::kNvme) {
            identifyNvme(reader, drive);
        } else {
            identifyOther(reader, drive);
        }
        drives.push_back(std::move(drive));
    }
    std::sort(drives.begin(), drives.end(),
              [](const LinuxDrive& a, const LinuxDrive& b) { return a.path < b.path; });
    return drives;
}

}  // namespace BlockDrives
