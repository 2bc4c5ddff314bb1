#include "Validations/Implementation/VLRichTextReader.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

namespace {

// Destinations whose contents are not body text. Never destroyed, like every table read by
// threads that may outlive main().
const std::set<std::string>& kSkippedDestinations = *new const std::set<std::string>{
    "fonttbl",      "colortbl",          "stylesheet",       "info",      "pict",       "header",
    "footer",       "headerl",           "headerr",          "footerl",   "footerr",    "footnote",
    "listtable",    "listoverridetable", "expandedcolortbl", "generator", "themedata",  "datastore",
    "latentstyles", "rsidtbl",           "xmlnstbl",         "object",    "nonshppict", "field"};

void appendUTF8(std::string& out, uint32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// Windows-1252 for the bytes 0x80–0x9F; the rest of the upper half is Latin-1.
uint32_t fromWindows1252(unsigned byte) {
  static const uint16_t high[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                    0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  return (byte >= 0x80 && byte < 0xA0) ? high[byte - 0x80] : byte;
}

struct GroupState {
  bool skipped = false;  // inside a destination that is not body text
  int unicodeSkip = 1;   // characters that stand in for each \uN (\ucN)
};

class Parser {
 public:
  explicit Parser(const std::string& text) : text_(text) {}

  std::string run() {
    std::vector<GroupState> stack{GroupState{}};
    while (position_ < text_.size()) {
      char c = text_[position_];
      if (c == '{') {
        stack.push_back(stack.back());
        ++position_;
        groupStart_ = true;
        continue;
      }
      if (c == '}') {
        if (stack.size() > 1) stack.pop_back();
        ++position_;
        groupStart_ = false;
        continue;
      }
      bool atGroupStart = groupStart_;
      groupStart_ = false;
      if (c == '\\') {
        controlSequence(stack.back(), atGroupStart);
        continue;
      }
      ++position_;
      if (c == '\r' || c == '\n') continue;
      if (!stack.back().skipped) out_ += c;
    }
    while (!out_.empty() && out_.back() == '\n') out_.pop_back();
    return out_;
  }

 private:
  void emit(GroupState& state, const std::string& text) {
    if (!state.skipped) out_ += text;
  }
  void emit(GroupState& state, uint32_t code) {
    if (!state.skipped) appendUTF8(out_, code);
  }

  // Skips the characters that follow \uN in place of the Unicode character.
  void skipFallback(int count) {
    while (count > 0 && position_ < text_.size()) {
      if (text_[position_] == '\\' && position_ + 1 < text_.size() && text_[position_ + 1] == '\'') {
        position_ += std::min<size_t>(4, text_.size() - position_);
      } else if (text_[position_] == '{' || text_[position_] == '}') {
        return;
      } else {
        ++position_;
      }
      --count;
    }
  }

  void controlSequence(GroupState& state, bool atGroupStart) {
    ++position_;  // the backslash
    if (position_ >= text_.size()) return;
    char symbol = text_[position_];
    if (!std::isalpha(static_cast<unsigned char>(symbol))) {
      ++position_;
      switch (symbol) {
        case '\\':
        case '{':
        case '}': emit(state, std::string(1, symbol)); break;
        case '~': emit(state, 0xA0u); break;
        case '_': emit(state, 0x2011u); break;
        case '\n':
        case '\r': emit(state, "\n"); break;
        case '*':
          if (atGroupStart) state.skipped = true;
          break;
        case '\'': {
          std::string hex = text_.substr(position_, 2);
          position_ += hex.size();
          emit(state, fromWindows1252(static_cast<unsigned>(std::strtoul(hex.c_str(), nullptr, 16))));
          break;
        }
        default: break;  // \- and other control symbols print nothing
      }
      return;
    }
    size_t start = position_;
    while (position_ < text_.size() && std::isalpha(static_cast<unsigned char>(text_[position_]))) ++position_;
    std::string word = text_.substr(start, position_ - start);
    bool hasParameter = false;
    long parameter = 0;
    size_t numberStart = position_;
    if (position_ < text_.size() &&
        (text_[position_] == '-' || std::isdigit(static_cast<unsigned char>(text_[position_])))) {
      ++position_;
      while (position_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[position_]))) ++position_;
      parameter = std::strtol(text_.substr(numberStart, position_ - numberStart).c_str(), nullptr, 10);
      hasParameter = true;
    }
    if (position_ < text_.size() && text_[position_] == ' ') ++position_;  // the delimiter belongs to the word

    if (kSkippedDestinations.count(word)) {
      state.skipped = true;
    } else if (word == "par" || word == "line" || word == "sect" || word == "page") {
      emit(state, "\n");
    } else if (word == "tab") {
      emit(state, "\t");
    } else if (word == "uc" && hasParameter) {
      state.unicodeSkip = static_cast<int>(parameter);
    } else if (word == "u" && hasParameter) {
      emit(state, static_cast<uint32_t>(parameter < 0 ? parameter + 65536 : parameter));
      skipFallback(state.unicodeSkip);
    } else if (word == "emdash") {
      emit(state, 0x2014u);
    } else if (word == "endash") {
      emit(state, 0x2013u);
    } else if (word == "bullet") {
      emit(state, 0x2022u);
    } else if (word == "lquote") {
      emit(state, 0x2018u);
    } else if (word == "rquote") {
      emit(state, 0x2019u);
    } else if (word == "ldblquote") {
      emit(state, 0x201Cu);
    } else if (word == "rdblquote") {
      emit(state, 0x201Du);
    }
  }

  const std::string& text_;
  size_t position_ = 0;
  bool groupStart_ = false;
  std::string out_;
};

}  // namespace

std::optional<std::string> VLRichTextReader::plainText(const std::string& document) {
  size_t start = 0;
  while (start < document.size() && std::isspace(static_cast<unsigned char>(document[start]))) ++start;
  if (document.compare(start, 5, "{\\rtf") != 0) return std::nullopt;
  return Parser(document.substr(start)).run();
}
