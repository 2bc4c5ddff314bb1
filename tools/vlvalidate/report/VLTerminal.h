// VLTerminal: the console's two streams: report lines (with an optional live status line
// kept below them) and log lines. Knows whether to colour and how wide the terminal is.
//
// Thread-safe: every write takes the terminal's mutex, so a log line from a service thread
// never cuts into a report line or the status line.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

enum class VLColorChoice { Auto, Always, Never };

class VLTerminal {
 public:
  // Makes a terminal writing report lines to `out` and log lines to `err`. The status line
  // is drawn only when `statusLine` is set; `width` bounds it.
  VLTerminal(std::ostream& out, std::ostream& err, bool color, bool statusLine, size_t width);
  // Makes the terminal of this process: report lines on standard output (standard error
  // when `reportOnStandardError`, because a document goes to standard output), colour
  // and status line decided from `colour`, `progress`, whether the stream is a terminal,
  // TERM and NO_COLOR.
  static std::shared_ptr<VLTerminal> forProcess(VLColorChoice color, bool progress, bool reportOnStandardError);

  bool color() const { return color_; }
  bool hasStatusLine() const { return statusLine_; }
  size_t width() const { return width_; }

  // Writes `text` (whole lines) to the report stream, keeping the status line below it.
  void print(const std::string& text);
  // Writes one log line to the log stream.
  void log(const std::string& line);
  // Replaces the status line (cut to the width); "" removes it.
  void setStatus(const std::string& text);

  // Returns `text` wrapped in the SGR colour `code` ("31", "1;32") when colouring, else as is.
  std::string paint(const std::string& text, const std::string& code) const;
  // Returns `text` safe to print: control characters other than tab and line feed (and
  // bytes that are not UTF-8) become visible escapes, so a provider's names cannot move the
  // cursor or change colours.
  static std::string printable(const std::string& text);

  VLTerminal(const VLTerminal&) = delete;
  VLTerminal& operator=(const VLTerminal&) = delete;

 private:
  void eraseStatusLocked();
  void drawStatusLocked();

  std::ostream& out_;
  std::ostream& err_;
  const bool color_;
  const bool statusLine_;
  const size_t width_;
  std::mutex mutex_;
  std::string status_;        // guarded by mutex_
  bool statusShown_ = false;  // guarded by mutex_
};
