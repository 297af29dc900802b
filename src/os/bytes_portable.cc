// Standard C++ only, for C libraries without memrchr or memmem (macOS has no memrchr, Windows
// neither of them).

#include <string_view>

#include "os/bytes.h"

namespace tabrun::os {

const char* LastByte(const char* data, char byte, std::size_t length) {
  const std::size_t at = std::string_view(data, length).rfind(byte);
  return at == std::string_view::npos ? nullptr : data + at;
}

const char* FindBytes(const char* data, std::size_t length, const char* needle,
                      std::size_t needle_length) {
  const std::size_t at = std::string_view(data, length).find({needle, needle_length});
  return at == std::string_view::npos ? nullptr : data + at;
}

}  // namespace tabrun::os
