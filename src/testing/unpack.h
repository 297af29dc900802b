// For tests: the text that PackedText::WriteBase64 wrote, unpacked again.

#ifndef TABRUN_TESTING_UNPACK_H_
#define TABRUN_TESTING_UNPACK_H_

#include <zlib.h>

#include <optional>
#include <string>
#include <string_view>

namespace tabrun {

// The bytes that `base64` (strict RFC 4648: padding only at the end) stands for, inflated as
// one whole zlib stream; nothing when either step fails.
inline std::optional<std::string> Unpack(std::string_view base64) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (base64.size() % 4 != 0) return {};
  std::size_t pad = 0;
  while (pad < 2 && pad < base64.size() && base64[base64.size() - 1 - pad] == '=') ++pad;
  std::string packed;
  std::uint32_t bits = 0;
  int count = 0;
  for (std::size_t i = 0; i + pad < base64.size(); ++i) {
    const std::size_t digit = kAlphabet.find(base64[i]);  // npos for a '=' inside
    if (digit == std::string_view::npos) return {};
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      packed.push_back(static_cast<char>(bits >> count));
    }
  }
  std::string text;
  z_stream z{};
  if (inflateInit(&z) != Z_OK) return {};
  z.next_in = reinterpret_cast<Bytef*>(packed.data());
  z.avail_in = static_cast<uInt>(packed.size());
  int result = Z_OK;
  while (result == Z_OK) {
    char out[1 << 14];
    z.next_out = reinterpret_cast<Bytef*>(out);
    z.avail_out = sizeof out;
    result = inflate(&z, Z_NO_FLUSH);
    text.append(out, sizeof out - z.avail_out);
  }
  const bool whole = result == Z_STREAM_END && z.avail_in == 0;
  inflateEnd(&z);
  if (!whole) return {};
  return text;
}

}  // namespace tabrun

#endif  // TABRUN_TESTING_UNPACK_H_
