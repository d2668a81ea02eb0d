#include "nls/NLSParser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

bool isBlankOrTab(char c) { return c == ' ' || c == '\t'; }

// Decimal digits as strtol() reads them where `long` has 32 bits, so that an index is the same
// number on every host.
std::int32_t decimal(const char* text) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    const std::int64_t limit = negative ? -std::int64_t{INT32_MIN} : INT32_MAX;
    std::int64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = std::min<std::int64_t>(value * 10 + (*text - '0'), limit);
    }
    return static_cast<std::int32_t>(negative ? -value : value);
}

std::string digits(std::int32_t value, int base) {
    if (base < 2 || base > 16) return "";
    std::string text;
    const auto divisor = static_cast<std::uint32_t>(base);
    auto rest = static_cast<std::uint32_t>(value);
    if (value < 0) rest = 0U - rest;
    do {
        text += "0123456789abcdef"[rest % divisor];
        rest /= divisor;
    } while (rest != 0);
    if (value < 0 && base == 10) text += '-';
    return NLSParser::reverse(text);
}

enum class Match { kNo, kNotYet, kYes };

// Whether the line that begins with these bytes is the entry of `key`; kNotYet when more of the
// line is needed to say.
Match matchLine(const char* line, std::size_t length, bool wholeLine, const std::string& key) {
    if (length != 0 && *line == '#') return Match::kNo;
    const std::size_t compared = std::min(length, key.size());
    if (std::memcmp(line, key.data(), compared) != 0) return Match::kNo;
    if (length > key.size()) {
        const char next = line[key.size()];
        return isBlankOrTab(next) || next == '=' ? Match::kYes : Match::kNo;
    }
    if (!wholeLine) return Match::kNotYet;
    if (length < key.size()) return Match::kNo;
    throw std::out_of_range("NLSParser: a line holds nothing but a key");
}

// Finds the line feeds of a block one after the other. Lines are short, so that most of a lookup
// would be calls of memchr(); 64 bytes at a time take half of that where the machine is sure to
// have the instructions.
class LineFeeds {
public:
    LineFeeds(const char* from, const char* to) : at(from), end(to) {}

    const char* next() {  // null when there is no more
#if defined(__SSE2__)
        while (found == 0) {
            if (end - at < kStride) return nextByMemchr();
            found = lineFeedsIn(at);
            at += kStride;
        }
        const char* const lineFeed = at - kStride + __builtin_ctzll(found);
        found &= found - 1;
        return lineFeed;
#else
        return nextByMemchr();
#endif
    }

private:
    const char* nextByMemchr() {
        const void* lineFeed = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
        if (lineFeed != nullptr) at = static_cast<const char*>(lineFeed) + 1;
        return static_cast<const char*>(lineFeed);
    }

#if defined(__SSE2__)
    typedef char Bytes __attribute__((vector_size(16)));

    static constexpr int kStride = 64;
    static constexpr Bytes kLineFeeds = {'\n', '\n', '\n', '\n', '\n', '\n', '\n', '\n',
                                         '\n', '\n', '\n', '\n', '\n', '\n', '\n', '\n'};

    // Bit i is set when byte i is a line feed.
    static std::uint64_t lineFeedsIn(const char* bytes) {
        std::uint64_t all = 0;
        for (int part = 0; part < kStride; part += 16) {
            Bytes some;
            std::memcpy(&some, bytes + part, sizeof(some));
            all |=
                std::uint64_t{static_cast<unsigned>(__builtin_ia32_pmovmskb128(some == kLineFeeds))}
                << part;
        }
        return all;
    }

    std::uint64_t found = 0;  // line feeds of the 64 bytes before `at` that are still to be told
#endif

    const char* at;
    const char* end;
};

std::string valueOf(const char* line, std::size_t length, std::size_t keyLength) {
    const char* end = line + length;
    const char* equals = std::find(line + keyLength, end, '=');
    return equals == end ? "" : NLSParser::trim(std::string(equals + 1, end));
}

}  // namespace

// The part of the file that a lookup holds: bytes [start, end) of the buffer.
struct NLSParser::Block {
    std::size_t start = 0;  // the line being looked at
    std::size_t end = 0;
    off_t offset = 0;       // of the next read
    bool skipping = false;  // in the rest of a line that cannot be the entry
    bool endOfFile = false;
    bool failed = false;
};

NLSParser::NLSParser(const std::string& name) { resetParser(name); }

NLSParser::~NLSParser() { closeFile(); }

void NLSParser::resetParser(const std::string& name) {
    if (name.empty()) return;
    closeFile();
    fileName = name;
    do {
        file = open(fileName.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    } while (file == -1 && errno == EINTR);
    // A pipe would be waited for, and a device may have no end. A folder cannot be read anyway.
    struct stat info {};
    if (file == -1) return;
    const bool usable = fstat(file, &info) == 0 && (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode));
    if (!usable) closeFile();
}

std::string NLSParser::get(const std::string& key) {
    std::string value;
    if (lookUp(key, value)) return value;
    // Not open, or not readable any more. A reference to our own name is safe to hand over.
    resetParser(fileName);
    (void)lookUp(key, value);  // a file that still cannot be read has empty texts
    return value;
}

std::string NLSParser::get(const std::string& key, const std::vector<std::string>& args) {
    std::string text = get(key);
    replacePhraseStrings(text);
    parse(text, args);
    return text;
}

std::string NLSParser::get(const std::string& key, const std::vector<int>& args) {
    std::vector<std::string> texts;
    texts.reserve(args.size());
    for (const int arg : args) texts.push_back(itoa(arg, 10));
    return get(key, texts);
}

