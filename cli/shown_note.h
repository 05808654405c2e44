// One note printed as `zephyl show` prints it; quick-open prints its choice the
// same way.
#pragma once

#include <string>

#include "cli/cli_context.h"

namespace zephyl::cli {

// Prints the note that `reference` names (URI, key or UUID): its Markdown, or
// with `asJson` {id, title, text, markdown, lineStyles, links,
// attachmentIdentifiers}. Throws CliUsageError when nothing matches and
// CliFailure for a locked note or one too large to read.
void printShownNote(CliContext& context, const std::string& reference, bool asJson);

}  // namespace zephyl::cli
