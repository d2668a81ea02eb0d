#include "storlib/sources/SasPhys.h"

#include <algorithm>

#include "storlib/Attributes.h"
#include "storlib/SASPhy.h"
#include "storlib/sources/SysfsReader.h"

namespace {

constexpr unsigned int kMostPhys = 1024;

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }
bool startsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

struct WordRow {
    char const* word;
    int value;
};

// clang-format off
constexpr WordRow kRates[] = {
    {"Phy disabled", 1}, {"Link Rate failed", 2}, {"Spin-up hold", 3}, {"1.5 Gbit", 8},
    {"3.0 Gbit", 9},     {"6.0 Gbit", 10},        {"12.0 Gbit", 11},   {"22.5 Gbit", 12},
};
constexpr WordRow kProtocols[] = {{"sata", 1}, {"smp", 2}, {"stp", 4}, {"ssp", 8}};
// clang-format on

int rate(const std::string& text) {
    for (const WordRow& row : kRates) {
        if (text == row.word) return row.value;
    }
    return 0;
}

unsigned int protocols(const std::string& text) {
    unsigned int bits = 0;
    for (const WordRow& row : kProtocols) {
        if (text.find(row.word) != std::string::npos) bits |= static_cast<unsigned int>(row.value);
    }
    return bits;
}

// "phy-0:2" and "phy-0:0:2" are phy 2.
unsigned int phyNumber(const std::string& name) {
    std::int64_t number = 0;
    if (!SysfsReader::parse(name.substr(name.rfind(':') + 1), number) || number < 0 ||
        number >= kMostPhys) {
        return 0;
    }
    return static_cast<unsigned int>(number);
}

// What a port leads to: "end_device-0:2", "expander-0:0"; "" for nothing.
std::string deviceInPort(SysfsReader& reader, const std::string& port) {
    std::vector<std::string> found;
    if (reader.list(port, "end_device-", found) && !found.empty()) return found.front();
    if (reader.list(port, "expander-", found) && !found.empty()) return found.front();
    return std::string();
}

SasLink readPhy(SysfsReader& reader, const std::string& folder, const std::string& name) {
    const std::string path = folder + "/" + name + "/sas_phy/" + name;
    SasLink link;
    link.phyID = phyNumber(name);
    link.address = SasPhys::address(reader.text(path + "/sas_address"));
    link.initiatorProtocols = protocols(reader.text(path + "/initiator_port_protocols"));
    link.targetProtocols = protocols(reader.text(path + "/target_port_protocols"));
    link.rate = rate(reader.text(path + "/negotiated_linkrate"));
    link.leastRate = rate(reader.text(path + "/minimum_linkrate"));
    link.mostRate = rate(reader.text(path + "/maximum_linkrate"));
    link.leastHardwareRate = rate(reader.text(path + "/minimum_linkrate_hw"));
    link.mostHardwareRate = rate(reader.text(path + "/maximum_linkrate_hw"));
    return link;
}

void readAttached(SysfsReader& reader, const std::string& device, SasLink& link) {
    const std::string path = device + "/sas_device/" + lastPart(device);
    link.attachedAddress = SasPhys::address(reader.text(path + "/sas_address"));
    link.attachedPhyID =
        static_cast<unsigned int>(reader.number(path + "/phy_identifier", 0, 0, kMostPhys));
    link.attachedTargetProtocols = protocols(reader.text(path + "/target_port_protocols"));
    link.attachedType = startsWith(lastPart(device), "expander-") ? 2 : 1;
}

}  // namespace

void SasLink::copyTo(SASPhy& phy) const {
    phy.addr.phyID = phyID;
    setText(phy.SASaddress, address.c_str());
    phy.initiatorProtocols = initiatorProtocols;
    phy.targetProtocols = targetProtocols;
    phy.attachedPhyID = attachedPhyID;
    setText(phy.attachedSASaddress, attachedAddress.c_str());
    phy.attachedTargetProtocols = attachedTargetProtocols;
    phy.attachedDeviceType = attachedType;
    phy.negPhyLinkRate = rate;
    phy.progMinPhyLinkRate = leastRate;
    phy.progMaxPhyLinkRate = mostRate;
    phy.hwMinPhyLinkRate = leastHardwareRate;
    phy.hwMaxPhyLinkRate = mostHardwareRate;
}

std::string SasPhys::address(const std::string& text) {
    std::string digits = startsWith(text, "0x") ? text.substr(2) : text;
    if (digits.size() != 16 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
        digits.find_first_not_of('0') == std::string::npos) {
        return std::string();
    }
    for (char& c : digits) {
        if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
    }
    return digits;
}

std::vector<SasLink> SasPhys::ofHost(const ScsiHost& host) {
    std::vector<std::string> names;
    std::vector<SasLink> links;
    std::string own;
    (void)reader.list(host.path, "phy-", names);
    for (const std::string& name : names) {
        SasLink link = readPhy(reader, host.path, name);
        const std::string port = reader.resolve(host.path + "/" + name + "/port");
        const std::string device = port.empty() ? std::string() : deviceInPort(reader, port);
        if (!device.empty()) readAttached(reader, port + "/" + device, link);
        if (!link.attachedAddress.empty() && link.address == link.attachedAddress) {
            link.address.clear();
            link.targetProtocols = 0;
        }
        if (own.empty()) own = link.address;
        links.push_back(link);
    }
    hostAddresses[host.path] = own;
    std::sort(links.begin(), links.end(),
              [](const SasLink& a, const SasLink& b) { return a.phyID < b.phyID; });
    return links;
}

// ".../host0/port-0:2/end_device-0:2/target0:0:2/0:0:2:0", or with an expander's ports between.
std::vector<SasLink> SasPhys::ofDrive(const LinuxDrive& drive) {
    const std::string device = folderOf(folderOf(drive.devicePath));
    if (!startsWith(lastPart(device), "end_device-")) return {};
    const std::string port = folderOf(device);
    const std::string parent = folderOf(port);
    const std::string path = device + "/sas_device/" + lastPart(device);
    SasLink link;
    link.address = address(reader.text(path + "/sas_address"));
    link.phyID =
        static_cast<unsigned int>(reader.number(path + "/phy_identifier", 0, 0, kMostPhys));
    link.targetProtocols = protocols(reader.text(path + "/target_port_protocols"));
    link.attachedType = 1;
    if (startsWith(lastPart(parent), "expander-")) {
        link.attachedType = 2;
        link.attachedAddress =
            address(reader.text(parent + "/sas_device/" + lastPart(parent) + "/sas_address"));
    } else {
        const auto own = hostAddresses.find(parent);
        if (own != hostAddresses.end()) link.attachedAddress = own->second;
    }
    std::vector<std::string> names;
    std::vector<SasLink> links;
    (void)reader.list(port, "phy-", names);
    for (const std::string& name : names) {
        link.attachedPhyID = phyNumber(name);
        links.push_back(link);
        ++link.phyID;  // a wide port goes on with the drive's next phy
    }
    if (names.empty() && !link.address.empty()) links.push_back(link);
    return links;
}
