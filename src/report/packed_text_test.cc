#include "report/packed_text.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "testing/unpack.h"

namespace tabrun {
namespace {

// What comes out unpacks to what went in, whatever the size: no text, text that ends a base64
// group with one or two padding characters, and text larger than a compression block and a
// written piece.
TEST(PackedTextTest, UnpacksToWhatWasAppended) {
  std::mt19937 random(7);
  std::string noise;  // does not compress: many pieces of base64
  for (int i = 0; i < 300'000; ++i) noise.push_back(static_cast<char>(random()));
  const std::string texts[] = {"", "a", "[\"x\",\"y\"]", std::string(100'000, 'r'), noise};
  std::set<std::size_t> paddings;
  for (const std::string& text : texts) {
    PackedText packed;
    for (std::size_t at = 0; at < text.size(); at += 1000) packed.Append(text.substr(at, 1000));
    std::string base64;
    packed.WriteBase64([&base64](std::string_view piece) {
      EXPECT_LE(piece.size(), 64u << 10);
      base64.append(piece);
    });
    paddings.insert(base64.size() - base64.find_last_not_of('=') - 1);
    EXPECT_EQ(Unpack(base64), text) << text.size() << " bytes";
  }
  EXPECT_EQ(paddings.size(), 3u) << "not every padding was seen";
}

}  // namespace
}  // namespace tabrun
