#pragma once

// The heap a benchmark's program holds, for figures of bytes per element.

#include <malloc.h>

namespace BenchSupport {

/// Bytes the heap holds for the program, chunk overheads included: small blocks plus the large ones the
/// allocator maps on their own (a list of 100 000 children is one). Read from the allocator itself, so that
/// it counts what Qt allocates with malloc (the text of names, hash tables) as well as what C++ allocates.
inline long long heapBytesInUse() {
    struct mallinfo2 const info = mallinfo2();
    return static_cast<long long>(info.uordblks + info.hblkhd);
}

} // namespace BenchSupport
