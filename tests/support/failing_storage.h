/// The C library's allocator as the library under test sees it: counted, and made to fail on request.
///
/// The linker redirects malloc, calloc, realloc and free of every object in the test program here (--wrap); blocks of
/// the C++ run-time, which has its own shared library, are not seen. Counting is off until watch().
#pragma once

namespace failing_storage {

/// Which requests fail: the one at the position, or it and all that follow.
enum class failing { once, from_then_on };

/// Starts counting from nothing. The request at position fail_at (from 0) fails; -1: none fails.
void watch(long fail_at = -1, failing which = failing::once);

/// Stops counting; later requests succeed.
void stop();

long requests();    ///< malloc, calloc and realloc since watch()
long live_blocks(); ///< obtained and not given back since watch()
long peak_bytes();  ///< the most that was held at a time since watch(), as the allocator counts its blocks

} // namespace failing_storage
