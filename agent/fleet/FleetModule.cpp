#include "agent/fleet/FleetModule.h"

#include <unistd.h>

#include <climits>
#include <cstddef>

#include "agent/LateLibrary.h"

namespace {

constexpr char kPackage[] = "raidwatch-nats";
constexpr char kFile[] = "raidwatch-nats.so";

// The program's own folder, not a name from the environment: what is loaded here runs as root.
std::string ownFile() {
    char name[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", name, sizeof name);
    return length <= 0 ? std::string() : std::string(name, static_cast<std::size_t>(length));
}

}  // namespace

std::vector<std::string> fleetModulePlaces(const std::string& program) {
    const std::size_t slash = program.rfind('/');
    const std::string bin = slash == std::string::npos ? "." : program.substr(0, slash);
    std::vector<std::string> places;
    for (const char* folder : {"/../lib/x86_64-linux-gnu/raidwatch/", "/../lib/raidwatch/"}) {
        places.push_back(bin + folder + kFile);
    }
    return places;
}

std::unique_ptr<FleetLink> openFleetLink(const FleetLink::Settings& settings) {
    const std::vector<std::string> places = fleetModulePlaces(ownFile());
    for (const std::string& place : places) {
        if (access(place.c_str(), F_OK) == 0) return openFleetLink(place, settings);
    }
    throw LateLibrary::Missing(std::string("sinks of type nats and raidwatch fleet need ") + kFile +
                               "; install the Debian package " + kPackage);
}

std::unique_ptr<FleetLink> openFleetLink(const std::string& file,
                                         const FleetLink::Settings& settings) {
    const LateLibrary library(file, kPackage);
    FleetModuleVersion* version = nullptr;
    library.find("raidwatchFleetVersion", version);
    if (version() != FleetLink::kVersion) {
        throw LateLibrary::Missing(file + " is of another release than raidwatch itself; install " +
                                   kPackage + " and raidwatch of the same version");
    }
    FleetModuleOpen* open = nullptr;
    library.find("raidwatchFleetOpen", open);
    return std::unique_ptr<FleetLink>(open(settings));
}
