#include "driver/command_line.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "recio/number.h"

namespace tabrun {
namespace {

enum class Option {
  kCsv,
  kJson,
  kHtml,
  kCompare,
  kFromRows,
  kJobs,
  kHelp,
  kVersion,
  kWatch,
  kRunningFor,
  kOutput
};

struct LongOption {
  std::string_view name;  // without "--"
  Option option;
  bool takes_argument;
};

// An ambiguous abbreviation lists its possibilities in this order.
constexpr LongOption kLongOptions[] = {
    {"csv", Option::kCsv, false},
    {"json", Option::kJson, false},
    {"html", Option::kHtml, false},
    {"compare", Option::kCompare, false},
    {"from-rows", Option::kFromRows, false},
    {"jobs", Option::kJobs, true},
    {"help", Option::kHelp, false},
    {"version", Option::kVersion, false},
    {"watch", Option::kWatch, false},
    {"running-for", Option::kRunningFor, true},
    {"output", Option::kOutput, true},
};

// What the options read so far ask for.
struct Asked {
  bool help = false;
  bool version = false;
  bool compare = false;
  Command mode = Command::kRun;
  std::string_view mode_option;  // the option that chose `mode`
  std::string conflict;          // the first two different modes, said as an error
  bool from_rows = false;
  int jobs = 0;
  bool watch = false;
  int running_for = 0;  // 0 when not given
  std::optional<std::string> output;
};

CommandLine Only(Command command) {
  CommandLine line;
  line.command = command;
  return line;
}

CommandLine UsageError(std::string error, std::string hint = {}) {
  CommandLine line = Only(Command::kUsageError);
  line.error = std::move(error);
  line.hint = std::move(hint);
  return line;
}

// The number of jobs `text` gives, or 0 when it is not a number from 1 to kMaxJobs.
int JobsOf(std::string_view text) {
  const std::optional<int> jobs = WholeInteger<int>(text);
  return jobs && *jobs >= 1 && *jobs <= kMaxJobs ? *jobs : 0;
}

// Takes one option into `asked`; returns what is wrong with it, or an empty text.
std::string Take(Option option, std::string_view argument, Asked* asked) {
  Command mode = Command::kRun;
  std::string_view name;
  switch (option) {
    case Option::kHelp:
      asked->help = true;
      return {};
    case Option::kVersion:
      asked->version = true;
      return {};
    case Option::kCompare:
      asked->compare = true;
      return {};
    case Option::kFromRows:
      asked->from_rows = true;
      return {};
    case Option::kJobs:
      asked->jobs = JobsOf(argument);
      if (asked->jobs != 0) return {};
      return "invalid number of jobs: '" + std::string(argument) + "' (1 to " +
             std::to_string(kMaxJobs) + ")";
    case Option::kWatch:
      asked->watch = true;
      return {};
    case Option::kRunningFor: {
      const std::optional<int> seconds = WholeInteger<int>(argument);
      asked->running_for = seconds && *seconds >= 1 && *seconds <= kMaxRunningFor ? *seconds : 0;
      if (asked->running_for != 0) return {};
      return "invalid number of seconds: '" + std::string(argument) + "' (1 to " +
             std::to_string(kMaxRunningFor) + ")";
    }
    case Option::kOutput:
      asked->output = argument;
      return {};
    case Option::kCsv:
      mode = Command::kCsv, name = "--csv";
      break;
    case Option::kJson:
      mode = Command::kJson, name = "--json";
      break;
    case Option::kHtml:
      mode = Command::kHtml, name = "--html";
      break;
  }
  if (asked->mode == Command::kRun) {
    asked->mode = mode;
    asked->mode_option = name;
  } else if (asked->mode != mode && asked->conflict.empty()) {
    asked->conflict = "options '" + std::string(asked->mode_option) + "' and '" +
                      std::string(name) + "' cannot be used together";
  }
  return {};
}

// Reads the long option args[*i], which starts with "--", and its argument, which may be the
// next one (then *i moves on to it).
std::string ReadLong(const std::vector<std::string>& args, size_t* i, Asked* asked) {
  const std::string& arg = args[*i];
  const std::string_view text = std::string_view(arg).substr(2);
  const size_t equals = text.find('=');
  const std::string_view name = text.substr(0, equals);
  const LongOption* found = nullptr;
  for (const LongOption& option : kLongOptions) {
    if (option.name == name) found = &option;
  }
  if (found == nullptr) {
    std::string possibilities;
    for (const LongOption& option : kLongOptions) {
      if (!option.name.starts_with(name)) continue;
      if (found != nullptr) possibilities.append(" '--").append(found->name).append("'");
      found = &option;
    }
    if (found == nullptr) return "unrecognized option '" + arg + "'";
    if (!possibilities.empty()) {
      return "option '" + arg + "' is ambiguous; possibilities:" + possibilities + " '--" +
             std::string(found->name) + "'";
    }
  }
  const std::string option_name = "--" + std::string(found->name);
  std::string_view argument;
  if (equals != std::string_view::npos) {
    if (!found->takes_argument) return "option '" + option_name + "' doesn't allow an argument";
    argument = text.substr(equals + 1);
  } else if (found->takes_argument) {
    if (*i + 1 == args.size()) return "option '" + option_name + "' requires an argument";
    argument = args[++*i];
  }
  return Take(found->option, argument, asked);
}

// Reads the short options grouped in args[*i] after its '-'; -j takes the rest of the group or,
// when nothing is left, the next argument (then *i moves on to it).
std::string ReadShort(const std::vector<std::string>& args, size_t* i, Asked* asked) {
  const std::string_view group = std::string_view(args[*i]).substr(1);
  for (size_t k = 0; k < group.size(); ++k) {
    if (group[k] == 'h') {
      asked->help = true;
    } else if (group[k] != 'j') {
      return std::string("invalid option -- '") + group[k] + "'";
    } else if (k + 1 < group.size()) {
      return Take(Option::kJobs, group.substr(k + 1), asked);
    } else if (*i + 1 < args.size()) {
      return Take(Option::kJobs, args[++*i], asked);
    } else {
      return "option requires an argument -- 'j'";
    }
  }
  return {};
}

// What is wrong with the options of the watch, the compare and the rows read back as asked
// together, or an empty text.
std::string CombinationError(const Asked& asked) {
  const bool html = asked.mode == Command::kHtml;
  if (asked.watch && asked.compare) {
    return "options '--compare' and '--watch' cannot be used together";
  }
  if (asked.running_for != 0 && !asked.watch) {
    return "option '--running-for' can only be used with '--watch'";
  }
  if (asked.from_rows && (asked.compare || asked.watch)) {
    return std::string("options '--from-rows' and '") + (asked.compare ? "--compare" : "--watch") +
           "' cannot be used together";
  }
  if (asked.output && !(html && asked.watch)) {
    if (asked.mode == Command::kRun || html) {
      return "option '--output' can only be used with '--html' and '--watch'";
    }
    return "options '" + std::string(asked.mode_option) +
           "' and '--output' cannot be used together";
  }
  if (html && asked.watch && !asked.output) {
    return "options '--html' and '--watch' need '--output FILE'";
  }
  if (asked.output && asked.output->empty()) return "option '--output' needs a file name";
  return {};
}

// `path` as one word for a POSIX shell, as ExtraOperandHint says.
std::string PosixWord(std::string_view path) {
  const std::string_view first = path.substr(0, path.find('/'));
  std::string word = "'";
  if (!path.starts_with('/') && first != "." && first != "..") word += "./";
  for (const char c : path) {
    if (c == '\'') {
      word += R"('\'')";
    } else {
      word += c;
    }
  }
  return word + "'";
}

// `path` as one word for cmd.exe, as ExtraOperandHint says; for a program (`program`) the
// backslashes that end it are doubled, for cmd.exe's own cd not.
std::string CmdWord(std::string_view path, bool program) {
  std::string word = path.starts_with('-') ? R"(".\)" : R"(")";
  for (const char c : path) word += c == '/' ? '\\' : c;
  const std::size_t end = word.find_last_not_of('\\') + 1;
  if (program) word.append(word.size() - end, '\\');
  return word + '"';
}

}  // namespace

std::string ExtraOperandHint(std::string_view operand, os::ShellSyntax shell) {
  const bool control = std::any_of(operand.begin(), operand.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
  });
  if (operand.empty() || control) return {};
  std::string cd;
  std::string csv;
  if (shell == os::ShellSyntax::kPosix) {
    cd = "cd " + PosixWord(operand);
    csv = PosixWord(operand);
  } else {
    if (operand.find_first_of("%\"") != std::string_view::npos) return {};
    const std::string word = CmdWord(operand, false);
    // cmd.exe's cd cannot enter a share (\\server\share); pushd maps a drive letter for it.
    cd = (word.starts_with(R"("\\)") ? "pushd " : "cd /d ") + word;
    csv = CmdWord(operand, true);
  }
  return "for the logs in that directory: " + cd + " && tabrun, or tabrun --csv " + csv;
}

CommandLine ParseCommandLine(const std::vector<std::string>& args, os::ShellSyntax shell) {
  Asked asked;
  std::vector<std::string> operands;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    std::string error;
    if (arg == "--") {
      operands.insert(operands.end(), args.begin() + i + 1, args.end());
      break;
    }
    if (arg.starts_with("--")) {
      error = ReadLong(args, &i, &asked);
    } else if (arg.size() > 1 && arg[0] == '-') {
      error = ReadShort(args, &i, &asked);
    } else {
      operands.push_back(arg);  // "-" too
    }
    if (!error.empty()) return UsageError(std::move(error));
  }
  if (asked.help) return Only(Command::kHelp);
  if (asked.version) return Only(Command::kVersion);
  if (!asked.conflict.empty()) return UsageError(std::move(asked.conflict));
  if (std::string error = CombinationError(asked); !error.empty())
    return UsageError(std::move(error));
  if (asked.from_rows && asked.mode == Command::kRun) {
    return UsageError("option '--from-rows' needs '--csv', '--json' or '--html'");
  }
  CommandLine line;
  line.jobs = asked.jobs;
  line.from_rows = asked.from_rows;
  line.watch = asked.watch && asked.mode != Command::kRun;
  if (asked.running_for != 0) line.running_for = asked.running_for;
  line.output = asked.output.value_or("");
  if (asked.watch && asked.mode == Command::kRun) asked.mode = Command::kWatch;
  if (asked.mode == Command::kRun && !asked.compare) {
    if (operands.empty()) return line;
    const std::string& operand = operands.front();
    return UsageError("extra operand '" + operand + "'", ExtraOperandHint(operand, shell));
  }
  if (asked.compare) {
    // Two batches, in this order; a third operand is one too many.
    if (asked.mode == Command::kRun) {
      return UsageError(
          "option '--compare' needs '--csv', '--json' or '--html' to say what to write");
    }
    if (operands.size() < 2) {
      return UsageError("option '--compare' needs two operands, BEFORE and AFTER");
    }
    if (operands.size() > 2) return UsageError("extra operand '" + operands[2] + "'");
    line.compare = true;
  }
  if (operands.empty()) operands.emplace_back(asked.from_rows ? "-" : ".");
  line.command = asked.mode;
  line.paths = std::move(operands);
  return line;
}

