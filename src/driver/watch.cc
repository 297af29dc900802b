#include "driver/watch.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <optional>
#include <thread>

#include "analysis/natural_order.h"
#include "driver/console.h"
#include "driver/direct_run.h"
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
#include "report/cell_store.h"
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

// The logs of every operand, each by a number: those of the first operand from 0 on, in the
// order of its names, then those of the next.
class WatchedLogs {
 public:
  std::vector<Operand> operands;

  // Numbers the logs again, after the names of an operand changed.
  void Renumber() {
    first_.clear();
    std::uint32_t count = 0;
    for (const Operand& operand : operands) {
      first_.push_back(count);
      count += static_cast<std::uint32_t>(operand.names.size());
    }
    count_ = count;
  }
  std::uint32_t size() const { return count_; }
  std::uint32_t first(std::size_t operand) const { return first_[operand]; }

  // The operand of log `number`, and the index of its name there.
  std::pair<std::size_t, std::size_t> Locate(std::uint32_t number) const {
    // An operand without logs has the first number of the next one: the last of those wins.
    const std::size_t operand =
        static_cast<std::size_t>(std::upper_bound(first_.begin(), first_.end(), number) -
                                 first_.begin()) -
        1;
    return {operand, number - first_[operand]};
  }
  WatchState::Slot SlotOf(std::uint32_t number) const {
    const auto [operand, index] = Locate(number);
    return operands[operand].slots[index];
  }

  // Log `index` of `operand` as its row names it, as the direct modes name it.
  static void PathOf(const Operand& operand, std::size_t index, std::string* path) {
    path->assign(operand.names[index]);
    if (!operand.directory || operand.path == ".") return;
    path->insert(0, operand.path + (operand.path.ends_with('/') ? "" : "/"));
  }
  static std::string PathOf(const Operand& operand, std::size_t index) {
    std::string path;
    PathOf(operand, index, &path);
    return path;
  }
  void PathOf(std::uint32_t number, std::string* path) const {
    const auto [operand, index] = Locate(number);
    PathOf(operands[operand], index, path);
  }

  LogPlace PlaceOf(std::uint32_t number) const {
    const auto [o, index] = Locate(number);
    const Operand& operand = operands[o];
    LogPlace place;
    PathOf(operand, index, &place.path);
    if (operand.directory) {
      place.directory = &operand.path;
      place.name = operand.names[index];
    }
    return place;
  }

 private:
  std::vector<std::uint32_t> first_;  // the number of each operand's first log
  std::uint32_t count_ = 0;
};

// The logs that a look reads: all of them in the order of their numbers, or those whose numbers
// `order` holds, in its order.
class LookSource : public LogSource {
 public:
  LookSource(const WatchedLogs& logs, const std::vector<std::uint32_t>* order)
      : logs_(logs), order_(order) {}
  std::size_t size() const override { return order_ ? order_->size() : logs_.size(); }
  std::uint32_t NumberOf(std::size_t index) const {
    return order_ ? (*order_)[index] : static_cast<std::uint32_t>(index);
  }
  LogPlace PlaceOf(std::size_t index) const override { return logs_.PlaceOf(NumberOf(index)); }

 private:
  const WatchedLogs& logs_;
  const std::vector<std::uint32_t>* order_;
};

