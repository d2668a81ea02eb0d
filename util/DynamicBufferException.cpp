#include "util/DynamicBufferException.h"

// Here, so that the type has one home and is the same for every library that catches it.
DynamicBufferException::~DynamicBufferException() = default;

const char* DynamicBufferException::what() const noexcept {
    return code == kOutOfMemory ? "buffer: out of memory" : "buffer: kept bytes do not fit";
}
