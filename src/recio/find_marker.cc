#include "recio/find_marker.h"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "os/bytes.h"

namespace tabrun {
namespace {

constexpr std::size_t kNotFound = std::string_view::npos;

std::size_t FindScalar(std::string_view haystack, std::string_view marker) {
  const char* hit = os::FindBytes(haystack.data(), haystack.size(), marker.data(), marker.size());
  return hit == nullptr ? kNotFound : static_cast<std::size_t>(hit - haystack.data());
}

#if defined(__x86_64__)

// The first of the candidate positions set in `mask` (bit k = position at + k) where the whole
// marker stands, or kNotFound. Out of line, so that the block loop keeps its registers.
template <typename Mask>
[[gnu::noinline]] std::size_t FirstMatch(Mask mask, const char* at, std::string_view marker) {
  for (; mask != 0; mask &= mask - 1) {
    const int bit = std::countr_zero(mask);
    // The first and last bytes already agree; compare what lies between.
    if (std::memcmp(at + bit + 1, marker.data() + 1, marker.size() - 2) == 0) return bit;
  }
  return kNotFound;
}

// Byte k set where position at + k holds `first` and position at + k + distance holds `last`.
[[gnu::target("avx2")]] inline __m256i Agree(const char* at, std::size_t distance, __m256i first,
                                             __m256i last) {
  const __m256i head = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
  const __m256i tail = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + distance));
  return _mm256_and_si256(_mm256_cmpeq_epi8(head, first), _mm256_cmpeq_epi8(tail, last));
}

[[gnu::target("avx2")]] inline std::uint64_t Mask(__m256i low, __m256i high) {
  return static_cast<unsigned>(_mm256_movemask_epi8(low)) |
         std::uint64_t{static_cast<unsigned>(_mm256_movemask_epi8(high))} << 32;
}

// REQUIRES: 2 <= marker.size() <= haystack.size().
[[gnu::target("avx2")]] std::size_t FindAvx2(std::string_view haystack, std::string_view marker) {
  const char* begin = haystack.data();
  const std::size_t distance = marker.size() - 1;
  const std::size_t starts = haystack.size() - distance;  // positions a match can start at
  if (starts < 32) return FindScalar(haystack, marker);
  const __m256i first = _mm256_set1_epi8(marker.front());
  const __m256i last = _mm256_set1_epi8(marker.back());
  std::size_t i = 0;
  // 128 positions a round with one test and one branch; most rounds hold no candidate.
  for (; i + 128 <= starts; i += 128) {
    const __m256i a = Agree(begin + i, distance, first, last);
    const __m256i b = Agree(begin + i + 32, distance, first, last);
    const __m256i c = Agree(begin + i + 64, distance, first, last);
    const __m256i d = Agree(begin + i + 96, distance, first, last);
    const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
    if (_mm256_testz_si256(any, any)) continue;
    for (const std::size_t half : {std::size_t{0}, std::size_t{64}}) {
      const std::uint64_t mask = half == 0 ? Mask(a, b) : Mask(c, d);
      const std::size_t found = mask == 0 ? kNotFound : FirstMatch(mask, begin + i + half, marker);
      if (found != kNotFound) return i + half + found;
    }
  }
  // Then 32 at a time, the last block ending at the last start, without the positions
  // already looked at.
  while (i < starts) {
    const std::size_t at = i + 32 <= starts ? i : starts - 32;
    const unsigned mask =
        static_cast<unsigned>(_mm256_movemask_epi8(Agree(begin + at, distance, first, last))) >>
        (i - at);
    if (mask != 0) {
      const std::size_t found = FirstMatch(mask, begin + i, marker);
      if (found != kNotFound) return i + found;
    }
    i = at + 32;
  }
  return kNotFound;
}

bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
}

#endif  // __x86_64__

}  // namespace

std::size_t FindMarker(std::string_view haystack, std::string_view marker) {
  if (marker.empty()) return 0;
  if (marker.size() > haystack.size()) return kNotFound;
  if (marker.size() == 1) {
    const void* hit = std::memchr(haystack.data(), marker.front(), haystack.size());
    return hit == nullptr
               ? kNotFound
               : static_cast<std::size_t>(static_cast<const char*>(hit) - haystack.data());
  }
#if defined(__x86_64__)
  if (HasAvx2()) return FindAvx2(haystack, marker);
#endif
  return FindScalar(haystack, marker);
}

}  // namespace tabrun
