#include "agent/web/WebToken.h"

#include <crypt.h>
#include <sys/random.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "agent/Failure.h"
#include "agent/LateLibrary.h"

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kLongestToken = 512;
constexpr std::size_t kShortestHash = 43;  // letters behind the last $
// Many rounds are for words that people think up; these are random.
constexpr char kMethod[] = "$5$";
constexpr const char* kMethods[] = {"$5$", "$6$", "$y$", "$gy$"};
constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

struct Crypt {
    decltype(&crypt_r) crypt = nullptr;
    decltype(&crypt_gensalt_rn) salt = nullptr;

    Crypt() {
        const LateLibrary library("libcrypt.so.1", "libcrypt1");
        library.find("crypt_r", crypt);
        library.find("crypt_gensalt_rn", salt);
    }
};

// "" when it cannot be.
std::string crypted(const std::string& token, const std::string& setting) {
    const Crypt library;
    const auto space = std::make_unique<crypt_data>();
    const char* const hash = library.crypt(token.c_str(), setting.c_str(), space.get());
    return hash == nullptr || *hash == '*' ? std::string() : std::string(hash);
}

bool isSame(const std::string& a, const std::string& b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return difference == 0 && !a.empty();
}

std::string randomBytes(std::size_t size) {
    std::string bytes(size, '\0');
    if (getrandom(bytes.data(), size, 0) != static_cast<ssize_t>(size)) {
        throw Failure(Failure::kFailed, "the system gives no random numbers; try again");
    }
    return bytes;
}

int valueOf(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    return c == '/' ? 63 : -1;
}

std::string decoded(std::string_view base64) {
    std::string bytes;
    unsigned bits = 0;
    int held = 0;
    for (const char c : base64) {
        if (c == '=') break;
        const int value = valueOf(c);
        if (value < 0) return "";
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xffffff;
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes += static_cast<char>(bits >> held & 0xff);
    }
    return bytes;
}

// Without regard to capitals, as schemes are written.
bool startsWith(const std::string& text, std::string_view word) {
    return text.size() > word.size() &&
           std::equal(word.begin(), word.end(), text.begin(), [](char a, char b) {
               return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
           });
}

}  // namespace

WebToken::Answer WebToken::check(const std::string& token) {
    if (!known.empty() && isSame(known, token)) return Answer::kRight;
    if (!mayTry()) return Answer::kTooMany;
    if (token.empty() || token.size() > kLongestToken || token.find('\0') != std::string::npos ||
        !isSame(crypted(token, expected), expected)) {
        return Answer::kWrong;
    }
    known = token;
    return Answer::kRight;
}

bool WebToken::mayTry() {
    const auto now = std::chrono::steady_clock::now();
    if (filled == std::chrono::steady_clock::time_point()) filled = now;
    const std::chrono::duration<double> since = now - filled;
    budget = std::min<double>(kChecksPerSecond, budget + since.count() * kChecksPerSecond);
    filled = now;
    if (budget < 1) return false;
    budget -= 1;
    return true;
}

std::string WebToken::make() {
    std::string token;
    for (const char byte : randomBytes(kTokenBytes * 4 / 3)) {
        token += kLetters[static_cast<unsigned char>(byte) % (sizeof kLetters - 1)];
    }
    return token;
}

std::string WebToken::hash(const std::string& token) {
    const Crypt library;
    const std::string random = randomBytes(16);
    char setting[CRYPT_GENSALT_OUTPUT_SIZE] = "";
    if (library.salt(kMethod, 0, random.data(), static_cast<int>(random.size()), setting,
                     sizeof setting) == nullptr) {
        throw Failure(Failure::kFailed, "libcrypt makes no salt; is libcrypt1 of this release?");
    }
    const std::string made = crypted(token, setting);
    if (made.empty()) {
        throw Failure(Failure::kFailed, "libcrypt makes no hash; is libcrypt1 of this release?");
    }
    return made;
}

std::string WebToken::problemOf(const std::string& hash) {
    const bool isKnown =
        std::any_of(std::begin(kMethods), std::end(kMethods),
                    [&](const char* method) { return hash.rfind(method, 0) == 0; });
    const bool isPlain = std::all_of(hash.begin(), hash.end(),
                                     [](char c) { return c > ' ' && c < 0x7f && c != ':'; });
    const std::size_t last = hash.rfind('$');
    if (isKnown && isPlain && hash.size() - last > kShortestHash) return "";
    return "is no hash of a token; raidwatch config token makes one";
}

std::string tokenOf(const std::string& authorization) {
    constexpr std::string_view kBearer = "bearer ";
    constexpr std::string_view kBasic = "basic ";
    if (startsWith(authorization, kBearer)) {
        const std::size_t from = authorization.find_first_not_of(' ', kBearer.size());
        return from == std::string::npos ? "" : authorization.substr(from);
    }
    if (!startsWith(authorization, kBasic)) return "";
    const std::string pair = decoded(std::string_view(authorization).substr(kBasic.size()));
    const std::size_t colon = pair.find(':');
    return colon == std::string::npos ? "" : pair.substr(colon + 1);
}
