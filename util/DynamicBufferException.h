// DynamicBufferException: why a buffer, or an array built like one, could not be resized.
//
// Exported, because hosts catch it by type outside the library.
#ifndef UTIL_DYNAMICBUFFEREXCEPTION_H
#define UTIL_DYNAMICBUFFEREXCEPTION_H

#include <cstdint>
#include <exception>

class DynamicBufferException : public std::exception {
public:
    static constexpr std::int32_t kOutOfMemory = 1;
    static constexpr std::int32_t kDoesNotFit = 2;  // the bytes to keep exceed the new size

    explicit DynamicBufferException(std::int32_t errorCode) : code(errorCode) {}
    ~DynamicBufferException() override;
    DynamicBufferException(const DynamicBufferException&) = default;
    DynamicBufferException& operator=(const DynamicBufferException&) = default;

    const char* what() const noexcept override;

    std::int32_t code;
};

#endif  // UTIL_DYNAMICBUFFEREXCEPTION_H
