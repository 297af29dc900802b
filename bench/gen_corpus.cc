// tabrun_gen_corpus: folders of synthetic refinement-run logs for bench/run.sh, and the
// page-cache tools its cold runs need. A folder argument stands for its *.log files.
//
//   tabrun_gen_corpus gen --dir D --count N --size BYTES --kind ordinary|annealing|mixed --seed S
//   tabrun_gen_corpus evict FILE_OR_DIR...     drops the files from the page cache
//   tabrun_gen_corpus resident FILE_OR_DIR...  prints "RESIDENT_PAGES TOTAL_PAGES" of the files
//
// gen writes D/run000001.log ..., about BYTES each (k, M, G: powers of 1000), the same bytes for
// the same arguments, every one a complete ordinary run (control file line, "Normal end", a Chi2/Rp
// or RF2 line at most 20 lines above "CPU Time:") or annealing run ("=> Sol#: 1 RF2=" just above
// "CPU Time:" and "=> PCR  File  :" at the end); mixed alternates them. The filler is runs of lines
// from a pool, each after a fresh cycle line: words that start like the markers, no marker.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Rng : std::mt19937_64 {  // Its sequence is fixed by the standard: the same everywhere.
  using std::mt19937_64::mt19937_64;
  int Below(std::uint64_t n) { return static_cast<int>((*this)() % n); }
  double Unit() { return static_cast<double>((*this)() >> 11) * 0x1.0p-53; }
};

// '#' stands for a fixed-point number, '@' for an integer and '^' for an exponent form.
// clang-format off
constexpr const char* kOrdinary[] = {
    "  => Phase: @  Bragg R-factor: #  Vol: #( #)  Fract(%): #", "  => N-P+C: @  Sum(w*Dy**2): #",
    "  => Phase: @  RF-factor: #  RF2w-factor: #  ATZ: #", "  => Deviance: ^  Dev*: #", "",
    "  => Conventional Rietveld factors (background subtracted): # #", "  @ @ @ @ # # # # #",
    "  => Global user-weighted Chi2 (Bragg contrib.): #", "  => Cell parameters: # # # # # #",
    "  => Chi2: #  (cycle @)  Rwp: #  Rexp: #", "  -> Shift/Error max: #  for parameter @",
    "  => Correlation @ @ : #%   Constraints: @", "  => Scale factors: ^ ^   Normalised: #",
    "  => Condition number of Normal equations: ^", "  => CPU time per cycle: #  Points: @",
    "  => Control data for pattern @: PCR file kept, Npts: @", "  @ # # # # #"};
constexpr const char* kAnnealing[] = {
    " => Temp: #  Acc.ratio: #  Cost: #  Best: #", "    Atom @  x= # y= # z= #  Occ= #", "",
    " => Configuration @  cost= #  accepted: @  rejected: @", " => Restart from best, run @ of @",
    " => Solution candidate @: RF2w= #  Chi2: #", " => Current best: cost= #  CPU time: #",
    " => PCR file of candidate @ not yet written, Normalised cost: ^"};
constexpr const char* kCompounds[] = {"cu2o", "lamno3", "fe3o4", "batio3", "zno", "ybco", "si"};
// clang-format on

std::string Format(const char* format, double a, double b = 0, double c = 0, double d = 0) {
  char buf[160];
  return std::string(buf,
                     static_cast<std::size_t>(std::snprintf(buf, sizeof buf, format, a, b, c, d)));
}

// Log-like lines, and where each starts (one more entry for the end of the last).
struct Pool {
  std::string text;
  std::vector<std::size_t> starts;
};

template <std::size_t N>
Pool MakePool(const char* const (&lines)[N], Rng& rng) {
  Pool pool;
  while (pool.text.size() < (2u << 20)) {
    pool.starts.push_back(pool.text.size());
    const char* c = rng.Below(400) == 0
                        ? "# # # # # # # # # # # # # # # # # # # # # # # # # # # # #"
                        : lines[rng.Below(N)];  // Now and then 300 columns.
    for (; *c != '\0'; ++c) {  // Fixed-point or exponent-form numbers from -400 to 1600.
      const char* f = *c == '@' ? "%5.0f" : *c == '#' ? "%10.4f" : *c == '^' ? "%12.5E" : nullptr;
      pool.text += f ? Format(f, *c == '@' ? rng.Below(10000) : rng.Unit() * 2000 - 400)
                     : std::string(1, *c);
    }
    pool.text += '\n';
  }
  pool.starts.push_back(pool.text.size());
  return pool;
}

