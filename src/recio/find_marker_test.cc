#include "recio/find_marker.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

// Every offset and length around the 16- and 32-byte blocks, compared with a plain search.
TEST(FindMarkerTest, AgreesWithPlainSearchAtEveryPosition) {
  const std::string markers[] = {"C", "CP", "CPU Time:", "Control file *.pcr:", "=> PCR  File  :"};
  for (const std::string& marker : markers) {
    for (std::size_t length = 0; length < 100; ++length) {
      for (std::size_t at = 0; at + marker.size() <= length; ++at) {
        // Near misses everywhere: the first and last bytes of the marker, but not the middle.
        std::string text(length, marker.front());
        if (marker.size() > 1) {
          for (std::size_t i = 1; i < length; i += 3) text[i] = marker.back();
        }
        text.replace(at, marker.size(), marker);
        ASSERT_EQ(FindMarker(text, marker), std::string_view(text).find(marker))
            << marker << " length " << length << " at " << at;
      }
    }
  }
}

TEST(FindMarkerTest, AbsentShortAndEmpty) {
  EXPECT_EQ(FindMarker(std::string(1000, 'x'), "CPU Time:"), std::string_view::npos);
  EXPECT_EQ(FindMarker("CPU", "CPU Time:"), std::string_view::npos);
  EXPECT_EQ(FindMarker("", "C"), std::string_view::npos);
  EXPECT_EQ(FindMarker("abc", ""), 0u);
  // A match that would run one byte past the end is not one.
  EXPECT_EQ(FindMarker(std::string(40, ' ') + "CPU Time", "CPU Time:"), std::string_view::npos);
}

TEST(FindMarkerTest, BytesOfEveryValue) {
  std::string text;
  for (int i = 0; i < 256; ++i) text.push_back(static_cast<char>(i));
  text += text;
  const std::string marker = {'\0', '\xff', '\x80'};
  text += marker;
  EXPECT_EQ(FindMarker(text, marker), 512u);
}

}  // namespace
}  // namespace tabrun
