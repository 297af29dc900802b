#include "report/escape.h"

#include <array>
#include <cstdint>

namespace tabrun {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

// The JSON escapes \u0000 to \u001f, six characters each.
constexpr auto kControlEscapes = [] {
  constexpr char kHex[] = "0123456789abcdef";
  std::array<char, 6 * 0x20> table{};
  for (int c = 0; c < 0x20; ++c) {
    const std::array<char, 6> escape = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
    for (int k = 0; k < 6; ++k) table[6 * c + k] = escape[k];
  }
  return table;
}();

// The length of the well-formed UTF-8 character that `text` starts with, a byte of 0x80 or
// more, or 0 when there is none; *bad is then the number of bytes one U+FFFD stands for.
std::size_t CharacterLength(std::string_view text, std::size_t* bad) {
  const auto lead = static_cast<std::uint8_t>(text[0]);
  std::size_t length = 0;
  std::uint8_t low = 0x80, high = 0xBF;  // the range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // no overlong forms
    if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;  // nothing past U+10FFFF
  } else {
    *bad = 1;
    return 0;
  }
  std::size_t i = 1;
  for (; i < length && i < text.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if (byte < low || byte > high) break;
    low = 0x80;
    high = 0xBF;
  }
  if (i == length) return length;
  *bad = i;
  return 0;
}

// The bytes that go out as they are: ASCII that `escape` leaves alone.
template <typename Escape>
constexpr std::array<bool, 256> PlainBytes() {
  std::array<bool, 256> plain{};
  for (int byte = 0; byte < 0x80; ++byte) {
    plain[byte] = Escape()(static_cast<std::uint8_t>(byte)).empty();
  }
  return plain;
}

// Appends `text` with every ASCII byte for which escape(byte) is not empty written as that,
// every other valid character as it is, and U+FFFD for the bytes that are not UTF-8.
template <typename Escape>
void AppendUtf8(std::string_view text, std::string* out, Escape escape) {
  static constexpr std::array<bool, 256> kPlain = PlainBytes<Escape>();
  std::size_t copied = 0;  // bytes of `text` already in *out
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && kPlain[static_cast<std::uint8_t>(text[i])]) ++i;
    if (i == text.size()) break;
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if (byte < 0x80) {
      const std::string_view special = escape(byte);
      if (!special.empty()) {
        out->append(text, copied, i - copied).append(special);
        copied = i + 1;
      }
      ++i;
      continue;
    }
    std::size_t bad = 0;
    const std::size_t length = CharacterLength(text.substr(i), &bad);
    if (length != 0) {
      i += length;
      continue;
    }
    out->append(text, copied, i - copied).append(kReplacement);
    copied = i += bad;
  }
  out->append(text, copied, text.size() - copied);
}

}  // namespace

void AppendJsonString(std::string_view text, std::string* out) {
  out->push_back('"');
  AppendUtf8(text, out, [](std::uint8_t byte) -> std::string_view {
    switch (byte) {
      case '"':
        return "\\\"";
      case '\\':
        return "\\\\";
      case '\b':
        return "\\b";
      case '\t':
        return "\\t";
      case '\n':
        return "\\n";
      case '\f':
        return "\\f";
      case '\r':
        return "\\r";
      default:
        return byte < 0x20 ? std::string_view(&kControlEscapes[6 * byte], 6) : std::string_view();
    }
  });
  out->push_back('"');
}

void AppendHtmlText(std::string_view text, std::string* out) {
  AppendUtf8(text, out, [](std::uint8_t byte) -> std::string_view {
    switch (byte) {
      case '&':
        return "&amp;";
      case '<':
        return "&lt;";
      case '>':
        return "&gt;";
      case '"':
        return "&quot;";
      case '\'':
        return "&#39;";
      case '\0':
        return kReplacement;
      default:
        return {};
    }
  });
}

}  // namespace tabrun
