#include "xml/XMLWriter.h"

#include <sys/mman.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "storlib/RaidObject.h"

namespace {

// An opening tag with its "<" and a closing tag with its "</" start in 64 characters, with room
// for a NUL; hosts compare snapshots as text, so the uneven limits stay as they are.
constexpr std::uint32_t kMostBlanksBeforeOpen = 62;
constexpr std::uint32_t kMostBlanksBeforeClose = 61;

// Pending binary digits above this number are written out; three more still fit the scratch area.
constexpr std::size_t kPendingBinary = 55;

// Up to this size the memory grows by four: pages that no text reaches cost nothing, copies do.
constexpr std::uint64_t kBigBlock = 16 << 20;

// What an element with its attributes takes at most, as a rule.
constexpr std::uint64_t kUsualElement = 640;

std::uint64_t elementsOf(RaidObject const& object) {
    std::uint64_t sum = 1;
    for (const RaidObject* child : object.getChildren()) {
        if (child != nullptr) sum += elementsOf(*child);
    }
    return sum;
}

constexpr std::size_t kLongestInteger = 20;  // with its sign

// The longest number is the largest double, with its sign, 309 digits and six decimals.
constexpr std::size_t kLongestDouble = 320;

struct Escape {
    char const* text = nullptr;  // null: the character stands for itself
    std::uint8_t length = 1;
};

struct EscapeTable {
    Escape row[256];

    constexpr EscapeTable() : row{} {
        for (int c = 0; c < 0x20; ++c) row[c] = {"DELIM", 5};
        row[static_cast<int>('"')] = {"&quot;", 6};
        row[static_cast<int>('&')] = {"&amp;", 5};
        row[static_cast<int>('\'')] = {"&apos;", 6};
        row[static_cast<int>('<')] = {"&lt;", 4};
        row[static_cast<int>('>')] = {"&gt;", 4};
    }
};

constexpr EscapeTable kEscapes;

constexpr Escape const& escapeOf(char c) { return kEscapes.row[static_cast<unsigned char>(c)]; }

// Characters by which each byte grows when it is escaped. Most texts need none of that, and find
// out by looking at this table alone.
struct GrowthTable {
    std::uint8_t row[256];

    constexpr GrowthTable() : row{} {
        for (int c = 0; c < 256; ++c) {
            row[c] = static_cast<std::uint8_t>(kEscapes.row[c].length - 1);
        }
    }
};

constexpr GrowthTable kGrowth;

std::uint64_t growthOf(char const* value, std::size_t valueLength) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < valueLength; ++i) {
        sum += kGrowth.row[static_cast<unsigned char>(value[i])];
    }
    return sum;
}

// Names and values are a few bytes long: two moves that may overlap cost less than a call, which
// the compiler would make of them.
template <class Word>
[[gnu::always_inline]] inline void putEnds(char* at, char const* text, std::size_t textLength) {
    Word first;
    Word last;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + textLength - sizeof last, sizeof last);
    std::memcpy(at, &first, sizeof first);
    std::memcpy(at + textLength - sizeof last, &last, sizeof last);
}

inline char* put(char* at, char const* text, std::size_t textLength) {
    if (textLength > 16) {
        std::memcpy(at, text, textLength);
    } else if (textLength >= 8) {
        putEnds<std::uint64_t>(at, text, textLength);
    } else if (textLength >= 4) {
        putEnds<std::uint32_t>(at, text, textLength);
    } else {
        for (std::size_t i = 0; i < textLength; ++i) at[i] = text[i];
    }
    return at + textLength;
}

// ` name="`
[[gnu::always_inline]] inline char* putName(char* at, char const* name, std::size_t nameLength) {
    *at++ = ' ';
    at = put(at, name, nameLength);
    *at++ = '=';
    *at++ = '"';
    return at;
}

// A block this large comes from the system page by page, at every snapshot anew. Where it gives
// large pages it has to do so 500 times less often.
constexpr std::uint64_t kManyPages = 32 << 20;

void preferLargePages(char* block, std::uint64_t size) {
#ifdef MADV_HUGEPAGE
    if (size < kManyPages) return;
    constexpr std::uintptr_t kPage = 4096;
    const std::uintptr_t past = reinterpret_cast<std::uintptr_t>(block) % kPage;
    // A hint: where it is refused nothing is lost.
    (void)madvise(block + (kPage - past) % kPage, static_cast<std::size_t>(size - kPage),
                  MADV_HUGEPAGE);
#else
    (void)block;
    (void)size;
#endif
}

char const* orEmpty(char const* text) { return text != nullptr ? text : ""; }

}  // namespace

