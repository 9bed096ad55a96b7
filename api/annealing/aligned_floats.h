/// Floats on a boundary of 64 bytes.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace optdoe {

template <class T>
struct line_allocator {
    using value_type = T;
    line_allocator() = default;
    template <class U>
    line_allocator(const line_allocator<U>&)
    {
    }
    T* allocate(std::size_t count)
    {
        return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{64}));
    }
    void deallocate(T* p, std::size_t) { ::operator delete (p, std::align_val_t{64}); }
    bool operator==(const line_allocator&) const = default;
};

using aligned_floats = std::vector<float, line_allocator<float>>;

/// Places of a line: the rows, filled up to a multiple of 16.
inline std::size_t line_stride(std::size_t rows) { return (rows + 15) / 16 * 16; }

/// Floats from one line of a table to the next: an odd number of cache lines, so that the entries of a column lie in
/// different sets of the cache.
inline std::size_t line_pitch(std::size_t rows) { return (line_stride(rows) / 16 | 1) * 16; }

} // namespace optdoe
