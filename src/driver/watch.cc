#include "driver/watch.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "analysis/natural_order.h"
#include "driver/console.h"
#include "driver/pipeline.h"
#include "driver/watch_state.h"
#include "os/change_feed.h"
#include "os/directory.h"
#include "os/file.h"
#include "os/terminal.h"
#include "recio/fatal.h"
#include "recio/log_directory.h"
#include "recio/name_list.h"
#include "recio/output_unit.h"
#include "report/html_report.h"
#include "report/script_rows.h"
#include "report/watch_view.h"

namespace tabrun {
namespace {

using SteadyClock = std::chrono::steady_clock;

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// The logs of one PATH, as the last look found them: a directory's *.log entries sorted by name,
// or the PATH itself.
struct Operand {
  std::string path;
  bool directory = false;
  NameList names;
  std::vector<WatchState::Slot> slots;  // of each name
  std::string problem;                  // why the last look found nothing, once said
  int feed = -1;                        // its number in the change feed, when it has one
};

// A log to read this time.
struct Pending {
  std::uint32_t operand;
  std::uint32_t index;  // in the operand's names
  WatchState::Slot slot;
  FileStamp stamp;
};

class PendingLogs : public LogSource {
 public:
  PendingLogs(const std::vector<Operand>& operands, const std::vector<Pending>& pending)
      : operands_(operands), pending_(pending) {}
  std::size_t size() const override { return pending_.size(); }
  LogPlace PlaceOf(std::size_t index) const override {
    const Pending& log = pending_[index];
    const Operand& operand = operands_[log.operand];
    LogPlace place;
    place.path = operand.names[log.index];
    if (!operand.directory) return place;
    place.directory = &operand.path;
    place.name = place.path;
    place.path = PathOf(operand, log.index);
    return place;
  }

  // Log `index` of `operand` as its row names it, as the direct modes name it.
  static std::string PathOf(const Operand& operand, std::size_t index) {
    std::string name(operand.names[index]);
    if (!operand.directory || operand.path == ".") return name;
    return operand.path + (operand.path.ends_with('/') ? "" : "/") + name;
  }

 private:
  const std::vector<Operand>& operands_;
  const std::vector<Pending>& pending_;
};

// Runs body(begin, end) over [0, count) in a few parts on their own threads.
template <typename Body>
void InParts(std::size_t count, int jobs, const Body& body) {
  constexpr std::size_t kLeast = 4096;  // fewer are not worth a thread
  const std::size_t parts = std::clamp<std::size_t>(count / kLeast, 1, std::max(jobs, 1));
  std::vector<std::thread> threads;
  for (std::size_t k = 1; k < parts; ++k) {
    threads.emplace_back(body, count * k / parts, count * (k + 1) / parts);
  }
  body(0, count / parts);
  for (std::thread& thread : threads) thread.join();
}

class Watch {
 public:
  explicit Watch(const WatchOptions& options)
      : options_(options),
        state_(options.running_for),
        view_(options.output == WatchOutput::kView && os::IsTerminal(os::kStandardOutput)) {
    for (const std::string& path : options.paths) operands_.emplace_back().path = path;
  }

  int Run();

 private:
  void Look(bool first);
  // The logs to read that the change feed names, with the due ones; false when a full look is
  // needed instead: changes were lost, a log is new or gone, or an operand has no feed.
  bool Told(const std::vector<WatchState::Slot>& due, std::vector<Pending>* pending);
  // Puts *pending in the natural order of the logs' names (NaturalLess).
  void NaturalOrder(std::vector<Pending>* pending) const;
  void Relist(Operand& operand, std::vector<WatchEvent>* events);
  std::vector<Pending> Changed(const std::vector<WatchState::Slot>& due);
  void Read(const std::vector<Pending>& pending, bool first, std::vector<WatchEvent>* events);
  void Show(const std::vector<WatchEvent>& events, bool first);
  void Draw(bool force);
  WatchSummary Summary();
  void WritePage(bool live);
  void Note(Operand& operand, std::string problem);

