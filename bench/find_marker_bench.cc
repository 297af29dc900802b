// tabrun_find_marker_bench: how fast one marker is found in a log, by std::string_view::find,
// by memmem and by FindMarker, for the markers of the README's speed table. One window of
// LogText's default size from the middle of the log is searched from each hit on to the next,
// as LogText searches the window it has just read, and so from the cache.
//
//   tabrun_find_marker_bench LOG [--benchmark_filter=REGEX ...]
//
// LOG is best a generated one (tabrun_gen_corpus gen --count 1 --size 10M ...). The figures are
// bytes searched per second.

#include <benchmark/benchmark.h>
#include <string.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "analysis/markers.h"
#include "recio/find_marker.h"
#include "recio/log_text.h"

namespace {

std::string_view text;

std::size_t StringViewFind(std::string_view haystack, std::string_view marker) {
  return haystack.find(marker);
}

std::size_t Memmem(std::string_view haystack, std::string_view marker) {
  const void* hit = memmem(haystack.data(), haystack.size(), marker.data(), marker.size());
  return hit == nullptr ? std::string_view::npos
                        : static_cast<std::size_t>(static_cast<const char*>(hit) - haystack.data());
}

void Search(benchmark::State& state, std::string_view marker,
            std::size_t (*find)(std::string_view, std::string_view)) {
  std::size_t hits = 0;
  for (auto _ : state) {
    std::string_view rest = text;
    for (std::size_t hit; (hit = find(rest, marker)) != std::string_view::npos;) {
      rest.remove_prefix(hit + 1);
      ++hits;
    }
    benchmark::DoNotOptimize(hits);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
  state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(state.iterations());
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: tabrun_find_marker_bench LOG [--benchmark_...]\n");
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.empty()) {
    std::fprintf(stderr, "tabrun_find_marker_bench: cannot read %s\n", argv[1]);
    return 1;
  }
  constexpr std::size_t kWindow = tabrun::LogText::kDefaultWindow;
  text = std::string_view(bytes).substr(bytes.size() > kWindow ? (bytes.size() - kWindow) / 2 : 0,
                                        kWindow);
  using tabrun::markers::kAnnealingControlFile, tabrun::markers::kChi2,
      tabrun::markers::kControlFile, tabrun::markers::kCpuTime, tabrun::markers::kNormalEnd;
  const struct {
    const char* name;
    std::size_t (*find)(std::string_view, std::string_view);
  } searches[] = {
      {"string_view_find", StringViewFind}, {"memmem", Memmem}, {"FindMarker", tabrun::FindMarker}};
  for (const std::string_view marker :
       {kControlFile, kNormalEnd, kCpuTime, kChi2, kAnnealingControlFile}) {
    for (const auto& search : searches) {
      const std::string name = std::string(search.name) + "/'" + std::string(marker) + "'";
      benchmark::RegisterBenchmark(name.c_str(), Search, marker, search.find);
    }
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
