// Decoding the bodies of a 100,000-note sample library, against the floor of
// inflating the same blobs with zlib alone. All blobs are read into memory once,
// so neither side pays for SQLite. ZEPHYL_BENCH_LIBRARY names an existing library
// to use instead of generating one.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "notes_store/fixtures/sample_library.h"
#include "notes_store/note_body_decoder.h"

namespace {

namespace fs = std::filesystem;

struct Corpus {
  std::vector<std::string> blobs;
  size_t compressedBytes = 0;
  size_t decompressedBytes = 0;
};

Corpus& corpus() {
  static Corpus instance;
  return instance;
}

std::vector<std::string> readBodies(const std::string& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    throw std::runtime_error("cannot open " + path);
  }
  sqlite3_stmt* statement = nullptr;
  std::vector<std::string> blobs;
  if (sqlite3_prepare_v2(db, "SELECT ZDATA FROM ZICNOTEDATA WHERE ZDATA IS NOT NULL", -1, &statement,
                         nullptr) == SQLITE_OK) {
    while (sqlite3_step(statement) == SQLITE_ROW) {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, 0));
      blobs.emplace_back(bytes, static_cast<size_t>(sqlite3_column_bytes(statement, 0)));
    }
  }
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return blobs;
}

void reportCounters(benchmark::State& state) {
  const Corpus& c = corpus();
  const auto bodies = static_cast<int64_t>(c.blobs.size());
  state.SetItemsProcessed(state.iterations() * bodies);
  // Throughput in decompressed bytes: what both sides produce.
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(c.decompressedBytes));
  // Seconds per body, shown with an SI prefix (n, u).
  state.counters["per_body"] =
      benchmark::Counter(static_cast<double>(bodies),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_DecodeNoteBody(benchmark::State& state) {
  size_t withText = 0;
  for (auto _ : state) {
    withText = 0;
    int64_t key = 0;
    for (const std::string& blob : corpus().blobs) {
      const zephyl::notes_store::NotesDatabaseParsedNote parsed =
          zephyl::notes_store::decodeNoteBody(blob, ++key);
      withText += parsed.firstWithText() != nullptr;
      benchmark::DoNotOptimize(parsed);
    }
  }
  reportCounters(state);
  state.counters["with_text"] = static_cast<double>(withText);
}
BENCHMARK(BM_DecodeNoteBody)->Unit(benchmark::kMillisecond);

// Decompression alone, as the decoder does it: the share of the decoding time
// that is zlib's and the output's.
void BM_DecompressNoteData(benchmark::State& state) {
  size_t produced = 0;
  for (auto _ : state) {
    produced = 0;
    for (const std::string& blob : corpus().blobs) {
      const std::optional<std::string> bytes = zephyl::notes_store::decompressNoteData(blob);
      produced += bytes ? bytes->size() : 0;
    }
    benchmark::DoNotOptimize(produced);
  }
  reportCounters(state);
}
BENCHMARK(BM_DecompressNoteData)->Unit(benchmark::kMillisecond);

// The floor: zlib alone, with the calls the decoder must make (a stream set up
// and torn down per blob, inflate without flush into a 65,536-byte chunk), and
// nothing kept: no copy of the output, no parsing.
void BM_InflateFloor(benchmark::State& state) {
  std::array<unsigned char, 65536> chunk;
  size_t produced = 0;
  for (auto _ : state) {
    produced = 0;
    for (const std::string& blob : corpus().blobs) {
      z_stream stream{};
      // 32 + 15: gzip or zlib header, whichever the blob has.
      if (inflateInit2(&stream, 47) != Z_OK) continue;
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(blob.data()));
      stream.avail_in = static_cast<uInt>(blob.size());
      int status = Z_OK;
      while (status == Z_OK) {
        stream.next_out = chunk.data();
        stream.avail_out = static_cast<uInt>(chunk.size());
        status = inflate(&stream, Z_NO_FLUSH);
        produced += chunk.size() - stream.avail_out;
      }
      inflateEnd(&stream);
    }
    benchmark::DoNotOptimize(produced);
  }
  reportCounters(state);
}
BENCHMARK(BM_InflateFloor)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  fs::path generated;
  std::string library;
  if (const char* existing = std::getenv("ZEPHYL_BENCH_LIBRARY")) {
    library = existing;
  } else {
    generated = fs::temp_directory_path() / ("zephyl-body-bench-" + std::to_string(::getpid()));
    fs::create_directories(generated);
    library = (generated / "NoteStore.sqlite").string();
    zephyl::notes_store::SampleLibraryOptions options;
    options.noteCount = 100'000;
    options.seed = 42;
    zephyl::notes_store::writeSampleLibrary(library, options);
  }
  Corpus& c = corpus();
  c.blobs = readBodies(library);
  for (const std::string& blob : c.blobs) {
    c.compressedBytes += blob.size();
    if (const auto bytes = zephyl::notes_store::decompressNoteData(blob))
      c.decompressedBytes += bytes->size();
  }
  std::cerr << "Bodies: " << c.blobs.size() << ", " << c.compressedBytes << " bytes stored, "
            << c.decompressedBytes << " bytes decompressed\n";
  if (!generated.empty()) fs::remove_all(generated);

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
