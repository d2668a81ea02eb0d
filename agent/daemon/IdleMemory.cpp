#include "agent/daemon/IdleMemory.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace {

constexpr int kLargeBlock = 64 * 1024;  // bytes; from here on a block is mapped by itself

// Code and constants: they are never written, so that the file gives back the same bytes.
int dropConstants(dl_phdr_info* object, std::size_t, void*) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& part = object->dlpi_phdr[i];
        if (part.p_type != PT_LOAD || (part.p_flags & PF_W) != 0) continue;
        const std::uintptr_t begin = (object->dlpi_addr + part.p_vaddr) & ~(page - 1);
        const std::uintptr_t end = object->dlpi_addr + part.p_vaddr + part.p_filesz;
        // The loader tells addresses as numbers. NOLINTNEXTLINE(performance-no-int-to-ptr)
        (void)madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

}  // namespace

void limitHeap() {
    (void)mallopt(M_ARENA_MAX, 1);
    (void)mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    (void)mallopt(M_TRIM_THRESHOLD, kLargeBlock);
}

void giveBackMemory() {
    (void)malloc_trim(0);
    (void)dl_iterate_phdr(dropConstants, nullptr);
}
