#include "xml/SimpleXmlParser.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "util/Number.h"
#include "xml/SimpleXmlException.h"

namespace {

// What a character may end, as one bit per kind of run.
enum CharacterClass : unsigned char {
    kSpace = 1,          // blank, line feed, tab, carriage return
    kEndsStartName = 2,  // of an element in a start tag
    kEndsEndName = 4,    // of an element in an end tag
    kEndsAttribute = 8,  // of an attribute's name
    kOpensTag = 16,
    kNoSpace = 32,
};

constexpr std::array<unsigned char, 256> makeClasses() {
    std::array<unsigned char, 256> classes{};
    for (unsigned char& entry : classes) entry = kNoSpace;
    for (const char c : {' ', '\n', '\t', '\r'}) {
        classes[static_cast<unsigned char>(c)] =
            kSpace | kEndsStartName | kEndsEndName | kEndsAttribute;
    }
    classes['>'] |= kEndsStartName | kEndsEndName | kEndsAttribute;
    classes['/'] |= kEndsStartName | kEndsAttribute;
    classes['='] |= kEndsAttribute;
    classes['<'] |= kOpensTag;
    return classes;
}

constexpr std::array<unsigned char, 256> kClasses = makeClasses();

inline bool is(char c, unsigned mask) {
    return (kClasses[static_cast<unsigned char>(c)] & mask) != 0;
}

// The first character of one of the classes, or `end`. Names are short, so the bound is looked at
// once in four characters and nothing wider pays off.
inline char* find(char* at, const char* end, unsigned mask) {
    while (end - at >= 4) {
        if (is(at[0], mask)) return at;
        if (is(at[1], mask)) return at + 1;
        if (is(at[2], mask)) return at + 2;
        if (is(at[3], mask)) return at + 3;
        at += 4;
    }
    while (at != end && !is(*at, mask)) ++at;
    return at;
}

// A word at a time for values, the longest runs: a byte of `word` is zero where the quote stands,
// and the lowest zero byte borrows into its top bit. Hosts are x86, so the lowest byte comes first.
using Word = std::size_t;
constexpr Word kOnes = ~Word{0} / 255;  // 0x0101...
constexpr Word kTopBits = kOnes << 7;

inline char* findQuote(char* at, const char* end, char quote) {
    const Word pattern = kOnes * static_cast<unsigned char>(quote);
    while (end - at >= static_cast<std::ptrdiff_t>(sizeof(Word))) {
        Word word;
        std::memcpy(&word, at, sizeof word);
        word ^= pattern;
        const Word hit = (word - kOnes) & ~word & kTopBits;
        if (hit != 0) return at + (__builtin_ctzl(hit) >> 3);
        at += sizeof word;
    }
    while (at != end && *at != quote) ++at;
    return at;
}

inline char* skipSpace(char* at, const char* end) {
    if (at != end && !is(*at, kSpace)) return at;
    return find(at, end, kNoSpace);
}

inline bool isHex(const char* value) { return value[0] == '0' && value[1] == 'x'; }

}  // namespace

void SimpleXmlParser::attach(char* buffer, unsigned long length) {
    start = buffer;
    position = buffer;
    end = buffer == nullptr ? nullptr : buffer + static_cast<std::uint32_t>(length);
    flags = 0;
    saved = 0;
    elementName = attributeName = attributeValue = nullptr;
}

void SimpleXmlParser::invalidate() {
    position = end;
    flags = 0;
    saved = 0;
    elementName = attributeName = attributeValue = nullptr;
}

bool SimpleXmlParser::parseNext() {
    const bool insideTag = (flags & kAttribute) != 0;
    attributeName = attributeValue = nullptr;
    flags = 0;
    if (start == nullptr) return false;
    if (saved != 0) {
        *position = saved;
        saved = 0;
    }
    return insideTag ? readInsideTag(position) : readTag(position);
}