// Up to `count` whole lines of the pool from a random line on, at most `room` bytes.
std::string_view Lines(const Pool& pool, Rng& rng, std::size_t count, std::uint64_t room) {
  std::size_t first = static_cast<std::size_t>(rng.Below(pool.starts.size() - 1 - count));
  std::size_t last = first + count;
  while (last > first && pool.starts[last] - pool.starts[first] > room) --last;
  return std::string_view(pool.text).substr(pool.starts[first],
                                            pool.starts[last] - pool.starts[first]);
}

bool WriteLog(std::FILE* file, bool annealing, std::uint64_t size, const Pool& pool, Rng rng,
              int index) {
  std::string name = std::string(kCompounds[rng.Below(std::size(kCompounds))]) +
                     (annealing ? "_sa" : "_run") + std::to_string(index);
  const bool tiny = size < 4000;  // Tiny logs get no banner and no filler in the closing lines.
  auto lines = [&](int most) { return Lines(pool, rng, tiny ? 0 : rng.Below(most), 6000); };
  std::string head = tiny ? "" : " \n      **  KOLVARAN refinement engine   Version 4.20  **\n\n";
  head += Format(" => Date: %02.0f/%02.0f/2024  Time: %02.0f:%02.0f:17.250\n\n", 1 + rng.Below(28),
                 1 + rng.Below(12), rng.Below(24), rng.Below(60));
  std::string tail;
  if (annealing) {
    head += " => Job name: " + name + "\n";
    tail = " => Best configurations (ordered by cost):\n";
    for (int sol = 1, n = 1 + rng.Below(3); sol <= n; ++sol)
      tail +=
          Format(" => Sol#:%2.0f RF2=%9.4f Chi2=%8.3f\n", sol, 3 + 20 * rng.Unit(), 5 * rng.Unit());
    tail += lines(3);
    tail += Format("  CPU Time:%11.3f seconds\n", 0.5 + 5000 * rng.Unit() * rng.Unit());
    tail += " => PCR  File  : " + name + "\n => Run finished\n";
  } else {
    head += " Control file *.pcr: " + name + "\n";
    tail = " => Normal end, final calculations and writing...\n";
    tail += lines(10);
    double chi2 = 0.8 + 20 * rng.Unit() * rng.Unit(), rp = 2 + 15 * rng.Unit();
    tail += rng.Below(7) == 0
                ? Format(" => RF2 -factor : %8.2f\n", rp)
                : Format("  => Chi2:%7.2f   => Rp:%6.2f  => Rwp:%6.2f  => Rexp:%6.2f\n", chi2, rp,
                         rp * 1.3, rp * 1.3 / chi2);
    tail += lines(20);
    double seconds = 0.5 + 5000 * rng.Unit() * rng.Unit();
    tail += Format("  CPU Time:%11.3f seconds\n            %.3f minutes\n => Run finished\n",
                   seconds, seconds / 60);
  }
  std::uint64_t written = head.size(),
                limit = size > written + tail.size() ? size - tail.size() : 0;
  bool ok = std::fwrite(head.data(), 1, head.size(), file) == head.size();
  for (int cycle = 1; ok && written < limit; ++cycle) {
    std::string line =
        annealing ? Format(" => T-cycle: %5.0f  T= %10.5f  Cost: %12.4f\n", cycle, 10 * rng.Unit(),
                           1e4 * rng.Unit())
                  : Format(" => Cycle: %4.0f  => R-Factors: %7.2f %7.2f  Chi2: %8.3f\n", cycle,
                           2 + 30 * rng.Unit(), 3 + 40 * rng.Unit(), 50 * rng.Unit());
    if (written + line.size() > limit) break;
    line += Lines(pool, rng, static_cast<std::size_t>(20 + rng.Below(150)),
                  limit - written - line.size());
    ok = std::fwrite(line.data(), 1, line.size(), file) == line.size();
    written += line.size();
  }
  return ok && std::fwrite(tail.data(), 1, tail.size(), file) == tail.size();
}

