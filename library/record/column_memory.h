// Allocation of large numeric columns, asking the kernel for huge pages so that filling
// tens of megabytes does not cost one page fault per 4 KiB.
#ifndef ANADATA_COLUMN_MEMORY_H
#define ANADATA_COLUMN_MEMORY_H

#include <cstddef>
#include <cstdint>

#include <sys/mman.h>

namespace qx {

// new double[n]; the caller (usually a DimType) frees it with delete[].
inline double* allocateColumn(std::size_t n) {
    double* data = new double[n];
#ifdef MADV_HUGEPAGE
    constexpr std::size_t hugePage = std::size_t(2) << 20;
    const std::size_t bytes = n * sizeof(double);
    if (bytes >= 2 * hugePage) {
        // Only whole pages inside the array are advised; the allocator's header stays untouched.
        const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(data) + 4095) & ~std::uintptr_t(4095);
        const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(data) + bytes) & ~std::uintptr_t(4095);
        if (last > first) {
            madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#ifdef MADV_POPULATE_WRITE
            // Every entry is written right after; one call maps the pages instead of one fault each.
            madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
#endif
        }
    }
#endif
    return data;
}

}  // namespace qx

#endif
