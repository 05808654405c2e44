// Small terminal helpers for human output: width, colour, progress.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "core/app_directories.h"

namespace zephyl::cli {

// Columns of the terminal on standard output, or 0 when it is not a terminal.
int terminalColumns();

// True unless NO_COLOR is set (to anything) or the stream is no terminal.
bool useColor(const core::EnvironmentLookup& environment, bool isTerminal);

// Display width of UTF-8 text, counting each code point as one column
// (East Asian wide characters and emoji as two).
size_t displayWidth(std::string_view text);

// `text` made safe to print on a terminal: control characters (C0, DEL, C1),
// which could move the cursor, clear the screen or retitle the window, become
// visible stand-ins (U+2400… control pictures, U+FFFD for C1). Every title,
// folder name or snippet in human output goes through this.
std::string printable(std::string_view text);

// printable(text) with its line feeds kept, for messages of several lines.
std::string printableLines(std::string_view text);

// printable(text) cut to at most `width` columns, ending in "…" when cut.
std::string truncateToWidth(std::string_view text, size_t width);

// printable(text) padded with blanks to `width` columns.
std::string padToWidth(std::string_view text, size_t width);

// While alive, Ctrl-C sets a flag instead of ending the process, so that long
// work can stop at a safe point and leave its files consistent.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  static bool interrupted();
};

// A one-line progress bar on a terminal stream; silent when `enabled` is false.
class ProgressBar {
 public:
  ProgressBar(std::ostream& stream, bool enabled, std::string label, long total);
  ~ProgressBar();
  void update(long done);
  void finish();

 private:
  std::ostream& stream_;
  bool enabled_;
  std::string label_;
  long total_;
  int lastPercent_ = -1;
  bool finished_ = false;
};

}  // namespace zephyl::cli
