#include "agent/sinks/MessageId.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace {

// The name space of our ids; made once, never to be changed.
constexpr char kNameSpace[] = "a1e27a0adfce57818fbaf5c5f46dc655";

using Hash = std::array<std::uint32_t, 5>;

std::uint32_t turned(std::uint32_t value, int bits) {
    return (value << bits) | (value >> (32 - bits));
}

void addBlock(Hash& hash, const std::string& text, std::size_t at) {
    std::uint32_t w[80];
    for (std::size_t i = 0; i < 16; ++i) {
        w[i] = 0;
        for (std::size_t b = 0; b < 4; ++b) {
            w[i] = (w[i] << 8) | static_cast<unsigned char>(text[at + 4 * i + b]);
        }
    }
    for (std::size_t i = 16; i < 80; ++i) {
        w[i] = turned(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    }
    auto [a, b, c, d, e] = hash;
    for (std::size_t i = 0; i < 80; ++i) {
        const std::uint32_t mix = i < 20   ? ((b & c) | (~b & d)) + 0x5a827999u
                                  : i < 40 ? (b ^ c ^ d) + 0x6ed9eba1u
                                  : i < 60 ? ((b & c) | (b & d) | (c & d)) + 0x8f1bbcdcu
                                           : (b ^ c ^ d) + 0xca62c1d6u;
        const std::uint32_t next = turned(a, 5) + mix + e + w[i];
        e = d;
        d = c;
        c = turned(b, 30);
        b = a;
        a = next;
    }
    hash = {hash[0] + a, hash[1] + b, hash[2] + c, hash[3] + d, hash[4] + e};
}

Hash sha1(std::string text) {
    const std::uint64_t bits = static_cast<std::uint64_t>(text.size()) * 8;
    text += '\x80';
    text.append((120 - text.size() % 64) % 64, '\0');
    for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>((bits >> shift) & 0xff);
    Hash hash = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u, 0xc3d2e1f0u};
    for (std::size_t at = 0; at < text.size(); at += 64) addBlock(hash, text, at);
    return hash;
}

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoul(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

}  // namespace

std::string nameUuid(const std::string& nameSpace, const std::string& name) {
    Hash hash = sha1(bytesOf(nameSpace) + name);
    hash[1] = (hash[1] & 0xffff0fffu) | 0x00005000u;  // version 5
    hash[2] = (hash[2] & 0x3fffffffu) | 0x80000000u;  // the variant of RFC 4122
    char text[33];
    std::snprintf(text, sizeof text, "%08x%08x%08x%08x", hash[0], hash[1], hash[2], hash[3]);
    return text;
}

std::string eventMessageId(int code, const std::string& eventId) {
    return nameUuid(kNameSpace, "event:" + std::to_string(code) + ":" + eventId);
}

std::string noticeMessageId(Notice::Kind kind) {
    return nameUuid(kNameSpace, std::string("notice:") + noticeWord(kind));
}

std::string messageId(const Record& record) {
    return record.kind == Record::Kind::kNotice
               ? noticeMessageId(record.notice.kind)
               : eventMessageId(record.event.eventCode, record.event.eventId);
}
