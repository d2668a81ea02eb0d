// SimpleXmlException: the text is not what XMLWriter would have written.
//
// Thrown by SimpleXmlParser::parseNext() for a "/" that does not close its tag and for an
// attribute value without quotes. It leaves the library, so that a host can tell a damaged
// snapshot from any other failure and show where the damage begins:
//
//   try {
//       builder.readXML();
//   } catch (const SimpleXmlException& e) {
//       report(e.character, e.offset);
//   }
#ifndef XML_SIMPLEXMLEXCEPTION_H
#define XML_SIMPLEXMLEXCEPTION_H

#include <exception>

class __attribute__((visibility("default"))) SimpleXmlException : public std::exception {
public:
    SimpleXmlException(char unexpected, unsigned long byteOffset);

    const char* what() const noexcept override;

    char character;        // the unexpected character
    unsigned long offset;  // bytes from the start of the parsed buffer
};

#endif  // XML_SIMPLEXMLEXCEPTION_H
