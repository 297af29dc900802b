// Fast exact substring search over large blocks of log text.

#ifndef TABRUN_RECIO_FIND_MARKER_H_
#define TABRUN_RECIO_FIND_MARKER_H_

#include <cstddef>
#include <string_view>

namespace tabrun {

// Returns the offset of the first occurrence of `marker` in `haystack`, or
// std::string_view::npos when there is none. An empty marker is found at offset 0.
//
// On x86-64 it compares the marker's first and last bytes against 32 (AVX2) or 16 (SSE2)
// positions at a time and checks only the positions where both agree, so on log text it runs
// at close to memory speed.
std::size_t FindMarker(std::string_view haystack, std::string_view marker);

}  // namespace tabrun

#endif  // TABRUN_RECIO_FIND_MARKER_H_
