// The subcommands of `zephyl`; each adds itself to the parser and runs from its
// callback, throwing CliFailure, CliUsageError or a component error on failure.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/cli_context.h"

namespace zephyl::cli {

void addFoldersCommand(CLI::App& app, CliContext& context);
void addNotesCommand(CLI::App& app, CliContext& context);
void addSampleLibraryCommand(CLI::App& app, CliContext& context);
void addDebugCommand(CLI::App& app, CliContext& context);
void addShowCommand(CLI::App& app, CliContext& context);
void addExportCommand(CLI::App& app, CliContext& context);
void addDebugDecodeCommands(CLI::App& debug, CliContext& context);
void addDebugSseCommand(CLI::App& debug, CliContext& context);
void addDebugStreamCommand(CLI::App& debug, CliContext& context);
void addDebugACPCommand(CLI::App& debug, CliContext& context);
void addDebugReplayCommand(CLI::App& debug, CliContext& context);
void addDebugComposeTurnCommand(CLI::App& debug, CliContext& context);
void addModelsCommand(CLI::App& app, CliContext& context);
void addAuthCommand(CLI::App& app, CliContext& context);
void addAuthLoginCommand(CLI::App& auth, CliContext& context);
void addModelCommand(CLI::App& app, CliContext& context);
void addTriggersCommand(CLI::App& app, CliContext& context);
void addFormatCommand(CLI::App& app, CliContext& context);
void addSlashCommand(CLI::App& app, CliContext& context);
void addTemplatesCommand(CLI::App& app, CliContext& context);
void addSearchCommand(CLI::App& app, CliContext& context);
void addBacklinksCommand(CLI::App& app, CliContext& context);
void addTocCommand(CLI::App& app, CliContext& context);
void addQuickOpenCommand(CLI::App& app, CliContext& context);
void addUsageCommand(CLI::App& app, CliContext& context);
void addAskCommand(CLI::App& app, CliContext& context);
void addInlineCommand(CLI::App& app, CliContext& context);
void addSkillsCommand(CLI::App& app, CliContext& context);
void addChatCommand(CLI::App& app, CliContext& context);
void addAgentCommand(CLI::App& app, CliContext& context);

}  // namespace zephyl::cli