std::string HelpText() {
  return "Usage: tabrun [-j N]\n"
         "       tabrun --csv [-j N] [PATH]...\n"
         "       tabrun --json [-j N] [PATH]...\n"
         "       tabrun --html [-j N] [PATH]... > report.html\n"
         "       tabrun --watch [--running-for SECONDS] [-j N] [PATH]...\n"
         "       tabrun --watch --csv|--json [--running-for SECONDS] [-j N] [PATH]...\n"
         "       tabrun --watch --html --output FILE [-j N] [PATH]...\n"
         "       tabrun --compare --csv|--json|--html [-j N] BEFORE AFTER\n"
         "       tabrun --csv|--json|--html --from-rows [FILE]...\n"
         "\n"
         "Without operands, in a directory that holds the *.log files of a batch of\n"
         "refinement runs: lists them into list_log (with \"ls -l *.log > list_log\"),\n"
         "reads each log once and writes one summary line per run to log.res: how the run\n"
         "ended, its CPU time and its Chi2 or R-F2 figure. Runs that could not be\n"
         "summarised, the total CPU time and a warning when too many runs failed are shown\n"
         "on the console.\n"
         "\n"
         "With --csv, --json or --html: reads every *.log file of each directory PATH\n"
         "(default .), sorted by name, hidden ones left out, and each file PATH as it is,\n"
         "without the shell, and writes to standard output only. --csv and --json write\n"
         "one row per log: log, kind, status, control_file, cpu_seconds, chi2, rp, rwp,\n"
         "rexp, rf2, rf2w, rf, result, error, name_number (the last number in the log's\n"
         "name), last_record (a failed run's last line), reason (why it failed, in\n"
         "words), bytes and modified (the log's size and UTC time). --html writes one page\n"
         "that shows the batch: counts, a chart of one figure per run, its rank plot and\n"
         "histogram, a table to sort and filter, and the last lines of every failed log.\n"
         "Any file name and any number of logs work.\n"
         "\n"
         "With --watch: follows a batch that is still running, until Ctrl-C. Alone, a view\n"
         "redrawn in the terminal (one line per change when standard output is not one):\n"
         "counts by status with running runs apart, runs finished, the best figures and\n"
         "the newest failures. With --csv or --json, one row per run as it reaches its\n"
         "outcome; with --html, the page in FILE, rewritten as runs change and reloading\n"
         "itself. A log without an outcome yet that changed in the last SECONDS (default\n"
         "120) is running.\n"
         "\n"
         "With --compare and --csv, --json or --html: reads the logs of BEFORE and of\n"
         "AFTER (each a directory or a file PATH), pairs the runs by the log's name within\n"
         "its PATH and writes one row per name, in natural order: log, side (both, before,\n"
         "after), status_before, status_after, name_number, then for cpu_seconds, chi2,\n"
         "rp, rwp, rexp, rf2, rf2w and rf each FIGURE_before, FIGURE_after, FIGURE_change\n"
         "(after - before) and FIGURE_relative (the change / |before|). --html writes one\n"
         "page with both batches on a chart, the change per run, the counts of better and\n"
         "worse runs and a table.\n"
         "\n"
         "With --from-rows, each FILE holds rows that tabrun --csv or --json wrote, such\n"
         "as the shards of a campaign, and these are written instead of the rows of logs:\n"
         "one CSV or JSON file, or one page, from all of them, in the order given.\n"
         "\n"
         "Options:\n"
         "  --csv          one CSV row per log, after a header row\n"
         "  --json         one JSON object per log and line (JSON Lines)\n"
         "  --html         one self-contained HTML page\n"
         "  --compare      two batches side by side: BEFORE AFTER\n"
         "  --from-rows    read rows that tabrun --csv or --json wrote from each FILE\n"
         "                 (default -, standard input) instead of logs\n"
         "  -j, --jobs=N   read at most N logs at once (default 64, 1 to 1024): one per\n"
         "                 CPU at first, more while the reads wait on a network file\n"
         "                 system; the output is the same for every N\n"
         "  --watch        follow the batch as its runs go on\n"
         "  --running-for=SECONDS\n"
         "                 how long a log without an outcome counts as running after its\n"
         "                 last change (default 120)\n"
         "  --output=FILE  with --html --watch: the page's file, rewritten atomically\n"
         "  -h, --help     print this help and exit\n"
         "  --version      print the version and exit\n"
         "\n"
         "Exit status: 0 when every log was read, and for a watch ended by Ctrl-C; 1 after\n"
         "a fatal I/O error, or in the direct modes when a log could not be read or had a\n"
         "CPU value that is not a number; 2 for a usage error.\n";
}

std::string VersionText() { return std::string("tabrun ") + TABRUN_VERSION + "\n"; }

}  // namespace tabrun