  const WatchOptions& options_;
  WatchState state_;
  const bool view_;
  std::vector<Operand> operands_;
  Console console_;
  std::vector<std::string> notes_;  // to be shown in the view
  // The live page's cells of each slot's log, for kHtml.
  std::vector<std::optional<HtmlReport::Cells>> cells_;
  std::vector<std::string> last_view_;
  os::TerminalSize size_;
  bool page_due_ = false;
  SteadyClock::time_point page_written_;
  // Where the system tells changes, a look between two full ones (every kFullLook) looks only
  // at the logs it names and at the running logs that are due.
  os::ChangeFeed feed_;
  SteadyClock::time_point full_due_;
  static constexpr std::chrono::seconds kFullLook{30};
};

void Watch::Note(Operand& operand, std::string problem) {
  if (problem == operand.problem) return;
  operand.problem = problem;
  std::string note = problem.empty()
                         ? "'" + operand.path + "' is back"
                         : "'" + operand.path + "': " + problem + "; watching for its return";
  if (options_.output == WatchOutput::kView && !view_) {
    console_.Write(ClockText(Now()) + " " + Printable(note) + "\n");
  } else if (!view_) {
    PrintError(note);
  }
  std::erase_if(
      notes_, [&operand](const std::string& n) { return n.starts_with("'" + operand.path + "'"); });
  if (!problem.empty()) notes_.push_back(note);
}

void Watch::Relist(Operand& operand, std::vector<WatchEvent>* events) {
  NameList fresh;
  std::string problem;
  // A directory that is gone stays one: its logs are gone with it, and it is looked for.
  operand.directory = operand.directory || os::IsDirectory(operand.path);
  if (operand.directory) {
    if (!ListLogNames(operand.path, &fresh, &problem)) {
      problem = "cannot read the directory: " + problem;
    }
  } else {
    os::FileStatus status;
    if (os::DescribeAt(os::kWorkingDirectory, operand.path, &status, &problem) ==
        os::OpenResult::kMissing) {
      problem = "cannot open: " + problem;
    } else {
      problem.clear();
      fresh.Add(operand.path);
    }
  }
  Note(operand, problem);
  // Both lists are sorted byte by byte: one pass pairs the names that stay.
  std::vector<WatchState::Slot> slots;
  slots.reserve(fresh.size());
  std::size_t i = 0;
  for (std::size_t j = 0; j < fresh.size(); ++j) {
    while (i < operand.names.size() && operand.names[i] < fresh[j]) {
      state_.Remove(operand.slots[i], PendingLogs::PathOf(operand, i), events);
      ++i;
    }
    if (i < operand.names.size() && operand.names[i] == fresh[j]) {
      slots.push_back(operand.slots[i++]);
    } else {
      slots.push_back(state_.Add());
    }
  }
  for (; i < operand.names.size(); ++i) {
    state_.Remove(operand.slots[i], PendingLogs::PathOf(operand, i), events);
  }
  operand.names = std::move(fresh);
  operand.slots = std::move(slots);
}

std::vector<Pending> Watch::Changed(const std::vector<WatchState::Slot>& due) {
  std::vector<bool> is_due;
  for (const WatchState::Slot slot : due) {
    if (slot >= is_due.size()) is_due.resize(slot + 1);
    is_due[slot] = true;
  }
  std::vector<Pending> pending;
  for (std::uint32_t o = 0; o < operands_.size(); ++o) {
    const Operand& operand = operands_[o];
    std::string error;
    const int directory =
        operand.directory ? os::OpenDirectory(operand.path, &error) : os::kWorkingDirectory;
    if (directory == os::kNoFile) continue;  // gone since it was listed: the next look says so
    const std::size_t count = operand.names.size();
    std::mutex mutex;
    InParts(count, options_.jobs, [&](std::size_t begin, std::size_t end) {
      std::vector<Pending> found;
      std::string reason;
      for (std::size_t i = begin; i < end; ++i) {
        os::FileStatus status;
        const std::string name(operand.names[i]);
        if (os::DescribeAt(directory, name, &status, &reason) != os::OpenResult::kOpened) continue;
        const FileStamp stamp{status.size, status.modified.value_or(0), status.identity};
        const WatchState::Slot slot = operand.slots[i];
        const bool due_now = slot < is_due.size() && is_due[slot];
        if (due_now || state_.NeedsRead(slot, stamp)) {
          found.push_back({o, static_cast<std::uint32_t>(i), slot, stamp});
        }
      }
      const std::lock_guard<std::mutex> lock(mutex);
      pending.insert(pending.end(), found.begin(), found.end());
    });
    if (directory != os::kWorkingDirectory) os::CloseFile(directory);
  }
  // The parts finish in any order: the logs are read in the order of the listing.
  std::sort(pending.begin(), pending.end(), [](const Pending& a, const Pending& b) {
    return a.operand != b.operand ? a.operand < b.operand : a.index < b.index;
  });
  return pending;
}

void Watch::Read(const std::vector<Pending>& pending, bool first, std::vector<WatchEvent>* events) {
  if (pending.empty()) return;
  const PendingLogs source(operands_, pending);
  const bool page = options_.output == WatchOutput::kHtml;
  const bool rows = options_.output == WatchOutput::kCsv || options_.output == WatchOutput::kJson;
  const std::int64_t now = Now();
  const std::int64_t window = options_.running_for;
  PipelineStages<std::optional<HtmlReport::Cells>> stages;
  stages.wants = {.rows = true, .tail_records = page ? HtmlReport::kTailRecords : 0};
  stages.finish = [&](ReadLog<std::optional<HtmlReport::Cells>>& log) {
    log.row.running = RunningAt(log.row, now, window);
    if (page) log.extra = HtmlReport::Encode(log.row);
  };
  std::size_t next = 0;
  stages.sink = [&](ReadLog<std::optional<HtmlReport::Cells>>& log) {
    const Pending& read = pending[next++];
    const RunEvent event = state_.Apply(read.slot, log.row, read.stamp, now, first, events);
    if (page) {
      if (read.slot >= cells_.size()) cells_.resize(read.slot + 1);
      cells_[read.slot] = std::move(log.extra);
    }
    if (!rows || (event != RunEvent::kFinished && event != RunEvent::kFailed)) return;
    console_.Write(options_.output == WatchOutput::kCsv ? CsvRow(log.row) : JsonRow(log.row));
  };
  ReadLogs(source, options_.jobs, stages, console_);
  page_due_ = true;
}

void Watch::Look(bool first) {
  std::vector<WatchEvent> events;
  const std::vector<WatchState::Slot> due = state_.Due(Now());
  std::vector<Pending> pending;
  if (first || SteadyClock::now() >= full_due_ || !Told(due, &pending)) {
    feed_.Take([](int, std::string_view) {});  // this look sees everything
    for (Operand& operand : operands_) {
      // Told of first, then listed, so that no change falls between the two; again at each full
      // look, since a directory that went and came back is another one.
      operand.feed = feed_.Watch(operand.path);
      Relist(operand, &events);
      if (!operand.directory || !operand.problem.empty()) operand.feed = -1;
    }
    pending = Changed(due);
    full_due_ = SteadyClock::now() + kFullLook;
  }
  if (!events.empty()) page_due_ = true;
  // The first rows come in natural order: the logs are read in that order, so that no row
  // waits in memory for the others.
  if (first && options_.output != WatchOutput::kView && options_.output != WatchOutput::kHtml) {
    NaturalOrder(&pending);
  }
  Read(pending, first, &events);
  Show(events, first);
}

bool Watch::Told(const std::vector<WatchState::Slot>& due, std::vector<Pending>* pending) {
  std::vector<std::pair<std::uint32_t, std::string>> named;
  for (std::uint32_t o = 0; o < operands_.size(); ++o) {
    const Operand& operand = operands_[o];
    if (operand.directory && operand.feed < 0) return false;
    if (!operand.directory) {
      if (operand.names.size() == 0) return false;  // a missing file PATH: is it back?
      named.emplace_back(o, operand.path);
    }
  }
  const bool whole = feed_.Take([&](int feed, std::string_view name) {
    for (std::uint32_t o = 0; o < operands_.size(); ++o) {
      if (operands_[o].directory && operands_[o].feed == feed) named.emplace_back(o, name);
    }
  });
  if (!whole) return false;
  // The due logs are looked for among all: they are few.
  for (const WatchState::Slot slot : due) {
    for (std::uint32_t o = 0; o < operands_.size(); ++o) {
      const auto& slots = operands_[o].slots;
      const auto at = std::find(slots.begin(), slots.end(), slot);
      if (at != slots.end()) {
        named.emplace_back(
            o, std::string(operands_[o].names[static_cast<std::size_t>(at - slots.begin())]));
      }
    }
  }
  std::sort(named.begin(), named.end());
  named.erase(std::unique(named.begin(), named.end()), named.end());
  for (const auto& [o, name] : named) {
    const Operand& operand = operands_[o];
    if (operand.directory && !MatchesLogPattern(name, os::PatternCase())) continue;
    // The names are sorted byte by byte, as ListLogNames sorts them.
    std::size_t low = 0;
    std::size_t high = operand.names.size();
    while (low < high) {
      const std::size_t middle = (low + high) / 2;
      if (operand.names[middle] < name) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low == operand.names.size() || operand.names[low] != name) return false;  // a new log
    std::string error;
    os::FileStatus status;
    const std::string path = operand.directory ? PendingLogs::PathOf(operand, low) : name;
    if (os::DescribeAt(os::kWorkingDirectory, path, &status, &error) != os::OpenResult::kOpened) {
      return false;  // gone, or not what it was
    }
    const FileStamp stamp{status.size, status.modified.value_or(0), status.identity};
    const WatchState::Slot slot = operand.slots[low];
    if (state_.NeedsRead(slot, stamp) || std::find(due.begin(), due.end(), slot) != due.end()) {
      pending->push_back({o, static_cast<std::uint32_t>(low), slot, stamp});
    }
  }
  std::sort(pending->begin(), pending->end(), [](const Pending& a, const Pending& b) {
    return a.operand != b.operand ? a.operand < b.operand : a.index < b.index;
  });
  return true;
}

void Watch::NaturalOrder(std::vector<Pending>* pending) const {
  std::vector<std::string> paths;
  paths.reserve(pending->size());
  for (const Pending& log : *pending) {
    paths.push_back(PendingLogs::PathOf(operands_[log.operand], log.index));
  }
  std::vector<std::uint32_t> order(pending->size());
  for (std::uint32_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&paths](std::uint32_t a, std::uint32_t b) {
    return NaturalLess(paths[a], paths[b]);
  });
  std::vector<Pending> sorted;
  sorted.reserve(order.size());
  for (const std::uint32_t i : order) sorted.push_back((*pending)[i]);
  *pending = std::move(sorted);
}

WatchSummary Watch::Summary() {
  WatchSummary summary;
  const std::int64_t now = Now();
  summary.clock = ClockText(now);
  summary.paths = options_.paths;
  summary.counts = state_.counts();
  summary.logs = state_.logs();
  summary.ended = state_.ended();
  summary.ended_within_minute = state_.EndedWithinMinute(now);
  summary.best = state_.best();
  summary.failures = state_.recent_failures();
  summary.notes = notes_;
  return summary;
}

void Watch::Draw(bool force) {
  const os::TerminalSize size = os::SizeOf(os::kStandardOutput);
  // A terminal that cannot say its size is taken to be the classic one.
  const int rows = size.rows > 0 ? size.rows : 24;
  const int columns = size.columns > 0 ? size.columns : 80;
  std::vector<std::string> lines = ViewLines(Summary(), rows, columns);
  const bool resized = size.rows != size_.rows || size.columns != size_.columns;
  if (!force && !resized && lines == last_view_) return;
  console_.Write(resized ? "\x1b[2J" + ViewScreen(lines) : ViewScreen(lines));
  console_.Flush();
  size_ = size;
  last_view_ = std::move(lines);
}

void Watch::Show(const std::vector<WatchEvent>& events, bool first) {
  switch (options_.output) {
    case WatchOutput::kView:
      if (view_) {
        Draw(false);
      } else if (first) {
        console_.Write(CountsLine(Summary()));
      } else {
        const std::string clock = ClockText(Now());
        for (const WatchEvent& event : events) {
          if (event.event != RunEvent::kNone) console_.Write(EventLine(event, clock));
        }
      }
      break;
    case WatchOutput::kCsv:
    case WatchOutput::kJson:
      break;
    case WatchOutput::kHtml:
      if (page_due_ &&
          SteadyClock::now() - page_written_ >= std::chrono::seconds(HtmlReport::kReloadSeconds)) {
        WritePage(true);
      }
      break;
  }
  console_.Flush();
}

void Watch::WritePage(bool live) {
  HtmlReport report(options_.paths, Now(), HtmlReport::Input::kLogs, live);
  for (const Operand& operand : operands_) {
    for (const WatchState::Slot slot : operand.slots) {
      if (slot < cells_.size() && cells_[slot]) report.Add(*cells_[slot]);
    }
  }
  // Written beside the file and put in its place: a reader never finds half a page.
  const std::string part = options_.page_file + ".part";
  std::string error;
  const int file = os::CreateFile(part, &error);
  if (file == os::kNoFile) console_.Fatal("*", part, "cannot create", error);
  OutputUnit out(file);
  report.WritePage([&](std::string_view text) {
    if (!out.Write(text, &error)) console_.Fatal("*", part, "cannot write", error);
  });
  if (!out.Close(&error)) console_.Fatal("*", part, "cannot write", error);
  if (!os::ReplaceFile(part, options_.page_file, &error)) {
    console_.Fatal("*", options_.page_file, "cannot replace", error);
  }
  page_due_ = false;
  page_written_ = SteadyClock::now();
}

int Watch::Run() {
  if (options_.output == WatchOutput::kHtml) {
    // A file that cannot be written is said now, not after the first look at a large batch.
    std::string error;
    const std::string part = options_.page_file + ".part";
    const int file = os::CreateFile(part, &error);
    if (file == os::kNoFile) {
      PrintError("cannot write '" + part + "' beside '" + options_.page_file + "': " + error);
      return kFatalExitStatus;
    }
    os::CloseFile(file);
    os::RemoveFile(part);
  }
  os::CatchStop();
  if (view_) {
    os::EnableEscapes(os::kStandardOutput);
    console_.Write("\x1b[?1049h\x1b[?25l\x1b[2J");  // the other screen, without a cursor
  }
  if (options_.output == WatchOutput::kCsv) console_.Write(CsvHeader());
  auto next = SteadyClock::now();
  for (bool first = true; !os::StopAsked(); first = false) {
    const auto start = SteadyClock::now();
    Look(first);
    // A look that takes long comes less often, so that the watch takes a share of the machine.
    next = start + std::max<SteadyClock::duration>(std::chrono::seconds(1),
                                                   2 * (SteadyClock::now() - start));
    while (!os::StopAsked() && SteadyClock::now() < next) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      if (view_) Draw(false);  // a resize shows at once
    }
  }
  switch (options_.output) {
    case WatchOutput::kView:
      if (view_) {
        // Back to the screen as it was, with the last view kept on it.
        console_.Write("\x1b[?25h\x1b[?1049l");
        for (const std::string& line : ViewLines(Summary(), 1000, 1000)) {
          console_.Write(line + "\n");
        }
      } else {
        console_.Write(CountsLine(Summary()));
      }
      break;
    case WatchOutput::kHtml:
      WritePage(false);
      break;
    case WatchOutput::kCsv:
    case WatchOutput::kJson:
      break;
  }
  console_.Flush();
  return 0;
}

}  // namespace

int RunWatch(const WatchOptions& options) { return Watch(options).Run(); }

}  // namespace tabrun