// What a full look has learnt of each log, by its slot, before it reads any.
enum class Mark : std::uint8_t {
  kAsk,   // to be described: nothing is known of it yet
  kDue,   // to be read when it is still there: its running time is up
  kSame,  // not to be read: it has not changed, or it is gone
  kRead,  // to be read
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
    for (const std::string& path : options.paths) logs_.operands.emplace_back().path = path;
  }

  int Run();

 private:
  // Looks at the logs, reads those that are new, changed or due, and shows what changed. The
  // first look reads every log. The look at the `end` lists and describes every log, and reads
  // each running one again as one whose time is up: no run is running after it.
  void Look(bool first, bool end = false);
  // The numbers of the logs to read that the change feed names, with the due ones; false when a
  // full look is needed instead: changes were lost, a log is new or gone, or an operand has no
  // feed.
  bool Told(const std::vector<WatchState::Slot>& due, std::vector<std::uint32_t>* pending);
  // The numbers of all logs in the natural order of their paths (NaturalLess).
  std::vector<std::uint32_t> NaturalOrder() const;
  // Lists `operand` again: its logs that are gone are removed, its new ones added. Where the
  // listing tells a log's size and time and `trust_listing`, they mark it in *marks.
  void Relist(Operand& operand, bool trust_listing, std::vector<Mark>* marks,
              std::vector<WatchEvent>* events);
  // The numbers of the logs to read after a full look: those that *marks and `due` name, and
  // those that a metadata lookup finds changed.
  std::vector<std::uint32_t> Changed(const std::vector<WatchState::Slot>& due,
                                     std::vector<Mark>* marks);
  // Reads the logs that `order` numbers, or all of them when it is null.
  void Read(const std::vector<std::uint32_t>* order, bool first, bool end,
            std::vector<WatchEvent>* events);
  void Show(const std::vector<WatchEvent>& events, bool first);
  void Draw(bool force);
  WatchSummary Summary();
  void WritePage(bool live);
  void Note(Operand& operand, std::string problem);

  const WatchOptions& options_;
  WatchState state_;
  const bool view_;
  WatchedLogs logs_;
  Console console_;
  std::vector<std::string> notes_;  // to be shown in the view
  CellStore cells_;                 // of each slot's log, for kHtml
  std::vector<std::string> last_view_;
  os::TerminalSize size_;
  bool page_due_ = false;
  SteadyClock::time_point page_written_;
  // Where the system tells changes, a look between two full ones (every kFullLook) looks only
  // at the logs it names and at the running logs that are due. Where a directory's listing
  // tells each log's size and time, a full look between two deep ones (every kFullLook) takes
  // them from it and asks the system only of the running logs.
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

void Watch::Relist(Operand& operand, bool trust_listing, std::vector<Mark>* marks,
                   std::vector<WatchEvent>* events) {
  // The listing is not kept: each name is looked up among those known, and only the new ones
  // are kept, so that a look holds no second list of a large batch.
  std::vector<bool> seen(operand.names.size());
  NameList added;
  std::string problem;
  // A directory that is gone stays one: its logs are gone with it, and it is looked for.
  operand.directory = operand.directory || os::IsDirectory(operand.path);
  if (operand.directory) {
    const os::NameCase name_case = os::PatternCase();
    const bool listed =
        os::ListDirectory(operand.path, &problem, [&](const os::ListedEntry& entry) {
          if (!MatchesLogPattern(entry.name, name_case)) return;
          const std::size_t i = operand.names.LowerBound(entry.name);
          if (i == operand.names.size() || operand.names[i] != entry.name) {
            added.Add(entry.name);
            return;
          }
          seen[i] = true;
          const WatchState::Slot slot = operand.slots[i];
          // A running log is asked for itself: NTFS may tell the size of a file that a
          // program holds open as it was when it was opened.
          if (trust_listing && entry.described && !entry.link && !state_.Running(slot)) {
            const FileStamp listed{entry.size, entry.modified, 0};
            (*marks)[slot] = state_.NeedsRead(slot, listed) ? Mark::kRead : Mark::kSame;
          }
        });
    if (!listed) {
      problem = "cannot read the directory: " + problem;
      seen.assign(seen.size(), false);
      added = NameList();
    }
  } else {
    os::FileStatus status;
    if (os::DescribeAt(os::kWorkingDirectory, operand.path, &status, &problem) ==
        os::OpenResult::kMissing) {
      problem = "cannot open: " + problem;
    } else if (operand.names.size() == 0) {
      problem.clear();
      added.Add(operand.path);
    } else {
      problem.clear();
      seen[0] = true;
    }
  }
  Note(operand, problem);
  if (std::find(seen.begin(), seen.end(), false) != seen.end()) {
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (seen[i]) continue;
      state_.Remove(operand.slots[i], WatchedLogs::PathOf(operand, i), events);
      cells_.Drop(operand.slots[i]);
    }
    operand.names.Keep(seen);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (seen[i]) operand.slots[kept++] = operand.slots[i];
    }
    operand.slots.resize(kept);
  }
  if (added.size() == 0) return;
  added.SortFrom(0);
  if (operand.names.size() == 0) {  // the first listing: nothing to merge
    state_.Reserve(added.size());
    operand.names = std::move(added);
    operand.slots.resize(operand.names.size());
    for (WatchState::Slot& slot : operand.slots) slot = state_.Add();
    return;
  }
  // The new names' slots go where Merge put the names, the others move up behind them.
  const std::vector<std::size_t> places = operand.names.Merge(added);
  std::size_t old = operand.slots.size();
  operand.slots.resize(operand.names.size());
  for (std::size_t at = operand.slots.size(), k = places.size(); k > 0;) {
    --at;
    if (places[k - 1] == at) {
      operand.slots[at] = state_.Add();
      --k;
    } else {
      operand.slots[at] = operand.slots[--old];
    }
  }
}

