#include "cli/cli_app.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "cli/cli_context.h"
#include "cli/commands.h"
#include "cli/terminal.h"
#include "core/error.h"
#include "core/logger.h"

namespace zephyl::cli {
namespace {

constexpr core::Logger kLog("CLI");

// A message with each word longer than a path or number needs cut short, so that
// an absurd argument is not echoed in full.
std::string shortened(std::string_view message) {
  constexpr size_t kLongestWord = 64;
  std::string out;
  size_t word = 0;
  for (char c : message) {
    word = (c == ' ' || c == '\n') ? 0 : word + 1;
    if (word <= kLongestWord) {
      out += c;
    } else if (word == kLongestWord + 1) {
      out += "…";
    }
  }
  return out;
}

}  // namespace

int runZephyl(const std::vector<std::string>& arguments, CliStreams streams,
              const core::EnvironmentLookup& environment) {
  CLI::App app{"Zephyl: a companion for Apple Notes. Reads a copy of NoteStore.sqlite, never writes it."};
  app.name("zephyl");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "zephyl 0.1.0");
  GlobalOptions options;
  app.add_option("--db", options.db,
                 "The Apple Notes database (NoteStore.sqlite or its folder); "
                 "else $ZEPHYL_NOTES_DB, the setting notesDatabasePath, the default location");
  app.add_option("--config-dir", options.configDir,
                 "Folder of settings.json (default $XDG_CONFIG_HOME/zephyl)");
  app.add_option("--data-dir", options.dataDir, "Zephyl's data folder (default $XDG_DATA_HOME/zephyl)");

  CliContext context(options, streams, environment);
  addFoldersCommand(app, context);
  addNotesCommand(app, context);
  addShowCommand(app, context);
  addExportCommand(app, context);
  addSampleLibraryCommand(app, context);
  addDebugCommand(app, context);
  addModelsCommand(app, context);
  addModelCommand(app, context);
  addAuthCommand(app, context);
  addTriggersCommand(app, context);
  addFormatCommand(app, context);
  addSlashCommand(app, context);
  addTemplatesCommand(app, context);
  addSearchCommand(app, context);
  addBacklinksCommand(app, context);
  addTocCommand(app, context);
  addQuickOpenCommand(app, context);
  addUsageCommand(app, context);
  addAskCommand(app, context);
  addInlineCommand(app, context);
  addSkillsCommand(app, context);
  addChatCommand(app, context);
  addAgentCommand(app, context);

  // CLI11 parses the last argument first; keep the user's order.
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
    return kExitSuccess;
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e, streams.out, streams.err);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e, streams.out, streams.err);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e, streams.out, streams.err);
  } catch (const CLI::RequiredError& e) {
    // CLI11 reports an unknown command as a missing one; name what was given.
    if (app.get_subcommands().empty() && !app.remaining().empty()) {
      streams.err << "zephyl: unknown command \"" << printable(shortened(app.remaining().front()))
                  << "\"; run zephyl --help for the commands\n";
    } else {
      streams.err << "zephyl: " << printableLines(shortened(e.what())) << '\n';
    }
    return kExitUsage;
  } catch (const CLI::ParseError& e) {
    streams.err << "zephyl: " << printableLines(shortened(e.what()))
                << "\nRun with --help for more information.\n";
    return kExitUsage;
  } catch (const CliUsageError& e) {
    streams.err << "zephyl: " << printableLines(e.what()) << '\n';
    return kExitUsage;
  } catch (const CliFailure& e) {
    streams.err << "zephyl: " << printableLines(e.what()) << '\n';
    return kExitFailure;
  } catch (const core::CancellationError&) {
    streams.err << "zephyl: interrupted\n";
    return kExitInterrupted;
  } catch (const core::Error& e) {
    streams.err << "zephyl: " << printableLines(e.description()) << '\n';
    return kExitFailure;
  } catch (const std::exception& e) {
    kLog.error() << "Unexpected failure: " << e.what();
    streams.err << "zephyl: " << printableLines(e.what()) << '\n';
    return kExitFailure;
  }
}

}  // namespace zephyl::cli
