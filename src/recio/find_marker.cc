#include "recio/find_marker.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tabrun {
namespace {

constexpr std::size_t kNotFound = std::string_view::npos;

std::size_t FindScalar(const char* begin, std::size_t from, std::size_t length,
                       std::string_view marker) {
  const void* hit = memmem(begin + from, length - from, marker.data(), marker.size());
  return hit == nullptr ? kNotFound
                        : static_cast<std::size_t>(static_cast<const char*>(hit) - begin);
}

#if defined(__x86_64__)

// Checks the candidate positions set in `mask` (bit k = position base + k) in order.
inline std::size_t CheckCandidates(unsigned mask, const char* base, std::string_view marker,
                                   const char* begin) {
  while (mask != 0) {
    const int bit = __builtin_ctz(mask);
    const char* candidate = base + bit;
    // The first and last bytes already agree; compare what lies between.
    if (std::memcmp(candidate + 1, marker.data() + 1, marker.size() - 2) == 0) {
      return static_cast<std::size_t>(candidate - begin);
    }
    mask &= mask - 1;
  }
  return kNotFound;
}

__attribute__((target("avx2"))) std::size_t FindAvx2(std::string_view haystack,
                                                     std::string_view marker) {
  const char* begin = haystack.data();
  const std::size_t m = marker.size();
  const std::size_t last_start = haystack.size() - m;  // last position a match can start at
  const __m256i first = _mm256_set1_epi8(marker.front());
  const __m256i last = _mm256_set1_epi8(marker.back());
  std::size_t i = 0;
  for (; i + 32 <= last_start + 1; i += 32) {
    const __m256i block_first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(begin + i));
    const __m256i block_last =
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(begin + i + m - 1));
    const __m256i both = _mm256_and_si256(_mm256_cmpeq_epi8(block_first, first),
                                          _mm256_cmpeq_epi8(block_last, last));
    const unsigned mask = static_cast<unsigned>(_mm256_movemask_epi8(both));
    if (mask != 0) {
      const std::size_t found = CheckCandidates(mask, begin + i, marker, begin);
      if (found != kNotFound) return found;
    }
  }
  return FindScalar(begin, i, haystack.size(), marker);
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
  return FindScalar(haystack.data(), 0, haystack.size(), marker);
}

}  // namespace tabrun
