#include "recio/find_marker.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

// Dots up to `length`: no marker starts or ends with one.
std::string Dots(const std::string& text, std::size_t length) {
  return text + std::string(length > text.size() ? length - text.size() : 0, '.');
}

// The filter compares a marker's first and last bytes at 128 positions a round, in two halves
// of 64 when some agree, then 32 at a time with a last block that ends at the last start, and
// checks the rest of the marker only where both agree. Haystacks with fewer than 32 starts
// are searched without it.
TEST(FindMarkerTest, CandidatesWhereFirstAndLastBytesAgree) {
  constexpr std::size_t kNone = std::string_view::npos;
  const std::string cpu = "CPU Time:";
  struct Case {
    std::string haystack;
    std::string marker;
    std::size_t expected;
  } cases[] = {
      // Two candidates in one block of 32: the first, at the block's first position, fails.
      {Dots("CPU Tame:CPU Time:", 64), cpu, 9},
      {Dots("CPU Tame:" + std::string(14, '.') + "CPU Time:", 64), cpu, 23},
      {Dots("..CPU Tame:CPU Tame:CPU Time:", 64), cpu, 20},
      // The same in a round of 128: the match in the first half, in the second, where the
      // second half starts with a failed candidate, or in the next round.
      {Dots("CPU Tame:" + std::string(31, '.') + "CPU Time:", 160), cpu, 40},
      {Dots("CPU Tame:" + std::string(71, '.') + "CPU Time:", 160), cpu, 80},
      {Dots(std::string(64, '.') + "CPU Tame:CPU Time:", 160), cpu, 73},
      {Dots("CPU Tame:" + std::string(151, '.') + "CPU Time:", 300), cpu, 160},
      // A round whose only candidate is in its last 32 positions.
      {Dots(std::string(100, '.') + cpu, 160), cpu, 100},
      // Two matches in one block: the first counts.
      {Dots(".CPU Time:CPU Time:", 64), cpu, 1},
      // Only candidates that fail.
      {Dots("CPU Tame:CPU Tim::CPUxTime:", 64), cpu, kNone},
      {Dots("Normalised Normal_end", 96), "Normal end", kNone},
      // The last block, which overlaps the one before: a match right after that one, at the
      // very end, after a failed candidate in the block before or at its own first new position.
      {Dots(std::string(32, '.') + cpu, 41), cpu, 32},
      {Dots(std::string(50, '.') + cpu, 59), cpu, 50},
      {Dots(std::string(30, '.') + "CPU Tame:" + cpu, 48), cpu, 39},
      {Dots(std::string(32, '.') + "Rx:Rp:", 42), "Rp:", 35},
      {Dots(std::string(128, '.') + "Rx:Rp:", 138), "Rp:", 131},
      // The shortest marker: one byte between its first and last.
      {Dots("Rx:Rp:", 64), "Rp:", 3},
      {Dots("RR::R:Rp.Rpp:", 64), "Rp:", kNone},
      {"Rx: Rp:", "Rp:", 4},
      {"Rp", "Rp:", kNone},
      {"", "Rp:", kNone},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FindMarker(c.haystack, c.marker), c.expected) << c.marker << " in " << c.haystack;
  }
}

}  // namespace
}  // namespace tabrun
