// Compares tabrun::FindMarker with memmem and std::string_view::find on 64 MiB
// of synthetic logs (mixed ordinary and annealing runs), for each marker
// tabrun looks for. Two access patterns:
//   Buffer/...  counts every occurrence in the whole buffer, one call per hit;
//   Lines/...   searches the first 256 bytes of every line, as tabrun does.
// Prints bytes/s of log text per search. Before timing, checks that all three
// searches agree on every count and exits 1 if they do not.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "log_synth.h"
#include "recio/find_marker.h"

namespace {

constexpr std::size_t kLogs = 16;
constexpr std::size_t kLogBytes = std::size_t{4} << 20;
constexpr std::size_t kColumns = 256;
constexpr std::uint64_t kSeed = 20240611;

struct Marker {
  const char* label;
  std::string_view text;
};

constexpr Marker kMarkers[] = {
    {"ControlFile", "Control file *.pcr:"},
    {"NormalEnd", "Normal end"},
    {"CpuTime", "CPU Time:"},
    {"Chi2", "Chi2:"},
    {"Rp", "Rp:"},
    {"Rf2Factor", "RF2 -factor :"},
    {"PcrFile", "PCR  File  :"},
    {"Sol", "Sol#:"},
};

using Finder = std::size_t (*)(std::string_view, std::string_view);

std::size_t ViaFindMarker(std::string_view haystack, std::string_view marker) {
  return tabrun::FindMarker(haystack, marker);
}

std::size_t ViaMemmem(std::string_view haystack, std::string_view marker) {
  const void* hit = memmem(haystack.data(), haystack.size(), marker.data(), marker.size());
  return hit == nullptr ? std::string_view::npos
                        : static_cast<std::size_t>(static_cast<const char*>(hit) - haystack.data());
}

std::size_t ViaStringView(std::string_view haystack, std::string_view marker) {
  return haystack.find(marker);
}

struct Implementation {
  const char* label;
  Finder find;
};

constexpr Implementation kImplementations[] = {
    {"FindMarker", ViaFindMarker},
    {"memmem", ViaMemmem},
    {"string_view::find", ViaStringView},
};

struct Corpus {
  std::string text;
  std::vector<std::string_view> line_heads;  // Each line cut to its first kColumns bytes.
};

Corpus BuildCorpus() {
  Corpus corpus;
  corpus.text.reserve(kLogs * kLogBytes + (1 << 20));
  for (std::size_t i = 1; i <= kLogs; ++i) {
    tabrun_bench::Rng rng = tabrun_bench::RngForLog(kSeed, i);
    tabrun_bench::WriteLog(tabrun_bench::MixedKindForLog(kSeed, i), kLogBytes, rng,
                           [&](std::string_view chunk) {
                             corpus.text += chunk;
                             return true;
                           });
  }
  std::string_view rest = corpus.text;
  while (!rest.empty()) {
    std::size_t end = std::min(rest.find('\n'), rest.size());
    corpus.line_heads.push_back(rest.substr(0, std::min(end, kColumns)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return corpus;
}

std::size_t CountInBuffer(Finder find, std::string_view text, std::string_view marker) {
  std::size_t hits = 0;
  std::size_t from = 0;
  while (true) {
    std::size_t at = find(text.substr(from), marker);
    if (at == std::string_view::npos) return hits;
    ++hits;
    from += at + marker.size();
  }
}

std::size_t CountInLines(Finder find, const std::vector<std::string_view>& heads,
                         std::string_view marker) {
  std::size_t hits = 0;
  for (std::string_view head : heads) hits += find(head, marker) != std::string_view::npos;
  return hits;
}

// Returns false, after printing the disagreement, unless every implementation
// finds the same number of hits for every marker in both access patterns.
bool ImplementationsAgree(const Corpus& corpus) {
  bool agree = true;
  for (const Marker& m : kMarkers) {
    std::size_t buffer_hits = CountInBuffer(ViaStringView, corpus.text, m.text);
    std::size_t line_hits = CountInLines(ViaStringView, corpus.line_heads, m.text);
    for (const Implementation& impl : kImplementations) {
      std::size_t b = CountInBuffer(impl.find, corpus.text, m.text);
      std::size_t l = CountInLines(impl.find, corpus.line_heads, m.text);
      if (b != buffer_hits || l != line_hits) {
        std::fprintf(stderr,
                     "tabrun_find_marker_bench: %s disagrees on \"%.*s\": %zu/%zu hits "
                     "(buffer/lines), string_view::find has %zu/%zu\n",
                     impl.label, static_cast<int>(m.text.size()), m.text.data(), b, l, buffer_hits,
                     line_hits);
        agree = false;
      }
    }
  }
  return agree;
}

void RegisterAll(const Corpus& corpus) {
  const double bytes = static_cast<double>(corpus.text.size());
  for (const Marker& m : kMarkers) {
    for (const Implementation& impl : kImplementations) {
      std::string suffix = std::string(impl.label) + "/" + m.label;
      // The same loop for both shapes of input: the whole buffer, or each line's first 256 bytes.
      const auto add = [bytes](const std::string& name, auto count) {
        benchmark::RegisterBenchmark(name.c_str(), [count, bytes](benchmark::State& state) {
          std::size_t hits = 0;
          for (auto _ : state) {
            hits = count();
            benchmark::DoNotOptimize(hits);
          }
          state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
          state.counters["hits"] = static_cast<double>(hits);
        });
      };
      add("Buffer/" + suffix,
          [&corpus, impl, m] { return CountInBuffer(impl.find, corpus.text, m.text); });
      add("Lines/" + suffix,
          [&corpus, impl, m] { return CountInLines(impl.find, corpus.line_heads, m.text); });
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  static const Corpus corpus = BuildCorpus();
  std::printf("corpus: %zu logs, %zu bytes, %zu lines\n", kLogs, corpus.text.size(),
              corpus.line_heads.size());
  if (!ImplementationsAgree(corpus)) return 1;
  RegisterAll(corpus);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
