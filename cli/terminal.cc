#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "core/utf8.h"

namespace zephyl::cli {
namespace {

bool isWide(char32_t c) {
  return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) || (c >= 0xAC00 && c <= 0xD7A3) ||
         (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
         (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1FAFF) || (c >= 0x20000 && c <= 0x3FFFD);
}

bool isZeroWidth(char32_t c) {
  return (c >= 0x0300 && c <= 0x036F) || c == 0x200D || (c >= 0xFE00 && c <= 0xFE0F);
}

volatile std::sig_atomic_t gInterrupted = 0;
struct sigaction gPreviousAction {};

void onInterrupt(int) { gInterrupted = 1; }

}  // namespace

InterruptGuard::InterruptGuard() {
  gInterrupted = 0;
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &gPreviousAction);
}

InterruptGuard::~InterruptGuard() { sigaction(SIGINT, &gPreviousAction, nullptr); }

bool InterruptGuard::interrupted() { return gInterrupted != 0; }

int terminalColumns() {
  if (isatty(STDOUT_FILENO) != 1) return 0;
  struct winsize size {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

bool useColor(const core::EnvironmentLookup& environment, bool isTerminal) {
  return isTerminal && !environment("NO_COLOR").has_value();
}

namespace {
size_t codePointWidth(char32_t c) { return isZeroWidth(c) ? 0 : isWide(c) ? 2 : 1; }

std::u32string printableCodePoints(std::string_view text) {
  std::u32string codePoints = core::decodeUtf8(text);
  for (char32_t& c : codePoints) {
    if (c < 0x20) {
      c = 0x2400 + c;  // ␀ … ␟
    } else if (c == 0x7F) {
      c = 0x2421;  // ␡
    } else if (c >= 0x80 && c <= 0x9F) {
      c = 0xFFFD;  // C1 controls (0x9B starts a sequence on some terminals)
    }
  }
  return codePoints;
}
}  // namespace

std::string printable(std::string_view text) { return core::encodeUtf8(printableCodePoints(text)); }

std::string printableLines(std::string_view text) {
  std::string out;
  for (size_t start = 0;;) {
    const size_t end = text.find('\n', start);
    out += printable(text.substr(start, end - start));
    if (end == std::string_view::npos) return out;
    out += '\n';
    start = end + 1;
  }
}

size_t displayWidth(std::string_view text) {
  size_t width = 0;
  for (char32_t c : core::decodeUtf8(text)) width += codePointWidth(c);
  return width;
}

std::string truncateToWidth(std::string_view text, size_t width) {
  const std::u32string codePoints = printableCodePoints(text);
  size_t total = 0;
  for (char32_t c : codePoints) total += codePointWidth(c);
  if (total <= width) return core::encodeUtf8(codePoints);
  if (width == 0) return {};
  std::u32string kept;
  size_t used = 0;
  for (char32_t c : codePoints) {
    if (used + codePointWidth(c) > width - 1) break;
    kept.push_back(c);
    used += codePointWidth(c);
  }
  return core::encodeUtf8(kept) + "…";
}

std::string padToWidth(std::string_view text, size_t width) {
  std::string result = printable(text);
  const size_t current = displayWidth(text);
  if (current < width) result.append(width - current, ' ');
  return result;
}

ProgressBar::ProgressBar(std::ostream& stream, bool enabled, std::string label, long total)
    : stream_(stream), enabled_(enabled && total > 0), label_(std::move(label)), total_(total) {}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::update(long done) {
  if (!enabled_ || finished_) return;
  const int percent = static_cast<int>(done * 100 / total_);
  if (percent == lastPercent_) return;
  lastPercent_ = percent;
  constexpr int kWidth = 30;
  const int filled = percent * kWidth / 100;
  stream_ << '\r' << label_ << " [" << std::string(filled, '#') << std::string(kWidth - filled, ' ') << "] "
          << percent << "% (" << done << '/' << total_ << ')' << std::flush;
}

void ProgressBar::finish() {
  if (!enabled_ || finished_) return;
  finished_ = true;
  // Clear the line so the summary that follows starts clean.
  stream_ << "\r\033[K" << std::flush;
}

}  // namespace zephyl::cli
