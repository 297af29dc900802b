// The logs that PATH operands stand for: a directory's *.log entries, or the PATH itself.

#ifndef TABRUN_DRIVER_LOG_BATCH_H_
#define TABRUN_DRIVER_LOG_BATCH_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "driver/pipeline.h"
#include "recio/name_list.h"

namespace tabrun {

// The logs of the PATH operands, in order: for each directory PATH its *.log entries sorted by
// name (a directory that cannot be listed stands for itself, and its row says why), for any
// other PATH the PATH itself. Their names are packed, so that a batch of a million logs holds
// them in a few tens of MB.
class LogBatch : public LogSource {
 public:
  // REQUIRES: `paths` outlives the batch, which refers to them.
  explicit LogBatch(const std::vector<std::string>& paths);

  std::size_t size() const override { return names_.size(); }

  // Log `index` as its row names it: the directory PATH joined by '/' to the name (for ".",
  // the bare name). A pipe named as a PATH, as in --csv <(zcat run.log.gz), is read to its end;
  // one found in a directory, like the default mode's, only as far as it holds bytes now.
  LogPlace PlaceOf(std::size_t index) const override;

  // The name of log `index` relative to its batch: for a directory PATH the entry's name, for
  // any other PATH its last component (after the last '/', or on Windows '\' too).
  std::string_view RunName(std::size_t index) const;

 private:
  // The logs of one PATH: a directory's *.log entries, or the PATH itself.
  struct Operand {
    std::size_t first_log;
    const std::string* directory;  // the PATH when it is a directory that was listed
    std::string error;             // why the directory PATH could not be listed, when it could not
  };

  // The operand that log `index` comes from.
  const Operand& OperandOf(std::size_t index) const;

  std::vector<Operand> operands_;
  NameList names_;  // of each log: relative to its directory, or the PATH itself
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_LOG_BATCH_H_
