// XMLWriter: renders storage objects as XML text into one growing buffer.
//
// Ownership  The buffer belongs to whoever owns the `char*` variable given at construction. The
//            writer keeps that variable pointing at the current text, never frees the last buffer,
//            and frees what the variable held before. Buffers come from new char[]: free the text
//            with delete[].
// Text       Always ends with NUL. Attributes are ` name="value"`, indentation is four blanks per
//            level up to 62 in front of "<" and 61 in front of "</", names are written as they are.
// Size       getBuffSize() starts at 512, doubles up to 65536 and then grows by 65536, at the
//            append that needs it. The memory behind it grows geometrically, so that a document
//            of any size is written in linear time.
// Widths     Numbers, lengths and sizes are 32 bits on every host, whatever the parameter's type.
// Threads    No locking inside.
// Errors     When memory runs out, the fragment at hand is dropped; the text still ends with NUL,
//            and isWhole() says that something is missing.
//
//   char* text = nullptr;
//   XMLWriter writer(&text);
//   writer.writeTree(system);
//   std::fwrite(text, 1, writer.getStrSize(), file);
//   delete[] text;
#ifndef XML_XMLWRITER_H
#define XML_XMLWRITER_H

#include <cstddef>
#include <cstdint>

#include "storlib/Addr2.h"
#include "storlib/Writer.h"

class XMLWriter : public Writer {
public:
    explicit XMLWriter(char** owner);  // never null; *owner is null or from new char[]
    ~XMLWriter() override = default;
    XMLWriter(const XMLWriter&) = delete;
    XMLWriter& operator=(const XMLWriter&) = delete;

    // The order is that of Writer, then of the slots that follow it. Forms with a reference go
    // through the virtual pointer form: override that one to change both.

    // One character; the five with entities are escaped, control characters pass. 0 is "".
    void writeChar(char const* name, char value) override;
    void writeUChar(char const* name, unsigned char value) override;
    void writeLong(char const* name, long value) override;
    void writeULong(char const* name, unsigned long value) override;
    void writeShort(char const* name, short value) override;
    void writeUShort(char const* name, unsigned short value) override;
    void writeInt(char const* name, int value) override;
    void writeUInt(char const* name, unsigned int value) override;
    void writeUIntHex(char const* name, unsigned int value) override;  // 255 is 0xff
    void writeFloat(char const* name, float value) override;           // six decimals
    void writeDouble(char const* name, double value) override;
    void writeU64(char const* name, unsigned long long value) override;
    void writeI64(char const* name, long long value) override;
    void writeBlockT(char const* name, unsigned long long value) override;
    void writeBool(char const* name, bool value) override;  // "true" or "false"
    // Control characters (below 0x20) become "DELIM", quotes, "&", "<" and ">" their entities,
    // everything else stays. Null is "".
    void writeString(char const* name, char const* value) override;
    // The same after clearing bit 7 of every byte, in the caller's memory.
    void writeASCIIString(char const* name, char* value) override;
    // One element without line feed and without children. Null writes nothing.
    void writeObject(RaidObject const* object) override;
    void writeObject(RaidObject const& object) override;
    void writeObject(Addr const* address) override;
    void writeObject(Addr const& address) override;
    void writeAddr(Addr const* address) override;  // the identifiers that are set
    void writeAddrDefinedIDsOnly(Addr const& address) override;
    void writeAddr(Addr const& address) override;
    // The object and all below it as nested elements, one tag to a line. Null objects and null
    // children are left out.
    void writeTree(RaidObject const* object) override;
    void writeTree(RaidObject const& object) override;
    void writeRawString(char const* text) override;  // as it is; null or "" writes nothing
    // Pairs of hexadecimal digits, separated by blanks.
    void writeBinary(char const* name, char const* data, unsigned long size) override;
    void addTag(char const* text) override;  // as it is

    virtual void writeObject(Addr2 const* address);
    virtual void writeObject(Addr2 const& address);
    virtual void writeAddrAll(Addr const* address);  // all eight identifiers
    virtual void writeAddrAll(Addr const& address);
    virtual void writeAddr2(Addr2 const* address);  // storlibType unless 0, then writeAddr()
    virtual void writeAddr2(Addr2 const& address);
    virtual void writeAddr2All(Addr2 const* address);  // storlibType, then writeAddrAll()
    virtual void writeAddr2All(Addr2 const& address);
    virtual unsigned int getBuffSize() const;  // bytes, as the rule above gives them
    virtual unsigned int getStrSize() const;   // characters, without the NUL

    // False once a fragment was dropped because there was no memory for it.
    bool isWhole() const { return whole; }

    // All text comes in through these. `text` need not end in NUL when its length is given.
    void append(char const* text, unsigned int textLength);
    void append(char const* text);
    void append(char c);

    // The high (any `high` but 0) or the low half of a byte as one of "0123456789abcdef".
    static char GetHexDigit(char byte, int high);

private:
    static constexpr std::uint32_t kFirstCapacity = 512;
    static constexpr std::uint32_t kScratchSize = 64;

    char* room(std::uint64_t textLength);
    [[gnu::noinline]] bool grow(std::uint64_t needed);
    bool growTo(std::uint64_t needed);
    bool moveTo(std::uint64_t size);
    void expect(RaidObject const& object);
    void commit(const char* end);
    void attribute(char const* name, char const* value, std::size_t valueLength);
    void escaped(char const* name, char const* value, std::size_t valueLength,
                 std::uint64_t growth);
    template <class Integer>
    void number(char const* name, Integer value);
    void openElement(char const* elementName);
    void openTag(std::uint32_t blanks, char const* elementName);
    void closeTag(std::uint32_t blanks, char const* elementName);

    char* buffer = nullptr;        // the owner's, as is `*owner`
    char** owner;                  // the caller's variable
    char scratch[kScratchSize];    // numbers and pieces of binary data on their way
    std::uint32_t capacity = 0;    // bytes, as reported
    std::uint32_t length = 0;      // characters before the NUL
    std::uint32_t indent = 0;      // blanks
    std::uint32_t indentStep = 4;  // blanks per level
    std::uint64_t allocated = 0;   // bytes really at `buffer`, never less than `capacity`
    bool whole = true;
};

#endif  // XML_XMLWRITER_H
