// The host language's string expressions: quoted texts, char(N) calls and
// their bracketed concatenation.
#include <string>

#include "host/literal_reader.hpp"
#include "tessel/interpreter.hpp"

namespace tessel {
namespace {

class StringExpressionParser : detail::LiteralReader {
 public:
  explicit StringExpressionParser(std::u16string_view text) : LiteralReader(text, "position") {}

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
};

}  // namespace

std::u16string EvaluateStringExpression(std::u16string_view expression) {
  return StringExpressionParser(expression).parse();
}

}  // namespace tessel
