// Fuzzes the pull parser: any bytes, in a buffer of exactly their size.
// Parsed code: xml/SimpleXmlParser.cpp

#include <cstring>
#include <memory>

#include "fuzz/support/Fuzz.h"
#include "xml/SimpleXmlException.h"
#include "xml/SimpleXmlParser.h"

namespace {

struct Buffer {
    Buffer(const std::uint8_t* data, std::size_t sizeIN) : size(sizeIN), bytes(new char[sizeIN]) {
        if (size != 0) std::memcpy(bytes.get(), data, size);
    }

    // Names and values are texts that begin and end inside the buffer.
    void mustHold(const char* text, const char* what) const {
        if (text == nullptr) return;
        fuzz::must(text >= bytes.get() && text < bytes.get() + size, what);
        const auto left = static_cast<std::size_t>(bytes.get() + size - text);
        fuzz::must(std::memchr(text, 0, left) != nullptr, what);
    }

    std::size_t size;
    std::unique_ptr<char[]> bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Buffer buffer(data, size);
    SimpleXmlParser parser(buffer.bytes.get(), static_cast<unsigned long>(size));
    std::size_t tokens = 0;
    try {
        while (parser.parseNext()) {
            fuzz::must(parser.flags != 0, "a token has a kind");
            fuzz::must(++tokens <= size, "every token uses up a character");
            buffer.mustHold(parser.elementName, "the element's name lies in the buffer");
            buffer.mustHold(parser.attributeName, "the attribute's name lies in the buffer");
            buffer.mustHold(parser.attributeValue, "the value lies in the buffer");
            (void)parser.getULONG();
            (void)parser.getLONG();
        }
    } catch (const SimpleXmlException& e) {
        fuzz::must(e.offset < size, "a complaint names a place in the input");
    }
    fuzz::must(!parser.parseNext() && parser.flags == 0, "the end is the end");
    return 0;
}