std::vector<std::uint32_t> Watch::Changed(const std::vector<WatchState::Slot>& due,
                                          std::vector<Mark>* marks) {
  marks->resize(state_.slots(), Mark::kAsk);
  for (const WatchState::Slot slot : due) {
    // A due log is read when it is still there: the listing said so, or a lookup will.
    Mark& mark = (*marks)[slot];
    mark = mark == Mark::kAsk ? Mark::kDue : Mark::kRead;
  }
  std::vector<std::uint32_t> pending;
  for (std::size_t o = 0; o < logs_.operands.size(); ++o) {
    const Operand& operand = logs_.operands[o];
    std::string error;
    const int directory =
        operand.directory ? os::OpenDirectory(operand.path, &error) : os::kWorkingDirectory;
    if (directory == os::kNoFile) continue;  // gone since it was listed: the next look says so
    InParts(operand.names.size(), options_.jobs, [&](std::size_t begin, std::size_t end) {
      std::string name;
      std::string reason;
      for (std::size_t i = begin; i < end; ++i) {
        const WatchState::Slot slot = operand.slots[i];
        Mark& mark = (*marks)[slot];
        if (mark != Mark::kAsk && mark != Mark::kDue) continue;
        os::FileStatus status;
        name.assign(operand.names[i]);
        if (os::DescribeAt(directory, name, &status, &reason) != os::OpenResult::kOpened) {
          mark = Mark::kSame;  // gone since it was listed, or not to be asked
        } else if (mark == Mark::kDue || state_.NeedsRead(slot, StampOf(status))) {
          mark = Mark::kRead;
        } else {
          mark = Mark::kSame;
        }
      }
    });
    if (directory != os::kWorkingDirectory) os::CloseFile(directory);
    for (std::size_t i = 0; i < operand.names.size(); ++i) {
      if ((*marks)[operand.slots[i]] == Mark::kRead) {
        pending.push_back(logs_.first(o) + static_cast<std::uint32_t>(i));
      }
    }
  }
  return pending;
}

void Watch::Read(const std::vector<std::uint32_t>* order, bool first, bool end,
                 std::vector<WatchEvent>* events) {
  const LookSource source(logs_, order);
  if (source.size() == 0) return;
  const bool page = options_.output == WatchOutput::kHtml;
  const bool rows = options_.output == WatchOutput::kCsv || options_.output == WatchOutput::kJson;
  const std::int64_t now = Now();
  const std::int64_t window = options_.running_for;
  PipelineStages<HtmlReport::Cells> stages;
  stages.wants = {.rows = true, .tail_records = page ? HtmlReport::kTailRecords : 0};
  stages.finish = [&](ReadLog<HtmlReport::Cells>& log) {
    log.row.running = !end && RunningAt(log.row, now, window);
    if (page) log.extra = HtmlReport::Encode(log.row);
  };
  std::size_t next = 0;
  stages.sink = [&](ReadLog<HtmlReport::Cells>& log) {
    const WatchState::Slot slot = logs_.SlotOf(source.NumberOf(next++));
    // The stamp is the one the log had when it was opened, before it was read: a change made
    // while it was read is seen at the next look.
    const RunEvent event =
        state_.Apply(slot, log.row, StampOf(log.row.described), now, first, events);
    if (page) cells_.Put(slot, std::move(log.extra));
    if (!rows || (event != RunEvent::kFinished && event != RunEvent::kFailed)) return;
    console_.Write(options_.output == WatchOutput::kCsv ? CsvRow(log.row) : JsonRow(log.row));
  };
  ReadLogs(source, options_.jobs, stages, console_);
  page_due_ = true;
}

