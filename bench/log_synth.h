// Synthetic refinement-run logs for benchmarks.
//
// A synthetic log looks like what the refinement engine writes: a banner,
// thousands of refinement-cycle lines built from a few hundred line templates
// filled with random numbers, and the closing lines that tabrun looks for.
// Everything is drawn from a seeded generator, so the same seed always gives
// the same bytes.
//
// Ordinary run:
//   - " Control file *.pcr: NAME" within the first 30 lines;
//   - " => Normal end, final calculations and writing..." near the end;
//   - "  CPU Time:   12.345 seconds" after it;
//   - one line holding both "Chi2:" and "Rp:", or one holding "RF2 -factor :",
//     1 to 33 lines above the CPU Time line or (rarely) 1 to 3 lines below it.
// Annealing run:
//   - no "Control file *.pcr:" line anywhere and no "Normal end";
//   - " => PCR  File  : NAME" among the last 7 lines;
//   - the CPU Time line at most 3 lines above or below it;
//   - 1 to 5 " => Sol#: 1 RF2=   7.5321 Chi2=   2.104" lines, all within the
//     28 lines above the CPU Time line.
// The bulk never holds any of these markers; it does hold many lines with
// "Chi2:" but without "Rp:", and now and then a line longer than 256 bytes.
// Every line ends with '\n'. Marker lines are always shorter than 100 bytes.

#ifndef TABRUN_BENCH_LOG_SYNTH_H_
#define TABRUN_BENCH_LOG_SYNTH_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tabrun_bench {

// xoshiro256** seeded through splitmix64: fast, and identical on every
// platform, unlike the distributions of <random>.
class Rng {
 public:
  explicit Rng(std::uint64_t seed);

  std::uint64_t Next();
  // Returns a value in [0, n). REQUIRES: n > 0.
  std::uint64_t Below(std::uint64_t n);
  // Returns a value in [lo, hi]. REQUIRES: lo <= hi.
  int Between(int lo, int hi);
  // Returns a value in [0, 1).
  double Unit();
  // Returns true with probability p.
  bool Chance(double p);

 private:
  std::uint64_t s_[4];
};

enum class LogKind { kOrdinary, kAnnealing };

// Receives the text of a log in order, in pieces of up to about 1 MiB.
// Returns false to stop the writer (for example after a failed write).
using ChunkSink = std::function<bool(std::string_view)>;

// Writes one log of the given kind, about `target_bytes` long, to `sink`.
// The log is never cut short: when the target is smaller than the banner and
// the closing lines together, the log holds just those (about 2-4 KB).
// The result depends only on `kind`, `target_bytes` and the state of `rng`.
// Returns false if `sink` returned false, true otherwise.
bool WriteLog(LogKind kind, std::uint64_t target_bytes, Rng& rng, const ChunkSink& sink);

// Returns the generator for log number `index` of a corpus made with `seed`.
// Logs of one corpus are independent of each other, so any log can be
// rebuilt alone.
Rng RngForLog(std::uint64_t seed, std::uint64_t index);

// Picks the kind of log number `index` of a "mixed" corpus: about 70%
// ordinary, 30% annealing. Uses its own generator, so the choice does not
// disturb the log's contents.
LogKind MixedKindForLog(std::uint64_t seed, std::uint64_t index);

// The markers tabrun looks for, which the bulk of a log never contains.
// "Chi2:" is not among them: it is common in the bulk.
const std::vector<std::string_view>& ReservedMarkers();

}  // namespace tabrun_bench

#endif  // TABRUN_BENCH_LOG_SYNTH_H_
