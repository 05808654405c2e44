#include "cli/commands.h"
#include "cli/terminal.h"
#include "notes_store/library_exporter.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::cli {

void addExportCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "export", "Export the whole library as Markdown: one folder per Notes folder, one file per note");
  struct Options {
    std::string directory;
    bool force = false;
  };
  auto options = std::make_shared<Options>();
  command->add_option("DIR", options->directory, "The export folder (created when missing)")->required();
  command->add_flag("--force", options->force,
                    "Rewrite every note, and export into a non-empty folder that holds no earlier export");
  command->callback([&context, options] {
    auto& streams = context.streams();
    InterruptGuard interrupt;
    std::optional<ProgressBar> progress;
    notes_store::LibraryExportOptions exportOptions;
    exportOptions.directory = options->directory;
    exportOptions.force = options->force;
    exportOptions.database = &context.notesDatabase();
    exportOptions.progress = [&](size_t done, size_t total) {
      // Ctrl-C stops between notes; the manifest then records what was written.
      if (InterruptGuard::interrupted()) throw core::CancellationError();
      if (!progress)
        progress.emplace(streams.err, streams.errIsTerminal, "Exporting", static_cast<long>(total));
      progress->update(static_cast<long>(done));
    };
    const auto summary = context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
      return notes_store::exportLibrary(connection, context.fileSystem(), exportOptions);
    });
    if (progress) progress->finish();
    auto& out = streams.out;
    out << "Exported " << summary.notes - summary.lockedSkipped << " of " << summary.notes << " notes in "
        << summary.folders << " folders to " << printable(options->directory) << "\n";
    out << "  " << summary.written << " written, " << summary.unchanged << " unchanged since the last export";
    if (summary.renamed > 0) out << ", " << summary.renamed << " renamed";
    out << "\n";
    if (summary.lockedSkipped > 0) {
      out << "  " << summary.lockedSkipped << " skipped: locked with a password\n";
    }
    // The first ten of a list of skipped notes, one a line.
    auto listSkipped = [&](size_t count, const auto& line) {
      constexpr size_t kListed = 10;
      for (size_t i = 0; i < count && i < kListed; ++i) out << "    " << line(i) << "\n";
      if (count > kListed) out << "    and " << count - kListed << " more\n";
    };
    if (!summary.overLimitSkipped.empty()) {
      out << "  " << summary.overLimitSkipped.size() << " skipped: " << notes_store::kNoteBodyOverLimitText
          << "\n";
      listSkipped(summary.overLimitSkipped.size(),
                  [&](size_t i) { return printable(summary.overLimitSkipped[i]); });
    }
    if (!summary.skipped.empty()) {
      out << "  " << summary.skipped.size() << " skipped: could not be written\n";
      listSkipped(summary.skipped.size(), [&](size_t i) {
        return printable(summary.skipped[i].path) + ": " + summary.skipped[i].reason;
      });
    }
    if (summary.withoutBody > 0) {
      out << "  " << summary.withoutBody << " without a readable body: written from title and preview\n";
    }
    if (summary.tablesUnreadable > 0) {
      out << "  " << summary.tablesUnreadable << " tables could not be read and are shown as placeholders\n";
    }
    if (!summary.staleFiles.empty()) {
      out << "  " << summary.staleFiles.size()
          << " files of notes no longer in the library were left in place, for example "
          << printable(summary.staleFiles.front()) << "\n";
    }
  });
}

}  // namespace zephyl::cli