// A decimal number with an optional k, M or G; 0 for anything else.
std::uint64_t Number(const std::string& text) {
  static const std::map<std::string, std::uint64_t> kScale = {
      {"", 1}, {"k", 1000}, {"M", 1000000}, {"G", 1000000000}};
  std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
  auto scale = kScale.find(text.substr(end));
  return end == 0 || scale == kScale.end() ? 0 : std::stoull(text) * scale->second;
}

int Gen(int argc, char** argv) {
  std::map<std::string_view, std::string> opt;
  for (int i = 2; i + 1 < argc; i += 2) opt[argv[i]] = argv[i + 1];
  const std::string dir = opt["--dir"], kind = opt["--kind"];
  const std::uint64_t count = Number(opt["--count"]), size = Number(opt["--size"]);
  const std::uint64_t seed = Number(opt["--seed"]);
  if (argc != 12 || opt.size() != 5 || dir.empty() || count < 1 || count > 9999999 || size < 1 ||
      (kind != "ordinary" && kind != "annealing" && kind != "mixed")) {
    std::fprintf(stderr, "tabrun_gen_corpus: bad arguments to gen (try --help)\n");
    return 2;
  }
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  Rng pool_rng(seed);
  const Pool ordinary = MakePool(kOrdinary, pool_rng), annealing = MakePool(kAnnealing, pool_rng);
  for (std::uint64_t i = 1; i <= count; ++i) {
    std::string path = dir + "/run" + Format("%06.0f", static_cast<double>(i)) + ".log";
    bool is_annealing = kind == "annealing" || (kind == "mixed" && i % 2 == 0);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    bool ok = file != nullptr && std::setvbuf(file, nullptr, _IOFBF, 1 << 20) == 0 &&
              WriteLog(file, is_annealing, size, is_annealing ? annealing : ordinary,
                       Rng(seed * 0xd1b54a32d192ed03ULL ^ i), static_cast<int>(i));
    if ((file != nullptr && std::fclose(file) != 0) || !ok) {
      std::perror(("tabrun_gen_corpus: cannot write " + path).c_str());
      return 1;
    }
  }
  std::printf("wrote %s logs to %s\n", opt["--count"].c_str(), dir.c_str());
  return 0;
}

// evict: drops the pages of the files from the page cache; resident: counts them.
int Pages(int argc, char** argv, bool evict) {
  std::vector<std::string> files;  // The regular files named, a folder standing for its *.log.
  for (int i = 2; i < argc; ++i) {
    std::error_code ec;
    if (!std::filesystem::is_directory(argv[i], ec)) files.push_back(argv[i]);  // Checked on open.
    for (const auto& e : std::filesystem::directory_iterator(argv[i], ec))
      if (e.path().extension() == ".log" && e.is_regular_file()) files.push_back(e.path());
  }
  const std::uint64_t page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  std::uint64_t resident = 0, total = 0;
  for (const std::string& path : files) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st {};
    int err = fd < 0 || fstat(fd, &st) != 0 ? errno : 0;
    std::size_t size = static_cast<std::size_t>(st.st_size);
    if (err == 0 && evict) err = posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    if (err == 0 && !evict && size > 0) {
      void* map = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
      std::vector<unsigned char> vec((size + page - 1) / page);
      if (map == MAP_FAILED || mincore(map, size, vec.data()) != 0) err = errno;
      for (unsigned char v : vec) resident += v & 1;
      total += vec.size();
      if (map != MAP_FAILED) munmap(map, size);
    }
    if (fd >= 0) close(fd);
    if (err != 0) {
      errno = err;
      std::perror(("tabrun_gen_corpus: " + path).c_str());
      return 1;
    }
  }
  if (!evict)
    std::printf("%s %s\n", std::to_string(resident).c_str(), std::to_string(total).c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string_view command = argc > 1 ? argv[1] : "";
  if (command == "gen") return Gen(argc, argv);
  if (command == "evict" || command == "resident") return Pages(argc, argv, command == "evict");
  std::fprintf(command == "--help" ? stdout : stderr,
               "usage: tabrun_gen_corpus gen --dir D --count N --size BYTES "
               "--kind ordinary|annealing|mixed --seed S\n"
               "       tabrun_gen_corpus evict|resident FILE_OR_DIR...\n");
  return command == "--help" ? 0 : 2;
}
