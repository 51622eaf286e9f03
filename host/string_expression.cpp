// The host language's string expressions: quoted texts, char(N) calls and
// their bracketed concatenation.
#include <string>

#include "tessel/interpreter.hpp"

namespace tessel {
namespace {

class StringExpressionParser {
 public:
  explicit StringExpressionParser(std::u16string_view text) : text_(text) {}

  std::u16string parse() {
    std::u16string out;
    skipBlanks();
    if (at(u'\'')) {
      quoted(out);
    } else if (at(u'[')) {
      ++pos_;
      concatenation(out);
    } else {
      fail("expected a quoted text or '['");
    }
    skipBlanks();
    if (pos_ != text_.size()) fail("unexpected text after the expression");
    return out;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const { failAt(pos_, what); }
  [[noreturn]] void failAt(std::size_t pos, const std::string& what) const {
    throw HostError("Tessel:ParseError", "Parse error at position " + std::to_string(pos + 1) + ": " + what + ".");
  }

  bool at(char16_t c) const { return pos_ < text_.size() && text_[pos_] == c; }
  void skipBlanks() {
    while (at(u' ') || at(u'\t')) ++pos_;
  }

  // Elements separated by blanks and/or one comma, up to the closing bracket.
  void concatenation(std::u16string& out) {
    skipBlanks();
    if (at(u']')) {
      ++pos_;
      return;
    }
    for (;;) {
      element(out);
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

  void element(std::u16string& out) {
    if (at(u'\'')) {
      quoted(out);
    } else if (text_.substr(pos_, 5) == u"char(") {
      charCall(out);
    } else {
      fail("expected a quoted text or char(N)");
    }
  }

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
};

}  // namespace

std::u16string EvaluateStringExpression(std::u16string_view expression) {
  return StringExpressionParser(expression).parse();
}

}  // namespace tessel
