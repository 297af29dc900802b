// tabrun_gen_corpus: writes a folder of synthetic refinement-run logs for
// benchmarking tabrun.
//
//   tabrun_gen_corpus --dir D --count N --size BYTES
//                     --kind ordinary|annealing|mixed --seed S
//
// Writes D/run00001.log ... D/runNNNNN.log, each about BYTES long (k, M and G
// suffixes mean 10^3, 10^6 and 10^9). The same arguments always give the
// same files. On success prints one line:
//   wrote N logs (O ordinary, A annealing), B bytes to D

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "log_synth.h"

namespace {

constexpr const char* kProgram = "tabrun_gen_corpus";
constexpr std::uint64_t kMaxCount = 99999;

struct Options {
  std::string dir;
  std::uint64_t count = 0;
  std::uint64_t size = 0;
  std::string kind;
  std::uint64_t seed = 0;
};

void Error(const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
}

void Usage() {
  std::fprintf(stderr,
               "usage: %s --dir D --count N --size BYTES --kind ordinary|annealing|mixed "
               "--seed S\n",
               kProgram);
}

// Parses a decimal number with an optional k, M or G suffix (powers of 1000).
std::optional<std::uint64_t> ParseCount(std::string_view text) {
  std::uint64_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end == text.data()) return std::nullopt;
  std::string_view suffix(end, static_cast<std::size_t>(text.data() + text.size() - end));
  std::uint64_t scale = 1;
  if (suffix == "k") {
    scale = 1000;
  } else if (suffix == "M") {
    scale = 1000 * 1000;
  } else if (suffix == "G") {
    scale = 1000 * 1000 * 1000;
  } else if (!suffix.empty()) {
    return std::nullopt;
  }
  if (value > UINT64_MAX / scale) return std::nullopt;
  return value * scale;
}

// Fills `options` from the command line. Returns false, after printing why,
// on a missing, unknown or malformed argument.
bool ParseArgs(int argc, char** argv, Options& options) {
  bool have_dir = false, have_count = false, have_size = false, have_kind = false,
       have_seed = false;
  for (int i = 1; i < argc; ++i) {
    std::string_view flag = argv[i];
    if (i + 1 >= argc) {
      Error("missing value after " + std::string(flag));
      return false;
    }
    std::string_view value = argv[++i];
    std::optional<std::uint64_t> number;
    if (flag == "--dir") {
      options.dir = value;
      have_dir = !value.empty();
      continue;
    }
    if (flag == "--kind") {
      options.kind = value;
      have_kind = value == "ordinary" || value == "annealing" || value == "mixed";
      if (!have_kind) {
        Error("unknown kind '" + std::string(value) + "'");
        return false;
      }
      continue;
    }
    if (flag != "--count" && flag != "--size" && flag != "--seed") {
      Error("unknown option " + std::string(flag));
      return false;
    }
    number = ParseCount(value);
    if (!number) {
      Error("bad number '" + std::string(value) + "' after " + std::string(flag));
      return false;
    }
    if (flag == "--count") {
      options.count = *number;
      have_count = true;
    } else if (flag == "--size") {
      options.size = *number;
      have_size = true;
    } else {
      options.seed = *number;
      have_seed = true;
    }
  }
  if (!(have_dir && have_count && have_size && have_kind && have_seed)) {
    Error("all of --dir, --count, --size, --kind and --seed are required");
    return false;
  }
  if (options.count == 0 || options.count > kMaxCount) {
    Error("--count must be between 1 and " + std::to_string(kMaxCount));
    return false;
  }
  return true;
}

tabrun_bench::LogKind KindOf(const Options& options, std::uint64_t index) {
  if (options.kind == "ordinary") return tabrun_bench::LogKind::kOrdinary;
  if (options.kind == "annealing") return tabrun_bench::LogKind::kAnnealing;
  return tabrun_bench::MixedKindForLog(options.seed, index);
}

// Writes one log to `path`. Returns its size, or nothing after printing why.
std::optional<std::uint64_t> WriteOne(const std::string& path, tabrun_bench::LogKind kind,
                                      const Options& options, std::uint64_t index) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    Error("cannot create '" + path + "': " + std::strerror(errno));
    return std::nullopt;
  }
  std::uint64_t bytes = 0;
  int write_errno = 0;
  tabrun_bench::Rng rng = tabrun_bench::RngForLog(options.seed, index);
  bool ok = tabrun_bench::WriteLog(kind, options.size, rng, [&](std::string_view chunk) {
    if (std::fwrite(chunk.data(), 1, chunk.size(), file) != chunk.size()) {
      write_errno = errno;
      return false;
    }
    bytes += chunk.size();
    return true;
  });
  if (std::fclose(file) != 0 && ok) {
    ok = false;
    write_errno = errno;
  }
  if (!ok) {
    Error("cannot write '" + path + "': " + std::strerror(write_errno));
    return std::nullopt;
  }
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
    Usage();
    return 0;
  }
  Options options;
  if (!ParseArgs(argc, argv, options)) {
    Usage();
    return 2;
  }
  std::error_code ec;
  std::filesystem::create_directories(options.dir, ec);
  if (ec) {
    Error("cannot create folder '" + options.dir + "': " + ec.message());
    return 1;
  }
  std::uint64_t total = 0, ordinary = 0;
  for (std::uint64_t i = 1; i <= options.count; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "/run%05llu.log", static_cast<unsigned long long>(i));
    tabrun_bench::LogKind kind = KindOf(options, i);
    std::optional<std::uint64_t> bytes = WriteOne(options.dir + name, kind, options, i);
    if (!bytes) return 1;
    total += *bytes;
    if (kind == tabrun_bench::LogKind::kOrdinary) ++ordinary;
  }
  std::printf("wrote %llu logs (%llu ordinary, %llu annealing), %llu bytes to %s\n",
              static_cast<unsigned long long>(options.count),
              static_cast<unsigned long long>(ordinary),
              static_cast<unsigned long long>(options.count - ordinary),
              static_cast<unsigned long long>(total), options.dir.c_str());
  return 0;
}
