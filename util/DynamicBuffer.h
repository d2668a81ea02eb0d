// DynamicBuffer: a run of bytes that is either owned or borrowed.
//
// Ownership  After Alloc() the buffer owns its bytes and frees them. After Attach() they stay the
//            caller's, who keeps them alive and gets them back unfreed.
// Pointers   Every call below replaces the bytes; pointers from an earlier call die with it.
// Threads    No locking inside; one thread at a time.   Units: bytes.
// Errors     DynamicBufferException, with the code named at each call. Nothing is logged.
//
//   DynamicBuffer line(0);
//   auto* text = static_cast<char*>(line.Alloc(64));
//   text = static_cast<char*>(line.AllocAndPreserve(128, 64));  // the first 64 bytes are kept
#ifndef UTIL_DYNAMICBUFFER_H
#define UTIL_DYNAMICBUFFER_H

#include <cstdint>

class DynamicBuffer {
public:
    explicit DynamicBuffer(unsigned long newSize);        // as Alloc()
    DynamicBuffer(void* newData, unsigned long newSize);  // as Attach()
    ~DynamicBuffer() { Free(); }
    DynamicBuffer(const DynamicBuffer&) = delete;
    DynamicBuffer& operator=(const DynamicBuffer&) = delete;

    // Fresh, uninitialised, owned bytes; 0 means Free(). The old block is released first, so it
    // is gone even when this throws kOutOfMemory.
    void* Alloc(unsigned long newSize);

    // As Alloc(), but starting with the first `preserve` bytes of the old contents (all of them
    // when there are fewer). Throws kDoesNotFit when those exceed `newSize`, or kOutOfMemory;
    // after either throw the buffer is as it was.
    void* AllocAndPreserve(unsigned long newSize, unsigned long preserve);

    // Borrows; null or 0 means Free(). Returns `newData`, or null after Free().
    void* Attach(void* newData, unsigned long newSize);

    // Borrows, after copying the first `preserve` bytes of the old contents (all of them when
    // there are fewer) to `newData`, which may overlap them. Throws kDoesNotFit when those exceed
    // `newSize`. Null or 0 leaves the buffer as it is, unlike Attach(), or throws kDoesNotFit when
    // bytes were to be kept. Always returns null: callers know their own memory.
    void* AttachAndPreserve(void* newData, unsigned long newSize, unsigned long preserve);

    void Free();  // safe to repeat

    std::uint32_t getSize() const { return size; }
    void* getData() const { return data; }
    bool isOwned() const { return owned != 0; }

private:
    std::uint32_t keptOf(unsigned long preserve) const;
    bool isEmpty() const { return data == nullptr || size == 0; }
    void adopt(void* newData, std::uint32_t newSize, std::uint32_t ours);

    std::uint32_t size = 0;   // bytes at `data`; 32 bits on every host
    void* data = nullptr;     // when owned, from new unsigned char[]
    std::uint32_t owned = 0;  // 1: ours to delete[]; 0: borrowed, or empty
};

#endif  // UTIL_DYNAMICBUFFER_H
