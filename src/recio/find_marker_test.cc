#include "recio/find_marker.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

// Dots up to `length`: no marker starts or ends with one.
std::string Dots(const std::string& text, std::size_t length) {
  return text + std::string(length > text.size() ? length - text.size() : 0, '.');
}

// The filter compares a marker's first and last bytes at 32 positions at a time and checks the
// rest only where both agree; the starts after the last whole block of 32 are searched apart.
TEST(FindMarkerTest, CandidatesWhereFirstAndLastBytesAgree) {
  constexpr std::size_t kNone = std::string_view::npos;
  const std::string cpu = "CPU Time:";
  struct Case {
    std::string haystack;
    std::string marker;
    std::size_t expected;
  } cases[] = {
      // Two candidates in one block: the first, at the block's first position, fails.
      {Dots("CPU Tame:CPU Time:", 64), cpu, 9},
      {Dots("CPU Tame:" + std::string(14, '.') + "CPU Time:", 64), cpu, 23},
      {Dots("..CPU Tame:CPU Tame:CPU Time:", 64), cpu, 20},
      // The first candidate fails, the match is in the next block.
      {Dots("CPU Tame:" + std::string(31, '.') + "CPU Time:", 96), cpu, 40},
      // Two matches in one block: the first counts.
      {Dots(".CPU Time:CPU Time:", 64), cpu, 1},
      // Only candidates that fail.
      {Dots("CPU Tame:CPU Tim::CPUxTime:", 64), cpu, kNone},
      {Dots("Normalised Normal_end", 96), "Normal end", kNone},
      // After the last whole block: right behind it, at the very end, after a failed candidate.
      {Dots(std::string(32, '.') + cpu, 41), cpu, 32},
      {Dots(std::string(50, '.') + cpu, 59), cpu, 50},
      {Dots(std::string(30, '.') + "CPU Tame:" + cpu, 48), cpu, 39},
      // The shortest marker: one byte between its first and last.
      {Dots("Rx:Rp:", 64), "Rp:", 3},
      {Dots("RR::R:Rp.Rpp:", 64), "Rp:", kNone},
      {Dots(std::string(33, '.') + "Rp:", 36), "Rp:", 33},
      {"Rp:", "Rp:", 0},
      {"Rp", "Rp:", kNone},
      {"", "Rp:", kNone},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FindMarker(c.haystack, c.marker), c.expected) << c.marker << " in " << c.haystack;
  }
}

}  // namespace
}  // namespace tabrun
