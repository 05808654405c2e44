// Quick Open on a 100,000-note sample library: loading the snapshot, a cold
// search that decodes every body, a warm query over the folded text cache, and
// a one-shot search that reads the cache from disk (what `zephyl search` does
// after its first run). ZEPHYL_BENCH_LIBRARY names an existing library instead
// of generating one; ZEPHYL_BENCH_EXPORT names a file that receives the same
// searchable text, one note a line, for comparison with other tools.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "navigation/notes_quick_open_service.h"
#include "notes_store/fixtures/sample_library.h"
#include "platform/linux/configured_path_grant.h"
#include "platform/linux/posix_file_system.h"

namespace {

namespace fs = std::filesystem;
using zephyl::navigation::NotesQuickOpenService;

struct Environment {
  std::string library;
  std::string cacheDirectory;
  zephyl::platform::PosixFileSystem files;
  std::unique_ptr<zephyl::platform::ConfiguredPathGrant> grant;
  std::unique_ptr<zephyl::notes_store::NotesDatabaseAccess> access;
};

Environment& environment() {
  static Environment env;
  return env;
}

std::unique_ptr<NotesQuickOpenService> makeService(const std::string& cacheDirectory) {
  auto& env = environment();
  return std::make_unique<NotesQuickOpenService>(*env.access, env.files, cacheDirectory);
}

void BM_SnapshotLoad(benchmark::State& state) {
  auto service = makeService({});
  for (auto _ : state) service->loadSnapshot();
  state.counters["notes"] = static_cast<double>(service->snapshot().notes.size());
}
BENCHMARK(BM_SnapshotLoad)->Unit(benchmark::kMillisecond);

void BM_ColdSearch(benchmark::State& state) {
  size_t decoded = 0;
  for (auto _ : state) {
    auto service = makeService({});
    service->refresh();
    benchmark::DoNotOptimize(service->search("telescope", 20));
    decoded = service->decodedBodyCount();
  }
  state.counters["decoded"] = static_cast<double>(decoded);
}
BENCHMARK(BM_ColdSearch)->Unit(benchmark::kMillisecond)->Iterations(2);

void warmQuery(benchmark::State& state, const char* query, size_t limit) {
  static std::unique_ptr<NotesQuickOpenService> service = [] {
    auto made = makeService({});
    made->refresh();
    return made;
  }();
  size_t results = 0;
  for (auto _ : state) {
    results = service->search(query, limit).size();
    benchmark::DoNotOptimize(results);
  }
  state.counters["results"] = static_cast<double>(results);
}
void BM_WarmQueryRare(benchmark::State& state) { warmQuery(state, "reykjavik", 20); }
void BM_WarmQueryCommon(benchmark::State& state) { warmQuery(state, "telescope", 20); }
void BM_WarmQueryAbsent(benchmark::State& state) { warmQuery(state, "xylophone", 20); }
void BM_WarmQueryCommonAll(benchmark::State& state) { warmQuery(state, "telescope", 0); }
BENCHMARK(BM_WarmQueryRare)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WarmQueryCommon)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WarmQueryAbsent)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WarmQueryCommonAll)->Unit(benchmark::kMillisecond);

// A later run of the program: the cache comes from disk, no body is decoded.
void BM_OneShotWithDiskCache(benchmark::State& state) {
  auto& env = environment();
  {
    auto first = makeService(env.cacheDirectory);
    first->refresh();
    first->saveSearchTextCache();
  }
  size_t decoded = 0;
  for (auto _ : state) {
    auto service = makeService(env.cacheDirectory);
    service->refresh();
    benchmark::DoNotOptimize(service->search("reykjavik", 20));
    decoded = service->decodedBodyCount();
  }
  state.counters["decoded"] = static_cast<double>(decoded);
}
BENCHMARK(BM_OneShotWithDiskCache)->Unit(benchmark::kMillisecond);

void exportSearchText(const std::string& path) {
  auto service = makeService({});
  service->refresh();
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  // Everything a query is matched against: title, folder path, text.
  const auto& notes = service->snapshot().notes;
  for (size_t i = 0; i < notes.size(); ++i) {
    const auto* text = service->searchText(i);
    out << notes[i].title << '\t' << notes[i].folderPath << '\t' << (text ? text->text : "") << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  auto& env = environment();
  fs::path work = fs::temp_directory_path() / ("zephyl-quick-open-bench-" + std::to_string(::getpid()));
  fs::create_directories(work);
  if (const char* existing = std::getenv("ZEPHYL_BENCH_LIBRARY")) {
    env.library = existing;
  } else {
    env.library = (work / "NoteStore.sqlite").string();
    zephyl::notes_store::SampleLibraryOptions options;
    options.noteCount = 100'000;
    options.seed = 42;
    const auto summary = zephyl::notes_store::writeSampleLibrary(env.library, options);
    std::cerr << "Sample library: " << summary.notes << " listed notes, " << summary.folders << " folders\n";
  }
  env.cacheDirectory = (work / "data").string();
  env.grant = std::make_unique<zephyl::platform::ConfiguredPathGrant>(env.library);
  env.access =
      std::make_unique<zephyl::notes_store::NotesDatabaseAccess>(*env.grant, env.files, "/nonexistent");
  if (const char* exportPath = std::getenv("ZEPHYL_BENCH_EXPORT")) exportSearchText(exportPath);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  fs::remove_all(work);
  return 0;
}