XMLWriter::XMLWriter(char** ownerIN) : owner(ownerIN) {
    delete[] * owner;
    *owner = nullptr;
    if (moveTo(kFirstCapacity)) capacity = kFirstCapacity;
}

void XMLWriter::writeChar(char const* name, char value) {
    const Escape& escape = escapeOf(value);
    const bool entity = escape.text != nullptr && *escape.text == '&';
    if (entity) {
        attribute(name, escape.text, escape.length);
    } else {
        attribute(name, &value, value != 0 ? 1 : 0);
    }
}

void XMLWriter::writeUChar(char const* name, unsigned char value) {
    XMLWriter::writeChar(name, static_cast<char>(value));
}

void XMLWriter::writeLong(char const* name, long value) {
    number(name, static_cast<std::int32_t>(value));
}

void XMLWriter::writeULong(char const* name, unsigned long value) {
    number(name, static_cast<std::uint32_t>(value));
}

void XMLWriter::writeShort(char const* name, short value) { number(name, std::int32_t{value}); }

void XMLWriter::writeUShort(char const* name, unsigned short value) {
    number(name, std::uint32_t{value});
}

void XMLWriter::writeInt(char const* name, int value) { number(name, std::int32_t{value}); }

void XMLWriter::writeUInt(char const* name, unsigned int value) {
    number(name, std::uint32_t{value});
}

void XMLWriter::writeUIntHex(char const* name, unsigned int value) {
    char* const digits = put(scratch, "0x", 2);
    const auto last = std::to_chars(digits, scratch + kScratchSize, value, 16);
    attribute(name, scratch, static_cast<std::size_t>(last.ptr - scratch));
}

void XMLWriter::writeFloat(char const* name, float value) {
    XMLWriter::writeDouble(name, static_cast<double>(value));
}

void XMLWriter::writeDouble(char const* name, double value) {
    char digits[kLongestDouble];
    const auto last =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 6);
    attribute(name, digits, static_cast<std::size_t>(last.ptr - digits));
}

void XMLWriter::writeU64(char const* name, unsigned long long value) {
    number(name, std::uint64_t{value});
}

void XMLWriter::writeI64(char const* name, long long value) { number(name, std::int64_t{value}); }

void XMLWriter::writeBlockT(char const* name, unsigned long long value) {
    writeU64(name, value);  // virtual: a writer with its own 64-bit form shows blocks in it, too
}

void XMLWriter::writeBool(char const* name, bool value) {
    attribute(name, value ? "true" : "false", value ? 4 : 5);
}

void XMLWriter::writeString(char const* name, char const* value) {
    value = orEmpty(value);
    const std::size_t valueLength = std::strlen(value);
    escaped(name, value, valueLength, growthOf(value, valueLength));
}

void XMLWriter::writeASCIIString(char const* name, char* value) {
    std::size_t valueLength = 0;
    std::uint64_t growth = 0;
    for (; value != nullptr && value[valueLength] != 0; ++valueLength) {
        const auto ascii = static_cast<unsigned char>(value[valueLength] & 0x7f);
        value[valueLength] = static_cast<char>(ascii);
        growth += kGrowth.row[ascii];
    }
    escaped(name, orEmpty(value), valueLength, growth);
}

void XMLWriter::writeObject(RaidObject const* object) {
    if (object == nullptr) return;
    openElement(object->serializedName());
    object->writeTo(this);
    append("/>", 2);
}

void XMLWriter::writeObject(RaidObject const& object) { writeObject(&object); }

void XMLWriter::writeObject(Addr const* address) {
    if (address == nullptr) return;
    openElement(Addr::serializedName());
    writeAddr(address);
    append("/>", 2);
}

void XMLWriter::writeObject(Addr const& address) { writeObject(&address); }

void XMLWriter::writeAddr(Addr const* address) {
    if (address == nullptr) return;
    const auto id = [this](char const* name, unsigned int value) {
        if (value != Addr::kNotSet) writeULong(name, value);
    };
    id("controllerID", address->controllerID);
    id("arrayID", address->arrayID);
    id("logicalDriveID", address->logicalDriveID);
    id("channelID", address->channelID);
    id("deviceID", address->deviceID);
    if (address->chunkID != Addr::kChunkNotSet) {
        writeBlockT("chunkID", static_cast<unsigned long long>(address->chunkID));
    }
    id("itemID", address->itemID);
    id("phyID", address->phyID);
}

void XMLWriter::writeAddrDefinedIDsOnly(Addr const& address) { writeAddr(address); }

void XMLWriter::writeAddr(Addr const& address) { writeAddr(&address); }