// Outside a tag.
inline bool SimpleXmlParser::readTag(char* at) {
    at = find(at, end, kOpensTag);
    if (at == end) return stopAtEnd();
    *at++ = 0;  // ends whatever stood in front of the tag
    if (at != end && *at == '/') return readEndTag(at + 1);

    elementName = at;
    at = find(at, end, kEndsStartName);
    if (at == end) {
        elementName = nullptr;  // its terminator would lie outside
        return stopAtEnd();
    }
    flags = kElementStart;
    if (is(*at, kSpace)) {
        *at++ = 0;
        at = skipSpace(at, end);
        if (at == end) return stopAtEnd();
    }
    if (*at == '>') {
        *at = 0;
        position = at + 1;
        return true;
    }
    if (*at == '/') return readEmptyEnd(at);
    return readAttribute(at);
}

inline bool SimpleXmlParser::readEndTag(char* at) {
    elementName = at;
    at = find(at, end, kEndsEndName);
    if (at == end) {
        elementName = nullptr;
        return stopAtEnd();
    }
    if (*at != '>') {
        *at++ = 0;
        while (at != end && *at != '>') ++at;
        if (at == end) return stopAtEnd();
    }
    *at = 0;
    position = at + 1;
    flags = kElementEnd;
    return true;
}

// In a start tag, behind an attribute. Its ">" is no token of its own.
inline bool SimpleXmlParser::readInsideTag(char* at) {
    at = skipSpace(at, end);
    if (at == end) return stopAtEnd();
    if (*at == '>') {
        *at = 0;
        return readTag(at + 1);
    }
    if (*at == '/') return readEmptyEnd(at);
    return readAttribute(at);
}

inline bool SimpleXmlParser::readEmptyEnd(char* slash) {
    *slash = 0;
    char* at = slash + 1;
    if (at == end) return stopAtEnd();
    if (*at != '>') {
        elementName = nullptr;
        fail('/', slash);
    }
    position = at + 1;
    flags |= kEmpty | kElementEnd;
    return true;
}

inline bool SimpleXmlParser::readAttribute(char* at) {
    attributeName = at;
    at = find(at, end, kEndsAttribute);
    if (at == end) {
        attributeName = nullptr;
        flags = 0;  // a name without an end is no token, nor is the tag in front of it
        return stopAtEnd();
    }
    flags |= kAttribute;
    if (*at != '=') return readValueless(at);
    *at = 0;
    return readValue(at + 1);
}

// Behind a name that no "=" follows at once.
bool SimpleXmlParser::readValueless(char* at) {
    if (is(*at, kSpace)) {
        *at++ = 0;
        at = skipSpace(at, end);
        if (at == end) return stopAtEnd();
        if (*at == '=') {
            *at = 0;
            return readValue(at + 1);
        }
    }
    saved = *at;  // the name's end, and still to be read: the next call puts it back
    *at = 0;
    position = at;
    return true;
}

inline bool SimpleXmlParser::readValue(char* at) {
    at = skipSpace(at, end);
    if (at == end) return stopAtEnd();
    const char quote = *at;
    if (quote != '"' && quote != '\'') fail(quote, at);
    attributeValue = ++at;
    at = findQuote(at, end, quote);
    if (at == end) {
        attributeValue = nullptr;
        return stopAtEnd();
    }
    *at = 0;
    position = at + 1;
    return true;
}

// The input is used up; what was read of the last tag still counts.
bool SimpleXmlParser::stopAtEnd() {
    position = end;
    return flags != 0;
}

void SimpleXmlParser::fail(char character, const char* at) {
    position = end;  // no token can follow
    flags = 0;
    throw SimpleXmlException(character, static_cast<unsigned long>(at - start));
}

unsigned long SimpleXmlParser::getULONG() const {
    if (attributeValue == nullptr) return 0;
    return strtoul32(attributeValue, isHex(attributeValue) ? 16 : 10);
}

long SimpleXmlParser::getLONG() const {
    if (attributeValue == nullptr) return 0;
    return strtol32(attributeValue, isHex(attributeValue) ? 16 : 10);
}
