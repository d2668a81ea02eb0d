// Unpacker: one archived step of a recording, unpacked into a fresh folder.
//
//   Unpacker().unpack("02-failed.tar.xz", temp.path() + "/02-failed");
//
// A recording may come from anybody. What would reach outside the folder is refused: absolute
// names, "..", names that lead through a link; so is whatever is neither file, folder nor symbolic
// link, and what is larger than a machine's tree can be. Symbolic links are part of such a tree and
// are made, except those that point out of it: their target would be a file of this machine.
//
// Errors  Failure with one line; what was unpacked so far stays and is the caller's to remove.
#ifndef AGENT_UNPACKER_H
#define AGENT_UNPACKER_H

#include <cstdint>
#include <functional>
#include <string>

class Unpacker {
public:
    struct Limits {
        std::uint64_t bytes = 256u << 20;     // of all files of a step together
        std::uint64_t fileBytes = 16u << 20;  // of one file
        std::uint32_t entries = 200000;       // files, folders and links of a step
    };

    Unpacker() = default;
    explicit Unpacker(const Limits& limitsIN) : limits(limitsIN) {}

    // Makes `folder`, which must not exist, fills it and returns the bytes written. `interrupted`
    // is asked for every entry; when it answers true, a Failure ends the work.
    std::uint64_t unpack(const std::string& archive, const std::string& folder,
                         const std::function<bool()>& interrupted = nullptr) const;

private:
    Limits limits;
};

#endif  // AGENT_UNPACKER_H