void Watch::Look(bool first, bool end) {
  std::vector<WatchEvent> events;
  const std::vector<WatchState::Slot> due = state_.Due(Now(), end);
  std::vector<std::uint32_t> pending;
  const bool deep = first || end || SteadyClock::now() >= full_due_;
  if (deep || !Told(due, &pending)) {
    feed_.Take([](int, std::string_view) {});  // this look sees everything
    std::vector<Mark> marks(state_.slots(), Mark::kAsk);
    for (Operand& operand : logs_.operands) {
      // Told of first, then listed, so that no change falls between the two; again at each full
      // look, since a directory that went and came back is another one.
      operand.feed = feed_.Watch(operand.path);
      Relist(operand, !deep, &marks, &events);
      if (!operand.directory || !operand.problem.empty()) operand.feed = -1;
    }
    logs_.Renumber();
    if (!first) pending = Changed(due, &marks);
    if (deep) full_due_ = SteadyClock::now() + kFullLook;
  }
  if (!events.empty()) page_due_ = true;
  if (first) {
    // The first look reads every log without a list of them; the first rows come in natural
    // order, so that no row waits in memory for the others.
    const bool rows = options_.output == WatchOutput::kCsv || options_.output == WatchOutput::kJson;
    const std::vector<std::uint32_t> order = rows ? NaturalOrder() : std::vector<std::uint32_t>();
    Read(rows ? &order : nullptr, first, end, &events);
  } else {
    Read(&pending, first, end, &events);
  }
  if (!end) Show(events, first);
}

bool Watch::Told(const std::vector<WatchState::Slot>& due, std::vector<std::uint32_t>* pending) {
  std::vector<std::pair<std::uint32_t, std::string>> named;
  const std::vector<Operand>& operands = logs_.operands;
  for (std::uint32_t o = 0; o < operands.size(); ++o) {
    const Operand& operand = operands[o];
    if (operand.directory && operand.feed < 0) return false;
    if (!operand.directory) {
      if (operand.names.size() == 0) return false;  // a missing file PATH: is it back?
      named.emplace_back(o, operand.path);
    }
  }
  const bool whole = feed_.Take([&](int feed, std::string_view name) {
    for (std::uint32_t o = 0; o < operands.size(); ++o) {
      if (operands[o].directory && operands[o].feed == feed) named.emplace_back(o, name);
    }
  });
  if (!whole) return false;
  // The due logs are looked for among all: they are few.
  for (const WatchState::Slot slot : due) {
    for (std::uint32_t o = 0; o < operands.size(); ++o) {
      const auto& slots = operands[o].slots;
      const auto at = std::find(slots.begin(), slots.end(), slot);
      if (at != slots.end()) {
        named.emplace_back(
            o, std::string(operands[o].names[static_cast<std::size_t>(at - slots.begin())]));
      }
    }
  }
  std::sort(named.begin(), named.end());
  named.erase(std::unique(named.begin(), named.end()), named.end());
  for (const auto& [o, name] : named) {
    const Operand& operand = operands[o];
    if (operand.directory && !MatchesLogPattern(name, os::PatternCase())) continue;
    const std::size_t index = operand.names.LowerBound(name);
    if (index == operand.names.size() || operand.names[index] != name) return false;  // new
    std::string error;
    os::FileStatus status;
    const std::string path = operand.directory ? WatchedLogs::PathOf(operand, index) : name;
    if (os::DescribeAt(os::kWorkingDirectory, path, &status, &error) != os::OpenResult::kOpened) {
      return false;  // gone, or not what it was
    }
    const WatchState::Slot slot = operand.slots[index];
    if (state_.NeedsRead(slot, StampOf(status)) ||
        std::find(due.begin(), due.end(), slot) != due.end()) {
      pending->push_back(logs_.first(o) + static_cast<std::uint32_t>(index));
    }
  }
  std::sort(pending->begin(), pending->end());
  return true;
}

std::vector<std::uint32_t> Watch::NaturalOrder() const {
  std::vector<std::uint32_t> order(logs_.size());
  std::iota(order.begin(), order.end(), 0);
  std::string a;
  std::string b;
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t x, std::uint32_t y) {
    logs_.PathOf(x, &a);
    logs_.PathOf(y, &b);
    return NaturalLess(a, b);
  });
  return order;
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
  HtmlReport report(options_.paths, live ? Now() : MadeAt(), HtmlReport::Input::kLogs, live);
  for (const Operand& operand : logs_.operands) {
    for (const WatchState::Slot slot : operand.slots) {
      if (const HtmlReport::Cells* cells = cells_.Get(slot)) report.Add(*cells);
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
      // The last page is the one --html would write now: running runs are read once more, as
      // runs whose time is up.
      Look(false, true);
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
