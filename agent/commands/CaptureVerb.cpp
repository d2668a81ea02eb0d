#include "agent/commands/CaptureVerb.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "storlib/sources/RecordingWriter.h"

namespace fs = std::filesystem;

namespace {

constexpr char kDefaultName[] = "step";

bool isStepName(const std::string& name) {
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    };
    return !name.empty() && name.size() <= 100 && std::all_of(name.begin(), name.end(), fits);
}

void checkOptions(const CaptureVerb::Options& options) {
    std::error_code error;
    if (options.folder.empty()) {
        throw Failure(Failure::kBadUse, "DIR is empty; name a folder for the recording");
    }
    if (!isStepName(options.name)) {
        throw Failure(Failure::kBadUse, "--name " + options.name +
                                            " cannot be the name of a step; use letters, digits, "
                                            "\"-\" and \"_\"");
    }
    if (!fs::is_directory(options.root, error)) {
        throw Failure(Failure::kBadUse,
                      "--root " + options.root + " is no folder; name one that holds sys and proc");
    }
    if (fs::exists(options.folder, error) && !fs::is_directory(options.folder, error)) {
        throw Failure(Failure::kBadUse,
                      options.folder + " is no folder; name one for the recording");
    }
}

// "<folder>/03-step" becomes "<folder>/03-<name>".
std::string renamed(const std::string& step, const std::string& name) {
    const std::string::size_type dash = step.rfind('-');
    if (name == kDefaultName || dash == std::string::npos) return step;
    const std::string wanted = step.substr(0, dash + 1) + name;
    std::error_code error;
    fs::rename(step, wanted, error);
    if (error) {
        throw Failure(Failure::kFailed,
                      "wrote " + step + ", but cannot rename it: " + error.message());
    }
    return wanted;
}

std::string countOf(const std::string& step) {
    std::uintmax_t files = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator it(step, error), end; !error && it != end;
         it.increment(error)) {
        std::error_code unreadable;
        if (it->is_regular_file(unreadable)) ++files;
    }
    return std::to_string(files) + " files";
}

}  // namespace

void CaptureVerb::declare(Flags& flags) {
    flags.option("DIR", options.folder, "folder of the recording").required();
    flags.option("--root", options.root, "read the tree below this folder").showDefault();
    flags
        .option("--name", options.name,
                "name of the step, after its number (letters, digits, - and _)")
        .showDefault();
}

int CaptureVerb::run(const Context& context) {
    checkOptions(options);
    std::string error;
    std::string step = RecordingWriter::captureStep(options.root, options.folder, error);
    if (step.empty()) throw Failure(Failure::kFailed, error);
    step = renamed(step, options.name);
    context.out.line(step + " (" + countOf(step) + ")");
    return Failure::kDone;
}
