// ByRefArray_TC: a growable array of small plain entries that are copied in and out.
//
// All sizes are in bytes. The allocated size that the array reports is always a multiple of the
// growth step and grows by the rule of Reserve(); the block behind it may be larger, so that an
// array that grows one entry at a time does not copy itself at every entry.
//
// Widths     Sizes and indexes are 32 bits on every host; of a wider index the low 32 bits count.
// Ownership  The entries are the array's; what their pointers point at is not.
// Threads    No locking inside.
// Errors     DynamicBufferException with kOutOfMemory; the entries are then as they were.
//
//   ByRefArray_TC<Pair> pairs(0, 4 * sizeof(Pair));
//   pairs.Insert(pairs.GetCount(), pair);  // allocated: room for four
#ifndef XML_BYREFARRAY_TC_H
#define XML_BYREFARRAY_TC_H

#include <algorithm>
#include <cstdint>
#include <new>
#include <type_traits>

#include "util/DynamicBufferException.h"

template <class Entry>
class ByRefArray_TC {
    static_assert(std::is_trivially_copyable<Entry>::value, "entries are moved as plain bytes");

public:
    static constexpr std::uint32_t kEntrySize = sizeof(Entry);

    ByRefArray_TC(unsigned long initialBytes, unsigned long growByBytes) {
        SetGrowBy(growByBytes);
        Reserve(initialBytes);
    }
    ~ByRefArray_TC() { delete[] entries; }
    ByRefArray_TC(const ByRefArray_TC&) = delete;
    ByRefArray_TC& operator=(const ByRefArray_TC&) = delete;

    // The growth step, rounded up to whole entries; 0 becomes one entry.
    void SetGrowBy(unsigned long bytes) {
        const std::uint64_t wanted = std::max<std::uint64_t>(bytes, 1);
        growBy = checked(roundUp(wanted, kEntrySize));
    }

    // Allocates for the larger of `bytes` and what is in use, rounded up to the growth step. This
    // also shrinks: Reserve(0) gives back what no entry uses.
    void Reserve(unsigned long bytes) {
        const std::uint64_t wanted = std::max<std::uint64_t>(bytes, GetUsed());
        const std::uint32_t newSize = checked(roundUp(wanted, growBy));
        if (newSize == allocated) return;
        if (count == 0) release();
        if (newSize != 0 && !blockServes(newSize)) moveTo(newSize);
        allocated = newSize;
    }

    // Puts the entry before the one at `index`; any index that is not in use appends. False when
    // the array cannot become larger.
    bool Insert(unsigned long index, const Entry& entry) {
        const Entry copy = entry;  // may be one of ours, and the block may move
        if (allocated - GetUsed() < kEntrySize && !makeRoomForOne()) return false;
        auto at = static_cast<std::uint32_t>(index);
        if (at >= count) {
            at = count;
        } else {
            std::copy_backward(entries + at, entries + count, entries + count + 1);
        }
        entries[at] = copy;
        ++count;
        return true;
    }

    // Forgets all entries and frees their memory; the growth step stays.
    void RemoveAll() {
        count = 0;
        release();
    }

    const Entry* GetAt(unsigned long index) const {  // null when the index is not in use
        const auto at = static_cast<std::uint32_t>(index);
        return at < count ? entries + at : nullptr;
    }
    std::uint32_t GetCount() const { return count; }          // entries
    std::uint32_t GetAllocated() const { return allocated; }  // bytes
    std::uint32_t GetGrowBy() const { return growBy; }        // bytes
    std::uint32_t GetUsed() const { return count * kEntrySize; }

private:
    // A first block of this size holds the attributes of every element of a snapshot.
    static constexpr std::uint32_t kFirstBlock = 32 * kEntrySize;

    static std::uint64_t roundUp(std::uint64_t bytes, std::uint64_t unit) {
        return (bytes + unit - 1) / unit * unit;
    }

    // Sizes are 32 bits on every host: what does not fit counts as memory that there is not.
    static std::uint32_t checked(std::uint64_t bytes) {
        if (bytes > UINT32_MAX) throw DynamicBufferException(DynamicBufferException::kOutOfMemory);
        return static_cast<std::uint32_t>(bytes);
    }

    bool makeRoomForOne() {
        if (growBy == kEntrySize && count != 0 && allocated < block) {
            allocated += kEntrySize;  // what Reserve() would find out
            return true;
        }
        if (allocated > UINT32_MAX - kEntrySize) return false;
        Reserve(allocated + kEntrySize);
        return true;
    }

    bool blockServes(std::uint32_t newSize) const {
        return newSize <= block && (newSize > allocated || newSize > block / 2);
    }

    void release() {
        delete[] entries;
        entries = nullptr;
        allocated = 0;
        block = 0;
    }

    // Growing by steps doubles the block; a first reservation or a smaller size is met exactly.
    void moveTo(std::uint32_t newSize) {
        std::uint64_t newBlock = newSize;
        if (newSize > allocated && newSize - allocated == growBy) {
            newBlock = std::max<std::uint64_t>({newSize, kFirstBlock, 2ULL * block});
            newBlock = std::min<std::uint64_t>(newBlock, UINT32_MAX / kEntrySize * kEntrySize);
        }
        Entry* fresh = allocate(newBlock);
        if (fresh == nullptr && newBlock != newSize) {
            newBlock = newSize;
            fresh = allocate(newBlock);
        }
        if (fresh == nullptr) throw DynamicBufferException(DynamicBufferException::kOutOfMemory);
        std::copy(entries, entries + count, fresh);
        delete[] entries;
        entries = fresh;
        block = static_cast<std::uint32_t>(newBlock);
    }

    static Entry* allocate(std::uint64_t bytes) {
        // On a 32-bit host a size near 4 GiB would throw in the expression itself.
        if (bytes > PTRDIFF_MAX) return nullptr;
        return new (std::nothrow) Entry[static_cast<std::size_t>(bytes / kEntrySize)];
    }

    std::uint32_t allocated = 0;  // bytes, as reported
    std::uint32_t growBy = kEntrySize;
    std::uint32_t count = 0;   // entries in use
    Entry* entries = nullptr;  // ours, from new[]
    std::uint32_t block = 0;   // bytes really at `entries`, never less than `allocated`
};

#endif  // XML_BYREFARRAY_TC_H
