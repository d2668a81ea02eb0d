#include "agent/spool/MachineId.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "agent/SafeFile.h"

namespace {

constexpr std::size_t kLength = 36;  // of a UUID

bool isUuid(const std::string& text) {
    if (text.size() != kLength) return false;
    for (std::size_t i = 0; i < kLength; ++i) {
        const char c = text[i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
        if (dash ? c != '-' : !digit) return false;
    }
    return true;
}

}  // namespace

// Version 4: all of it random but for the version and the variant.
std::string randomUuid() {
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
        throw std::system_error(errno, std::generic_category(), "no random numbers");
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);
    std::string text;
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(bytes[i]));
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits;
    }
    return text;
}

std::string readMachineId(const std::string& file) {
    std::string text;
    if (!readSafely(file, text)) return std::string();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    return isUuid(text) ? text : std::string();
}

// Only what is there and is no UUID is removed: a file that is missing may appear meanwhile.
std::string readOrMakeMachineId(const std::string& file) {
    std::string id = readMachineId(file);
    for (int attempt = 0; id.empty() && attempt < 2; ++attempt) {
        if (attempt != 0) (void)unlink(file.c_str());
        writeSafely(file, randomUuid() + "\n", SafeWrite::kKeepExisting);
        id = readMachineId(file);
    }
    if (id.empty()) throw std::system_error(EIO, std::generic_category(), "cannot keep " + file);
    return id;
}