void NLSParser::parse(std::string& text, const std::vector<std::string>& args) {
    constexpr std::size_t kPlaceholder = 3;  // the length of "{0}"
    for (std::size_t pos = 0; (pos = text.find('{', pos)) != std::string::npos;) {
        const auto index = static_cast<std::uint32_t>(decimal(&text.at(pos + 1)));
        text.erase(pos, kPlaceholder);
        if (index < args.size()) {
            text.insert(pos, args[index]);
        } else {
            ++pos;
        }
    }
}

void NLSParser::replacePhraseStrings(std::string& text) {
    for (std::size_t pos = 0; (pos = text.find('%', pos)) != std::string::npos;) {
        const bool inside = pos != 0 && pos + 1 != text.size();
        const bool opens = !inside || text[pos - 1] == ' ';
        const std::size_t close = opens ? text.find('%', pos + 1) : std::string::npos;
        if (close == std::string::npos) {
            ++pos;
            continue;
        }
        const std::string key = text.substr(pos + 1, close - pos - 1);
        text.replace(pos, close - pos + 1, get(key));
    }
}

std::string NLSParser::trim(const std::string& text) {
    std::size_t start = 0;
    std::size_t end = text.size();
    const auto dropBack = [&](char c) {
        while (end > start && text[end - 1] == c) --end;
    };
    const auto dropFront = [&](char c) {
        while (start < end && text[start] == c) ++start;
    };
    do {
        dropBack(' ');
        dropFront(' ');
        dropBack('\t');
        dropFront('\t');
    } while (start < end && isBlankOrTab(text[start]));
    return text.substr(start, end - start);
}

std::string NLSParser::itoa(int value, int base) { return digits(value, base); }

std::string NLSParser::ltoa(long value, int base) {
    return digits(static_cast<std::int32_t>(value), base);
}

std::string NLSParser::reverse(std::string text) {
    std::reverse(text.begin(), text.end());
    return text;
}

// Looks through the file from its start. False when it could not be read; `value` is set only when
// the entry was found.
bool NLSParser::lookUp(const std::string& key, std::string& value) {
    if (file == -1) return false;
    if (capacity != kBlockSize) useBuffer(kBlockSize, 0, 0);
    Block block;
    while (readMore(block)) {
        if (searchLines(block, key, value) || searchRest(block, key, value)) return true;
    }
    return !block.failed;
}

// The lines of the block that end in a line feed. Leaves the start of the block behind them.
bool NLSParser::searchLines(Block& block, const std::string& key, std::string& value) {
    const char* line = buffer.get() + block.start;
    const std::size_t keySize = key.size();
    // Most lines are told apart by their length or by the last character of the key.
    const std::size_t lastAt = keySize != 0 ? keySize - 1 : 0;
    LineFeeds lineFeeds(line, buffer.get() + block.end);
    while (const char* const lineEnd = lineFeeds.next()) {
        const auto length = static_cast<std::size_t>(lineEnd - line);
        const bool possible =
            length >= keySize && (keySize == 0 || line[lastAt] == key[lastAt]) && !block.skipping;
        if (possible && matchLine(line, length, true, key) == Match::kYes) {
            value = valueOf(line, length, keySize);
            return true;
        }
        block.skipping = false;
        line = lineEnd + 1;
    }
    block.start = static_cast<std::size_t>(line - buffer.get());
    return false;
}

// What stands behind the last line feed of the block: the last line of the file, or the beginning
// of a line, which is kept for the next block unless it cannot be the entry.
bool NLSParser::searchRest(Block& block, const std::string& key, std::string& value) {
    const char* const line = buffer.get() + block.start;
    const std::size_t length = block.end - block.start;
    if (length == 0) return false;  // nothing after the last line feed is no line
    const Match match = block.skipping ? Match::kNo : matchLine(line, length, block.endOfFile, key);
    if (match == Match::kYes && block.endOfFile) {
        value = valueOf(line, length, key.size());
        return true;
    }
    if (match == Match::kNo) {
        block.skipping = true;
        block.start = block.end;
    }
    return false;
}

// Reads the next block behind what the last one left over. False when nothing is left to look at.
bool NLSParser::readMore(Block& block) {
    if (block.endOfFile) return false;
    const std::size_t left = block.end - block.start;
    if (left == capacity) {
        useBuffer(capacity * 2, block.start, left);  // an entry longer than the buffer
    } else if (left != 0) {
        std::memmove(buffer.get(), buffer.get() + block.start, left);
    }
    ssize_t got = 0;
    do {
        got = pread(file, buffer.get() + left, capacity - left, block.offset);
    } while (got == -1 && errno == EINTR);
    if (got == -1) {
        block.failed = true;
        return false;
    }
    block.start = 0;
    block.end = left + static_cast<std::size_t>(got);
    block.offset += got;
    // A regular file gives less than was asked for at its end only.
    block.endOfFile = left + static_cast<std::size_t>(got) < capacity;
    return block.end != 0;
}

// Takes a buffer of another size, with the `kept` bytes from `start` of the old one at its front.
void NLSParser::useBuffer(std::size_t size, std::size_t start, std::size_t kept) {
    std::unique_ptr<char[]> next(new char[size]);
    if (kept != 0) std::memcpy(next.get(), buffer.get() + start, kept);
    buffer = std::move(next);
    capacity = size;
}

void NLSParser::closeFile() {
    if (file != -1) (void)close(file);  // opened for reading: nothing can be lost
    file = -1;
}
