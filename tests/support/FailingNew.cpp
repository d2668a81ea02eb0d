#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

bool FailingNew::available() { return false; }
FailingNew::FailingNew(int) {}
FailingNew::~FailingNew() = default;

#else

namespace {

constexpr int kNeverFail = -1;
thread_local int left = kNeverFail;  // allocations that still succeed

void* allocate(std::size_t size) {
    if (left == 0) return nullptr;
    if (left > 0) --left;
    return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
    void* block = allocate(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

bool FailingNew::available() { return true; }
FailingNew::FailingNew(int successes) { left = successes; }
FailingNew::~FailingNew() { left = kNeverFail; }

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

#endif
