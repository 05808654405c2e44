#include <chrono>
#include <filesystem>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "notes_store/fixtures/sample_library.h"

namespace zephyl::cli {

void addSampleLibraryCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "sample-library",
      "Write a synthetic Apple Notes library (deterministic for a seed) for demos and benchmarks");
  struct Options {
    std::string path;
    int notes = 200;
    uint64_t seed = 1;
    int folders = 0;
    bool force = false;
  };
  auto options = std::make_shared<Options>();
  command->add_option("PATH", options->path, "The new NoteStore.sqlite, or a folder to write it into")
      ->required();
  command->add_option("--notes", options->notes, "Number of notes")->check(CLI::Range(0, 10'000'000));
  command->add_option("--seed", options->seed, "Seed of the generator");
  command->add_option("--folders", options->folders, "Number of folders (default: from --notes)")
      ->check(CLI::Range(0, 100'000));
  command->add_flag("--force", options->force, "Replace an existing sample file");
  command->callback([&context, options] {
    namespace fs = std::filesystem;
    std::string path = options->path;
    std::error_code error;
    if (fs::is_directory(path, error) || path.ends_with('/')) {
      path = (fs::path(path) / "NoteStore.sqlite").string();
    }
    if (fs::exists(path, error)) {
      if (!options->force) {
        throw CliFailure("A file already exists at " + path + "; choose another path or pass --force.");
      }
      if (fs::is_directory(path, error)) throw CliFailure(path + " is a folder; it was left alone.");
      fs::remove(path, error);
      // Stale WAL files of an earlier library must not be applied to the new one.
      fs::remove(path + "-wal", error);
      fs::remove(path + "-shm", error);
    }
    auto& streams = context.streams();
    ProgressBar progress(streams.err, streams.errIsTerminal, "Writing notes", options->notes);
    const auto start = std::chrono::steady_clock::now();
    notes_store::SampleLibraryOptions sampleOptions;
    sampleOptions.noteCount = options->notes;
    sampleOptions.folderCount = options->folders;
    sampleOptions.seed = options->seed;
    const auto summary = notes_store::writeSampleLibrary(path, sampleOptions,
                                                         [&progress](int done) { progress.update(done); });
    progress.finish();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    streams.out << "Wrote " << path << " in " << std::fixed << std::setprecision(2) << seconds << " s\n"
                << "  " << summary.notes << " listed notes in " << summary.folders << " folders of "
                << summary.accounts << " accounts\n"
                << "  " << summary.lockedNotes << " locked, " << summary.deletedNotes
                << " marked for deletion, " << summary.trashedNotes << " in the trash\n"
                << "  " << summary.tables << " tables, " << summary.links << " links between notes\n"
                << "Try: zephyl --db " << path << " notes\n";
  });
}

}  // namespace zephyl::cli
