// `zephyl debug replay`: a recorded session, one JSON event a line, run through
// the real application controller wired to a recording desktop. Each status
// line and each platform action comes out as one JSON line, in order.
#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "core/json_value.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::cli {

// A line of the recording that cannot be replayed; the text names the problem.
class ReplayInputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SessionReplay {
 public:
  struct Options {
    bool showPanels = false;  // print the panels' changes too ({"panel": …})
  };

  // Templates come from `database` when there is one (may be null). Settings
  // start at their defaults and change only through "setting" events.
  SessionReplay(notes_store::NotesDatabaseAccess* database, Options options);
  ~SessionReplay();

  // Applies one event and writes what it caused to `out`. Throws ReplayInputError.
  void apply(const core::JSONValue& event, std::ostream& out);

  // Replays every line of `in` (blank lines and lines starting with "#" are
  // skipped). Throws ReplayInputError naming the line; what came before it has
  // been written. Returns the number of events replayed.
  size_t replay(std::istream& in, std::ostream& out);

 private:
  struct Wiring;
  // Writes what was recorded since the last call (the start-up's lines first).
  void writeNewEntries(std::ostream& out);

  std::unique_ptr<Wiring> wiring_;
  Options options_;
  size_t written_ = 0;
};

}  // namespace zephyl::cli
