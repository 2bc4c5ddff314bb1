#include "vlvalidate/VLTerminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace {

bool isTerminal(int fd) {
  const char* term = std::getenv("TERM");
  return ::isatty(fd) && !(term && std::string(term) == "dumb");
}

size_t terminalWidth(int fd) {
  winsize size{};
  if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  if (const char* columns = std::getenv("COLUMNS")) {
    long value = std::strtol(columns, nullptr, 10);
    if (value > 0 && value < 10000) return static_cast<size_t>(value);
  }
  return 80;
}

// Returns the length of the UTF-8 sequence starting at `text[at]`, or 0 when it is not one.
size_t utf8Length(const std::string& text, size_t at) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = byte(at);
  size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

VLTerminal::VLTerminal(std::ostream& out, std::ostream& err, bool color, bool statusLine, size_t width)
    : out_(out), err_(err), color_(color), statusLine_(statusLine), width_(width < 20 ? 20 : width) {}

std::shared_ptr<VLTerminal> VLTerminal::forProcess(VLColorChoice color, bool progress, bool reportOnStandardError) {
  const int fd = reportOnStandardError ? STDERR_FILENO : STDOUT_FILENO;
  const bool terminal = isTerminal(fd);
  const bool noColorAsked = std::getenv("NO_COLOR") && *std::getenv("NO_COLOR");
  const bool useColor = color == VLColorChoice::Always || (color == VLColorChoice::Auto && terminal && !noColorAsked);
  std::ostream& out = reportOnStandardError ? std::cerr : std::cout;
  return std::make_shared<VLTerminal>(out, std::cerr, useColor, progress && terminal, terminalWidth(fd));
}

void VLTerminal::print(const std::string& text) {
  std::lock_guard lock(mutex_);
  eraseStatusLocked();
  out_ << text << std::flush;
  drawStatusLocked();
}

void VLTerminal::log(const std::string& line) {
  std::lock_guard lock(mutex_);
  eraseStatusLocked();
  err_ << printable(line) << "\n" << std::flush;
  drawStatusLocked();
}

void VLTerminal::setStatus(const std::string& text) {
  if (!statusLine_) return;
  std::lock_guard lock(mutex_);
  status_ = text.size() >= width_ ? text.substr(0, width_ - 2) + "…" : text;
  eraseStatusLocked();
  drawStatusLocked();
}

void VLTerminal::eraseStatusLocked() {
  if (!statusShown_) return;
  out_ << "\r\x1b[K";
  statusShown_ = false;
}

void VLTerminal::drawStatusLocked() {
  if (!statusLine_ || status_.empty()) {
    out_ << std::flush;
    return;
  }
  out_ << status_ << std::flush;
  statusShown_ = true;
}

std::string VLTerminal::paint(const std::string& text, const std::string& code) const {
  return color_ ? "\x1b[" + code + "m" + text + "\x1b[0m" : text;
}

std::string VLTerminal::printable(const std::string& text) {
  static const char* hex = "0123456789abcdef";
  std::string safe;
  safe.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    unsigned char c = static_cast<unsigned char>(text[at]);
    size_t length = utf8Length(text, at);
    // C1 controls (U+0080 to U+009F) act like escape sequences on some terminals.
    const bool c1 = length == 2 && c == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0;
    if (c == '\n' || c == '\t' || (length == 1 && c >= 0x20 && c != 0x7F) || (length > 1 && !c1)) {
      size_t take = length ? length : 1;
      safe.append(text, at, take);
      at += take;
    } else {
      safe += "\\x";
      safe += hex[c >> 4];
      safe += hex[c & 0xF];
      ++at;
    }
  }
  return safe;
}
