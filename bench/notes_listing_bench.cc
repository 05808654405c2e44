// Listing a large library: the folder tree and the note list of a 100,000-note,
// 2,000-folder sample library, each on its own read-only connection as the
// commands run them. ZEPHYL_BENCH_LIBRARY names an existing library to use
// instead of generating one.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "notes_store/fixtures/sample_library.h"
#include "notes_store/notes_database_access.h"
#include "platform/linux/configured_path_grant.h"
#include "platform/linux/posix_file_system.h"

namespace {

namespace fs = std::filesystem;
using zephyl::notes_store::NotesDatabaseAccess;

std::string& libraryPath() {
  static std::string path;
  return path;
}

template <typename Body>
void runOnLibrary(benchmark::State& state, Body body) {
  zephyl::platform::PosixFileSystem files;
  zephyl::platform::ConfiguredPathGrant grant(libraryPath());
  NotesDatabaseAccess access(grant, files, "/nonexistent");
  size_t rows = 0;
  for (auto _ : state) {
    rows = *access.withDatabase(body);
    benchmark::DoNotOptimize(rows);
  }
  state.counters["rows"] = static_cast<double>(rows);
}

void BM_FolderTree(benchmark::State& state) {
  runOnLibrary(state, [](auto& c) { return NotesDatabaseAccess::fetchFolderTree(c).size(); });
}
BENCHMARK(BM_FolderTree)->Unit(benchmark::kMillisecond);

void BM_NoteList(benchmark::State& state) {
  runOnLibrary(state, [](auto& c) { return NotesDatabaseAccess::fetchNoteList(c).size(); });
}
BENCHMARK(BM_NoteList)->Unit(benchmark::kMillisecond);

// What `zephyl notes` reads: both statements on one connection.
void BM_FolderTreeAndNoteList(benchmark::State& state) {
  runOnLibrary(state, [](auto& c) {
    return NotesDatabaseAccess::fetchFolderTree(c).size() + NotesDatabaseAccess::fetchNoteList(c).size();
  });
}
BENCHMARK(BM_FolderTreeAndNoteList)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  fs::path generated;
  if (const char* existing = std::getenv("ZEPHYL_BENCH_LIBRARY")) {
    libraryPath() = existing;
  } else {
    generated = fs::temp_directory_path() / ("zephyl-bench-" + std::to_string(::getpid()));
    fs::create_directories(generated);
    libraryPath() = (generated / "NoteStore.sqlite").string();
    zephyl::notes_store::SampleLibraryOptions options;
    options.noteCount = 100'000;
    options.seed = 42;
    const auto summary = zephyl::notes_store::writeSampleLibrary(libraryPath(), options);
    std::cerr << "Sample library: " << summary.notes << " listed notes, " << summary.folders << " folders\n";
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (!generated.empty()) fs::remove_all(generated);
  return 0;
}
