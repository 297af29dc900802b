// Searching bytes, through the C library where it has the search and by hand where it has not.

#ifndef TABRUN_OS_BYTES_H_
#define TABRUN_OS_BYTES_H_

#include <cstddef>

namespace tabrun::os {

// The last of the first `length` bytes at `data` that equals `byte`, or null; as memrchr.
const char* LastByte(const char* data, char byte, std::size_t length);

// The first place where the `needle_length` bytes at `needle` stand within the `length` bytes
// at `data`, or null; `data` itself for an empty needle; as memmem.
const char* FindBytes(const char* data, std::size_t length, const char* needle,
                      std::size_t needle_length);

}  // namespace tabrun::os

#endif  // TABRUN_OS_BYTES_H_
