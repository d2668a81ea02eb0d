#include "xml/SimpleXmlException.h"

SimpleXmlException::SimpleXmlException(char unexpected, unsigned long byteOffset)
    : character(unexpected), offset(byteOffset) {}

const char* SimpleXmlException::what() const noexcept { return "unexpected character in XML text"; }