void XMLWriter::writeTree(RaidObject const* object) {
    if (object == nullptr) return;
    if (length == 0) expect(*object);
    openTag(std::min(indent, kMostBlanksBeforeOpen), object->serializedName());
    object->writeTo(this);
    const std::vector<RaidObject*>& children = object->getChildren();
    if (children.empty()) {
        append("/>\n", 3);
        return;
    }
    indent += indentStep;
    append(">\n", 2);
    for (const RaidObject* child : children) writeTree(child);
    if (indent != 0) indent -= indentStep;
    closeTag(std::min(indent, kMostBlanksBeforeClose), object->serializedName());
}

void XMLWriter::writeTree(RaidObject const& object) { writeTree(&object); }

void XMLWriter::writeRawString(char const* text) { append(text); }

void XMLWriter::writeBinary(char const* name, char const* data, unsigned long size) {
    const auto byteCount = data != nullptr ? static_cast<std::uint32_t>(size) : 0;
    const std::size_t nameLength = std::strlen(name);
    char* at = room(std::uint64_t{nameLength} + 3);
    if (at != nullptr) commit(putName(at, name, nameLength));

    std::size_t pending = 0;
    for (std::uint32_t i = 0; i < byteCount; ++i) {
        scratch[pending++] = GetHexDigit(data[i], 1);
        scratch[pending++] = GetHexDigit(data[i], 0);
        if (i + 1 != byteCount) scratch[pending++] = ' ';
        if (pending > kPendingBinary) {
            append(scratch, static_cast<unsigned int>(pending));
            pending = 0;
        }
    }
    scratch[pending++] = '"';
    append(scratch, static_cast<unsigned int>(pending));
}

void XMLWriter::addTag(char const* text) { append(text); }

void XMLWriter::writeObject(Addr2 const* address) {
    if (address == nullptr) return;
    openElement(Addr::serializedName());
    writeAddr2(address);
    append("/>", 2);
}

void XMLWriter::writeObject(Addr2 const& address) { writeObject(&address); }

void XMLWriter::writeAddrAll(Addr const* address) {
    if (address == nullptr) return;
    writeULong("controllerID", address->controllerID);
    writeULong("arrayID", address->arrayID);
    writeULong("logicalDriveID", address->logicalDriveID);
    writeULong("channelID", address->channelID);
    writeULong("deviceID", address->deviceID);
    writeBlockT("chunkID", static_cast<unsigned long long>(address->chunkID));
    writeULong("itemID", address->itemID);
    writeULong("phyID", address->phyID);
}

void XMLWriter::writeAddrAll(Addr const& address) { writeAddrAll(&address); }

void XMLWriter::writeAddr2(Addr2 const* address) {
    if (address == nullptr) return;
    if (address->storlibType != 0) writeInt("storlibType", address->storlibType);
    writeAddr(static_cast<Addr const*>(address));
}

void XMLWriter::writeAddr2(Addr2 const& address) { writeAddr2(&address); }

void XMLWriter::writeAddr2All(Addr2 const* address) {
    if (address == nullptr) return;
    writeInt("storlibType", address->storlibType);
    writeAddrAll(static_cast<Addr const*>(address));
}

void XMLWriter::writeAddr2All(Addr2 const& address) { writeAddr2All(&address); }

unsigned int XMLWriter::getBuffSize() const { return capacity; }

unsigned int XMLWriter::getStrSize() const { return length; }

void XMLWriter::append(char const* text, unsigned int textLength) {
    if (text == nullptr || textLength == 0) return;
    char* const at = room(textLength);
    if (at != nullptr) commit(put(at, text, textLength));
}

void XMLWriter::append(char const* text) {
    append(text, static_cast<unsigned int>(std::strlen(orEmpty(text))));
}

void XMLWriter::append(char c) { append(&c, 1); }

char XMLWriter::GetHexDigit(char byte, int high) {
    const unsigned value = static_cast<unsigned char>(byte);
    return "0123456789abcdef"[high != 0 ? value >> 4 : value & 0xf];
}

// Where the next `textLength` characters go; null when there is no memory for them. commit() makes
// them part of the text.
inline char* XMLWriter::room(std::uint64_t textLength) {
    const std::uint64_t needed = length + textLength + 2;
    if (needed >= capacity && !grow(needed)) return nullptr;
    return buffer + length;
}

inline void XMLWriter::commit(const char* end) {
    length = static_cast<std::uint32_t>(end - buffer);
    buffer[length] = 0;
}

