#include "agent/EngineFolder.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>

#include "agent/Failure.h"
#include "agent/SafeFile.h"
#include "monitor/BaseRaidMonitor.h"

namespace fs = std::filesystem;

namespace {

constexpr char kCatalogue[] = "RaidNLS.properties";
constexpr char kLogFolder[] = "qavelogs";
// From lib/, from lib/<architecture>/ and from lib/<architecture>/qel/.
constexpr const char* kShareFolders[] = {"../share/qel/", "../../share/qel/",
                                         "../../../share/qel/"};

std::string withSlash(const std::string& folder) {
    return !folder.empty() && folder.back() == '/' ? folder : folder + "/";
}

// Whether a file or folder can be written to, or made. A package has links here to the real places,
// in a folder that is itself closed.
bool canWrite(const fs::path& place) {
    std::error_code error;
    fs::path real = place;
    if (fs::is_symlink(place, error)) real = place.parent_path() / fs::read_symlink(place, error);
    if (!fs::exists(real, error)) real = real.parent_path();
    return access(real.c_str(), W_OK) == 0;
}

// A link rather than a copy, so that an update of the package is an update here. A link that leads
// nowhere is from a package that has moved; a real file is the administrator's own.
void linkCatalogue(const std::string& folder) {
    const std::string shipped = EngineFolder::shippedCatalogue();
    const fs::path place = folder + kCatalogue;
    std::error_code ignored;  // isWritable() and hasCatalogue() tell what is missing
    if (shipped.empty() || fs::exists(place, ignored)) return;
    fs::remove(place, ignored);
    fs::create_symlink(shipped, place, ignored);
}

}  // namespace

EngineFolder::EngineFolder() : folder(libraryFolder()) { BaseRaidMonitor::useFolder(""); }

EngineFolder::EngineFolder(const std::string& folderIN) {
    std::error_code error;
    const fs::path absolute = fs::absolute(folderIN, error);
    if (!error) fs::create_directories(absolute, error);
    if (!error && !fs::is_directory(absolute, error) && !error) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
    if (error) {
        throw Failure(Failure::kBadUse, "cannot use the folder " + folderIN + " (" +
                                            error.message() + "); name one that can be written to");
    }
    folder = withSlash(absolute.string());
    linkCatalogue(folder);
    BaseRaidMonitor::useFolder(folder);
}

EngineFolder::~EngineFolder() { BaseRaidMonitor::useFolder(""); }

bool EngineFolder::isWritable() const {
    return canWrite(snapshot()) && canWrite(folder + kLogFolder);
}

bool EngineFolder::hasCatalogue() const { return access((folder + kCatalogue).c_str(), R_OK) == 0; }

std::string EngineFolder::setSnapshotAside() const {
    // A link to the real place stays, so that the next snapshot is written there again.
    std::error_code error;
    const fs::path real = fs::canonical(snapshot(), error);
    if (error) return "";
    const std::string aside = asideName(real.string());
    fs::rename(real, aside, error);
    return error ? "" : aside;
}

std::string EngineFolder::libraryFolder() {
    Dl_info info{};
    void* const inside = dlsym(RTLD_DEFAULT, "dllSafeDeleteRAIDMON");
    if (inside == nullptr || dladdr(inside, &info) == 0 || info.dli_fname == nullptr) return "./";
    std::error_code error;
    const fs::path library = fs::absolute(info.dli_fname, error).lexically_normal();
    return error ? "./" : withSlash(fs::path(library).parent_path().string());
}

std::string EngineFolder::shippedScenario(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) return "";
    for (const char* share : kShareFolders) {
        const std::string candidate = libraryFolder() + share + "scenarios/" + name + ".json";
        if (access(candidate.c_str(), R_OK) == 0) {
            return fs::path(candidate).lexically_normal().string();
        }
    }
    return "";
}

std::string EngineFolder::shippedCatalogue() {
    const std::string beside = libraryFolder();
    if (access((beside + kCatalogue).c_str(), R_OK) == 0) return beside + kCatalogue;
    for (const char* share : kShareFolders) {
        const std::string candidate = beside + share + kCatalogue;
        if (access(candidate.c_str(), R_OK) == 0) {
            return fs::path(candidate).lexically_normal().string();
        }
    }
    return "";
}
