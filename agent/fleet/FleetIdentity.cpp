#include "agent/fleet/FleetIdentity.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <sstream>

#include "agent/SafeFile.h"
#include "agent/spool/MachineId.h"
#include "agent/spool/Spool.h"

namespace {

constexpr std::size_t kMostKept = 100;

std::string fileIn(const std::string& folder) { return folder + "/fleet-instances"; }

}  // namespace

void FleetIdentity::begin() {
    if (!current.empty() || folder.empty()) return;
    beginAnew();
    try {
        lastAtBegin = Spool(folder + "/spool.db", Spool::Access::kReadOnly).lastSequence();
    } catch (const SpoolError&) {
        lastAtBegin = INT64_MAX;  // not known: every repeat may be our own
    }
}

void FleetIdentity::beginAnew() {
    lived = readAll();
    current = randomUuid();
    lived.push_back(current);
    if (lived.size() > kMostKept) lived.erase(lived.begin());
    std::string text;
    for (const std::string& name : lived) text += name + "\n";
    writeSafely(fileIn(folder), text);
}

std::string FleetIdentity::machine() const {
    return folder.empty() ? std::string() : readMachineId(folder + "/machine-id");
}

bool FleetIdentity::isOwn(const std::string& name) {
    const auto has = [&] { return std::find(lived.begin(), lived.end(), name) != lived.end(); };
    if (has()) return true;
    lived = readAll();
    return has();
}

std::string FleetIdentity::latest() const {
    const std::vector<std::string> all = readAll();
    return all.empty() ? std::string() : all.back();
}

std::int64_t FleetIdentity::latestBegan() const {
    struct stat info {};
    return stat(fileIn(folder).c_str(), &info) == 0 ? info.st_mtime : 0;
}

std::vector<std::string> FleetIdentity::readAll() const {
    std::vector<std::string> all;
    std::string text;
    if (folder.empty() || !readSafely(fileIn(folder), text)) return all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) all.push_back(line);
    }
    return all;
}
