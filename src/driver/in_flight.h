// How many logs of a batch are read at once: the rule that grows and shrinks the reads in flight.

#ifndef TABRUN_DRIVER_IN_FLIGHT_H_
#define TABRUN_DRIVER_IN_FLIGHT_H_

#include <cstddef>

namespace tabrun {

// Decides, stretch by stretch, how many reads are in flight. It starts with one per CPU, the
// most a CPU-bound batch can use. A batch on a network file system waits on the file system
// instead: each read waits for round trips while the CPUs idle, and more reads at once finish
// more logs in the same time. So:
//
//  - After a stretch in which the process kept the CPUs less than half busy, the reads wait on
//    the file system: their number doubles, up to `most`.
//  - The stretch after a doubling tells whether it paid: results came at least kPays times as
//    fast as before it. One that did not pay is taken back, and the next try waits first for
//    kFirstWait stretches, then twice as many after each try that did not pay.
//  - After a stretch in which the process kept the CPUs busy at least kBusy of the time, the
//    reads wait on the CPUs: their number halves, down to the start, as more threads than CPUs
//    only cost switches there.
//
// A stretch lasts StretchResults() results: at least kMinStretch, and four per read in flight,
// so that each read ends several times in it. A stretch shorter than kMinSeconds is not judged
// (the reads are too quick to tell: a warm cache, say), and the next ones are twice as long,
// up to kMostLonger times. After each change of the number, a first stretch of one result per
// read is not judged either, as its results were started at the old number. The rule itself
// reads no clock: its caller measures each stretch, so that a test can give it any measures it
// likes.
class InFlight {
 public:
  // What one stretch measured.
  struct Stretch {
    std::size_t results = 0;  // reads that ended in it
    double seconds = 0;       // how long it lasted
    double cpu_seconds = 0;   // the CPU time the process used in it, all threads together
  };

  static constexpr double kPays = 1.15;
  static constexpr double kBusy = 0.9;
  static constexpr int kFirstWait = 4;
  static constexpr std::size_t kMinStretch = 16;
  static constexpr double kMinSeconds = 0.005;
  static constexpr std::size_t kMostLonger = 1024;

  // Starts with min(cpus, most) reads in flight. REQUIRES: cpus >= 1, most >= 1.
  InFlight(int cpus, int most);

  // The number of reads in flight now.
  int level() const { return level_; }
  // How many results the stretch at level() lasts.
  std::size_t StretchResults() const;
  // Takes what the stretch at level() measured and returns the level of the next one.
  int Next(const Stretch& stretch);

 private:
  const int cpus_;
  const int most_;
  const int start_;
  int level_;
  std::size_t longer_ = 1;  // stretches are this many times as long as their least
  bool settling_ = false;   // the stretch at level_ started at another level: not judged
  bool trying_ = false;     // level_ is a doubling of level_before_ that has not been judged
  int level_before_ = 0;
  double rate_before_ = 0;  // results a second at level_before_
  int wait_ = 0;            // stretches to wait before the next doubling
  int next_wait_ = kFirstWait;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_IN_FLIGHT_H_