// Raises the reported capacity by its rule, and the memory behind it when that is too small.
// False, and a fragment is lost, when there is no memory. Kept out of room(), which stands in every
// append.
bool XMLWriter::grow(std::uint64_t needed) {
    const bool grown = growTo(needed);
    whole = whole && grown;
    return grown;
}

bool XMLWriter::growTo(std::uint64_t needed) {
    std::uint64_t newCapacity = capacity != 0 ? capacity : kFirstCapacity;
    while (newCapacity < needed) newCapacity += std::min<std::uint64_t>(newCapacity, 65536);
    if (newCapacity > std::numeric_limits<std::uint32_t>::max()) return false;
    if (newCapacity > allocated) {
        const std::uint64_t ahead = allocated * (allocated < kBigBlock ? 4 : 2);
        if (!moveTo(std::max(newCapacity, ahead)) && !moveTo(newCapacity)) return false;
    }
    capacity = static_cast<std::uint32_t>(newCapacity);
    return true;
}

// Takes memory for a whole tree at once. Memory that no text reaches costs nothing; growing to its
// size by steps costs as much as writing.
void XMLWriter::expect(RaidObject const& object) {
    const std::uint64_t wanted = elementsOf(object) * kUsualElement;
    if (capacity != 0 && wanted > allocated) (void)moveTo(wanted);  // else it grows as it comes
}

bool XMLWriter::moveTo(std::uint64_t size) {
    if (size > static_cast<std::uint64_t>(PTRDIFF_MAX)) return false;
    char* const fresh = new (std::nothrow) char[static_cast<std::size_t>(size)];
    if (fresh == nullptr) return false;
    preferLargePages(fresh, size);
    if (length != 0) std::memcpy(fresh, buffer, length);
    fresh[length] = 0;
    delete[] buffer;
    buffer = fresh;
    *owner = buffer;
    allocated = size;
    return true;
}

// ` name="value"`, with a value that becomes `growth` characters longer by escaping.
void XMLWriter::escaped(char const* name, char const* value, std::size_t valueLength,
                        std::uint64_t growth) {
    if (growth == 0) {
        attribute(name, value, valueLength);
        return;
    }
    const std::size_t nameLength = std::strlen(name);
    char* at = room(nameLength + valueLength + growth + 4);
    if (at == nullptr) return;
    at = putName(at, name, nameLength);
    for (std::size_t i = 0; i < valueLength; ++i) {
        const Escape& escape = escapeOf(value[i]);
        at = put(at, escape.text != nullptr ? escape.text : value + i, escape.length);
    }
    *at++ = '"';
    commit(at);
}

// The same with a value that needs no escaping.
inline void XMLWriter::attribute(char const* name, char const* value, std::size_t valueLength) {
    const std::size_t nameLength = std::strlen(name);
    char* at = room(std::uint64_t{nameLength} + valueLength + 4);
    if (at == nullptr) return;
    at = putName(at, name, nameLength);
    at = put(at, value, valueLength);
    *at++ = '"';
    commit(at);
}

template <class Integer>
inline void XMLWriter::number(char const* name, Integer value) {
    const std::size_t nameLength = std::strlen(name);
    const std::uint64_t most = std::uint64_t{nameLength} + kLongestInteger + 4;
    if (length + most + 2 >= capacity) {  // the buffer may have to grow, and by the exact length
        const auto last = std::to_chars(scratch, scratch + kScratchSize, value);
        attribute(name, scratch, static_cast<std::size_t>(last.ptr - scratch));
        return;
    }
    char* at = putName(buffer + length, name, nameLength);
    at = std::to_chars(at, at + kLongestInteger, value).ptr;
    *at++ = '"';
    commit(at);
}

void XMLWriter::openElement(char const* elementName) { openTag(0, elementName); }

void XMLWriter::openTag(std::uint32_t blanks, char const* elementName) {
    elementName = orEmpty(elementName);
    const std::size_t nameLength = std::strlen(elementName);
    char* at = room(std::uint64_t{nameLength} + blanks + 1);
    if (at == nullptr) return;
    std::memset(at, ' ', blanks);
    at[blanks] = '<';
    commit(put(at + blanks + 1, elementName, nameLength));
}

void XMLWriter::closeTag(std::uint32_t blanks, char const* elementName) {
    elementName = orEmpty(elementName);
    const std::size_t nameLength = std::strlen(elementName);
    char* at = room(std::uint64_t{nameLength} + blanks + 4);
    if (at == nullptr) return;
    std::memset(at, ' ', blanks);
    at = put(at + blanks, "</", 2);
    at = put(at, elementName, nameLength);
    commit(put(at, ">\n", 2));
}
