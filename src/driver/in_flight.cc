#include "driver/in_flight.h"

#include <algorithm>

namespace tabrun {

InFlight::InFlight(int cpus, int most)
    : cpus_(cpus), most_(most), start_(std::min(cpus, most)), level_(start_) {}

std::size_t InFlight::StretchResults() const {
  const auto level = static_cast<std::size_t>(level_);
  return settling_ ? level : std::max(kMinStretch, 4 * level) * longer_;
}

int InFlight::Next(const Stretch& stretch) {
  if (settling_) {
    settling_ = false;
    return level_;
  }
  if (stretch.seconds < kMinSeconds) {
    longer_ = std::min(kMostLonger, 2 * longer_);
    return level_;
  }
  const double rate = static_cast<double>(stretch.results) / stretch.seconds;
  const double busy = stretch.cpu_seconds / (stretch.seconds * cpus_);
  const int level = level_;
  if (trying_) {
    trying_ = false;
    if (rate < kPays * rate_before_) {
      level_ = level_before_;
      wait_ = next_wait_;
      next_wait_ *= 2;
    }
  }
  if (level_ == level) {
    if (busy >= kBusy && level_ > start_) {
      level_ = std::max(start_, level_ / 2);
    } else if (busy < 0.5 && level_ < most_ && wait_ > 0) {
      --wait_;
    } else if (busy < 0.5 && level_ < most_) {
      level_before_ = level_;
      rate_before_ = rate;
      level_ = std::min(most_, 2 * level_);
      trying_ = true;
    }
  }
  settling_ = level_ != level;
  return level_;
}

}  // namespace tabrun
