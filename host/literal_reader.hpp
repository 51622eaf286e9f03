// Reading the literals of the host language that both expression readers
// share: quoted texts, char(N) calls and their bracketed concatenation.
#pragma once

#include <string>
#include <string_view>

#include "tessel/interpreter.hpp"

namespace tessel::detail {

class LiteralReader {
 protected:
  // where names the unit of the 1-based place in error texts ("position",
  // "column"), so that each reader keeps its own wording.
  LiteralReader(std::u16string_view text, const char* where) : text_(text), where_(where) {}

  [[noreturn]] void fail(const std::string& what) const { failAt(pos_, what); }
  [[noreturn]] void failAt(std::size_t pos, const std::string& what) const {
    throw HostError("Tessel:ParseError",
                    "Parse error at " + std::string(where_) + " " + std::to_string(pos + 1) + ": " + what + ".");
  }

  bool at(char16_t c) const { return pos_ < text_.size() && text_[pos_] == c; }
  bool atCharCall() const { return text_.substr(pos_, 5) == u"char("; }
  void skipBlanks() {
    while (at(u' ') || at(u'\t')) ++pos_;
  }

  // After the opening bracket: elements separated by blanks and/or one
  // comma, up to the closing bracket.
  void concatenation(std::u16string& out) {
    skipBlanks();
    if (at(u']')) {
      ++pos_;
      return;
    }
    for (;;) {
      if (at(u'\'')) {
        quoted(out);
      } else if (atCharCall()) {
        charCall(out);
      } else {
        fail("expected a quoted text or char(N)");
      }
      const std::size_t afterElement = pos_;
      skipBlanks();
      const bool comma = at(u',');
      if (comma) {
        ++pos_;
        skipBlanks();
      }
      if (!comma && at(u']')) {
        ++pos_;
        return;
      }
      if (!comma && pos_ == afterElement) fail("expected a blank, a comma or ']'");
    }
  }

  // A quoted text ('' stands for one quote); it cannot span a line.
  void quoted(std::u16string& out) {
    const std::size_t open = pos_++;
    for (;;) {
      if (pos_ == text_.size() || at(u'\n') || at(u'\r')) failAt(open, "the quoted text is not terminated");
      if (at(u'\'')) {
        ++pos_;
        if (!at(u'\'')) return;
      }
      out.push_back(text_[pos_++]);
    }
  }

  // char(N), N a decimal code from 0 to 65535.
  void charCall(std::u16string& out) {
    pos_ += 5;
    skipBlanks();
    const std::size_t start = pos_;
    unsigned code = 0;
    while (pos_ < text_.size() && text_[pos_] >= u'0' && text_[pos_] <= u'9') {
      code = code * 10 + static_cast<unsigned>(text_[pos_] - u'0');
      if (code > 0xFFFF) failAt(start, "character code out of range 0 to 65535");
      ++pos_;
    }
    if (pos_ == start) fail("expected a decimal character code");
    skipBlanks();
    if (!at(u')')) fail("expected ')'");
    ++pos_;
    out.push_back(static_cast<char16_t>(code));
  }

  std::u16string_view text_;
  std::size_t pos_ = 0;

 private:
  const char* where_;
};

}  // namespace tessel::detail
