// The interactive Quick Open: the terminal in raw mode, the query typed on the
// first line and the results updating below it as one types. The panel is drawn
// on standard error (the alternate screen), so that the chosen note's Markdown,
// or the chosen folder's path, is all that goes to standard output.
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/quick_open_session.h"
#include "cli/shown_note.h"
#include "cli/terminal.h"
#include "core/error.h"
#include "core/utf8.h"

namespace zephyl::cli {
namespace {

// Raw mode for the life of the object; the saved settings come back on every path.
class RawTerminal {
 public:
  RawTerminal() {
    if (::tcgetattr(STDIN_FILENO, &saved_) != 0) throw CliFailure("Could not read the terminal's settings.");
    termios raw = saved_;
    raw.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON);
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (::tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) != 0)
      throw CliFailure("Could not switch the terminal to raw mode.");
  }
  ~RawTerminal() { ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_); }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;

 private:
  termios saved_{};
};

enum class Key { kText, kUp, kDown, kEnter, kBackspace, kClear, kEscape, kInterrupt, kOther };

struct KeyPress {
  Key key = Key::kOther;
  std::string text;
};

// One key press; escape sequences arrive in one burst, a lone Esc does not.
KeyPress readKey() {
  char bytes[32];
  const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return {Key::kEscape, {}};
  const std::string_view input(bytes, static_cast<size_t>(count));
  if (input == "\x1b") {
    pollfd more{STDIN_FILENO, POLLIN, 0};
    if (::poll(&more, 1, 30) <= 0) return {Key::kEscape, {}};
    char rest[16];
    const ssize_t extra = ::read(STDIN_FILENO, rest, sizeof rest);
    const std::string sequence = "\x1b" + std::string(rest, extra > 0 ? static_cast<size_t>(extra) : 0);
    if (sequence == "\x1b[A" || sequence == "\x1bOA") return {Key::kUp, {}};
    if (sequence == "\x1b[B" || sequence == "\x1bOB") return {Key::kDown, {}};
    return {Key::kOther, {}};
  }
  if (input == "\x1b[A" || input == "\x1bOA") return {Key::kUp, {}};
  if (input == "\x1b[B" || input == "\x1bOB") return {Key::kDown, {}};
  if (input[0] == '\x1b') return {Key::kOther, {}};
  if (input == "\r" || input == "\n") return {Key::kEnter, {}};
  if (input == "\x7f" || input == "\b") return {Key::kBackspace, {}};
  if (input == "\x15") return {Key::kClear, {}};
  if (input == "\x03") return {Key::kInterrupt, {}};
  if (input == "\x10") return {Key::kUp, {}};    // Ctrl-P
  if (input == "\x0e") return {Key::kDown, {}};  // Ctrl-N
  std::string text;
  for (const char c : input) {
    if (static_cast<unsigned char>(c) >= 0x20) text += c;
  }
  if (text.empty()) return {Key::kOther, {}};
  return {Key::kText, core::replaceInvalidUtf8(text)};
}

std::pair<int, int> terminalSize() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return {24, 80};
  return {size.ws_row, size.ws_col};
}

void removeLastCharacter(std::string& text) {
  std::u32string decoded = core::decodeUtf8(text);
  if (!decoded.empty()) decoded.pop_back();
  text = core::encodeUtf8(decoded);
}

void draw(std::ostream& err, const std::string& query,
          const std::vector<navigation::QuickOpenSearchResult>& results, size_t selected) {
  const auto [rows, columns] = terminalSize();
  const size_t width = static_cast<size_t>(std::max(columns, 10));
  std::string frame = "\x1b[H\x1b[2J";
  frame += truncateToWidth("> " + query, width) + "\r\n";
  const size_t listRows = static_cast<size_t>(std::max(rows - 4, 1));
  const size_t first = selected >= listRows ? selected - listRows + 1 : 0;
  for (size_t i = first; i < results.size() && i < first + listRows; ++i) {
    const auto& result = results[i];
    const std::string label = result.note() != nullptr
                                  ? quickOpenResultTitle(result) + "  · " + quickOpenResultFolderPath(result)
                                  : "[folder] " + quickOpenResultFolderPath(result);
    const std::string line = truncateToWidth(label, width - 2);
    frame += i == selected ? "\x1b[7m> " + line + "\x1b[0m\r\n" : "  " + line + "\r\n";
  }
  if (results.empty()) frame += "  No results\r\n";
  if (selected < results.size() && results[selected].note() != nullptr) {
    frame += "\r\n\x1b[2m" + truncateToWidth(results[selected].snippet, width) + "\x1b[0m";
  }
  // Leave the cursor after the query.
  frame += "\x1b[1;" + std::to_string(std::min(displayWidth(query) + 3, width)) + "H";
  err << frame << std::flush;
}

}  // namespace

void addQuickOpenCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "quick-open",
      "Find a note or folder interactively: type to filter, arrows to move, Enter to print, Esc to quit");
  command->callback([&context] {
    if (context.streams().in != &std::cin || ::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1) {
      throw CliFailure(
          "quick-open is interactive and needs a terminal on standard input and standard error; "
          "use `zephyl search QUERY` in scripts.");
    }
    const auto service = openQuickOpen(context);
    std::string query;
    size_t selected = 0;
    std::optional<navigation::QuickOpenSearchResult> chosen;
    bool interrupted = false;
    {
      RawTerminal raw;
      auto& err = context.streams().err;
      err << "\x1b[?1049h";
      auto results = service->search(query, 200);
      for (bool done = false; !done;) {
        draw(err, query, results, selected);
        const KeyPress press = readKey();
        switch (press.key) {
          case Key::kText:
            query += press.text;
            break;
          case Key::kBackspace:
            removeLastCharacter(query);
            break;
          case Key::kClear:
            query.clear();
            break;
          case Key::kUp:
            if (selected > 0) --selected;
            continue;
          case Key::kDown:
            if (selected + 1 < results.size()) ++selected;
            continue;
          case Key::kEnter:
            if (selected < results.size()) chosen = results[selected];
            done = true;
            continue;
          case Key::kEscape:
            done = true;
            continue;
          case Key::kInterrupt:
            interrupted = true;
            done = true;
            continue;
          case Key::kOther:
            continue;
        }
        results = service->search(query, 200);
        selected = 0;
      }
      err << "\x1b[?1049l" << std::flush;
    }
    if (interrupted) throw core::CancellationError();
    if (!chosen) return;
    if (chosen->note() == nullptr) {
      context.streams().out << printable(quickOpenResultFolderPath(*chosen)) << '\n';
      return;
    }
    // The chosen note is shown exactly as `zephyl show` shows it.
    printShownNote(context, chosen->note()->noteURLIdentifier, false);
  });
}

}  // namespace zephyl::cli
