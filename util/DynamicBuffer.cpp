#include "util/DynamicBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "util/DynamicBufferException.h"

namespace {

// Sizes are stored in 32 bits: where unsigned long is wider, a request beyond that fails just
// as if the heap had run out.
unsigned char* newBlock(std::uint64_t size) {
    auto* block = size > UINT32_MAX ? nullptr : new (std::nothrow) unsigned char[size];
    if (block == nullptr) throw DynamicBufferException(DynamicBufferException::kOutOfMemory);
    return block;
}

// Borrowed memory that is larger than 32 bits can say is used up to there.
std::uint32_t clamped(std::uint64_t size) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(size, UINT32_MAX));
}

[[noreturn]] void refuse() { throw DynamicBufferException(DynamicBufferException::kDoesNotFit); }

}  // namespace

DynamicBuffer::DynamicBuffer(unsigned long newSize) { Alloc(newSize); }

DynamicBuffer::DynamicBuffer(void* newData, unsigned long newSize) { Attach(newData, newSize); }

void* DynamicBuffer::Alloc(unsigned long newSize) {
    Free();
    if (newSize == 0) return nullptr;
    adopt(newBlock(newSize), static_cast<std::uint32_t>(newSize), 1);
    return data;
}

void* DynamicBuffer::AllocAndPreserve(unsigned long newSize, unsigned long preserve) {
    const std::uint32_t keep = keptOf(preserve);
    if (keep > newSize) refuse();
    if (newSize == 0) {
        Free();
        return nullptr;
    }
    unsigned char* block = newBlock(newSize);  // may throw: nothing has been given up yet
    if (keep != 0) std::memcpy(block, data, keep);
    adopt(block, static_cast<std::uint32_t>(newSize), 1);
    return data;
}

void* DynamicBuffer::Attach(void* newData, unsigned long newSize) {
    if (newData == nullptr || newSize == 0) {
        Free();
        return nullptr;
    }
    adopt(newData, clamped(newSize), 0);
    return data;
}

void* DynamicBuffer::AttachAndPreserve(void* newData, unsigned long newSize,
                                       unsigned long preserve) {
    if (newData == nullptr || newSize == 0) {
        if (preserve != 0 && !isEmpty()) refuse();
        return nullptr;
    }
    const std::uint32_t keep = keptOf(preserve);
    if (keep > newSize) refuse();
    if (keep != 0) std::memmove(newData, data, keep);
    adopt(newData, clamped(newSize), 0);
    return nullptr;
}

void DynamicBuffer::Free() { adopt(nullptr, 0, 0); }

std::uint32_t DynamicBuffer::keptOf(unsigned long preserve) const {
    return isEmpty() ? 0 : static_cast<std::uint32_t>(std::min<unsigned long>(preserve, size));
}

void DynamicBuffer::adopt(void* newData, std::uint32_t newSize, std::uint32_t ours) {
    if (owned != 0) delete[] static_cast<unsigned char*>(data);
    data = newData;
    size = newSize;
    owned = ours;
}
