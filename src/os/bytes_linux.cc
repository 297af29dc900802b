// The C library's own searches, where it has both (glibc, the BSDs).

#include <string.h>

#include "os/bytes.h"

namespace tabrun::os {

const char* LastByte(const char* data, char byte, std::size_t length) {
  return static_cast<const char*>(memrchr(data, byte, length));
}

const char* FindBytes(const char* data, std::size_t length, const char* needle,
                      std::size_t needle_length) {
  return static_cast<const char*>(memmem(data, length, needle, needle_length));
}

}  // namespace tabrun::os
