// SimpleXmlParser: a pull parser for the XML that XMLWriter produces. It works in place: names and
// values are cut out of the caller's buffer with NUL bytes and handed out as pointers into it.
//
// Grammar    Elements, attributes in double quotes or apostrophes, empty-element and end tags.
//            Text between tags is skipped, entities stay as they are written. A processing
//            instruction passes as an element whose name begins with "?"; comments and CDATA are
//            not recognised.
// Ownership  The buffer stays the caller's. It is altered and cannot be parsed twice. Names and
//            values live as long as the buffer.
// Limits     Nothing outside the buffer is read or written, and it need not end in NUL. Lengths
//            are 32 bits.
// Threads    No locking inside.
// Errors     SimpleXmlException for a "/" in a start tag that no ">" follows and for a value
//            without quotes. An input that ends early never throws; it ends the token quietly.
//
//   SimpleXmlParser parser(text.data(), text.size());   // <A x="1" y="2"><B/></A>
//   while (parser.parseNext()) ...
//
//   flags                                 elementName  attributeName  attributeValue
//   kElementStart | kAttribute            A            x              1
//   kAttribute                            A            y              2
//   kElementStart | kEmpty | kElementEnd  B
//   kElementEnd                           A
#ifndef XML_SIMPLEXMLPARSER_H
#define XML_SIMPLEXMLPARSER_H

#include <cstdint>

class SimpleXmlParser {
public:
    static constexpr std::uint32_t kElementStart = 1;
    // An attribute was read; the parser now stands inside a start tag.
    static constexpr std::uint32_t kAttribute = 2;
    static constexpr std::uint32_t kEmpty = 4;  // the tag ended with "/>"
    static constexpr std::uint32_t kElementEnd = 8;

    SimpleXmlParser() = default;
    SimpleXmlParser(char* buffer, unsigned long length) { attach(buffer, length); }

    void attach(char* buffer, unsigned long length);  // null detaches
    void invalidate();                                // goes to the end: no more tokens

    // Goes on to the next token; false at the end of the input, and then no flag is set.
    bool parseNext();

    // The attribute's value as a number: hexadecimal after "0x", else decimal, 0 without a value;
    // stops at the limits of 32 bits.
    unsigned long getULONG() const;
    long getLONG() const;

private:
    char* start = nullptr;  // null: nothing attached
    char* end = nullptr;
    char* position = nullptr;  // next character to look at

public:
    std::uint32_t flags = 0;

private:
    char saved = 0;  // overwritten at `position` by the last token; 0: nothing to put back

public:
    // Kept from the start tag on, across the attributes, until the next tag.
    char* elementName = nullptr;
    // Null when the token has none; a name may come without a value.
    char* attributeName = nullptr;
    char* attributeValue = nullptr;

private:
    bool readTag(char* at);
    bool readEndTag(char* at);
    bool readInsideTag(char* at);
    bool readEmptyEnd(char* slash);
    bool readAttribute(char* at);
    bool readValueless(char* at);
    bool readValue(char* at);
    bool stopAtEnd();
    [[noreturn]] void fail(char character, const char* at);
};

#endif  // XML_SIMPLEXMLPARSER_H
