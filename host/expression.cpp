// Host-language expressions: literals and calls of registered host functions.
// The whole text is parsed into a tree first, so that a syntax error is
// reported before any function runs.
#include <memory>
#include <string>
#include <vector>

#include "host/literal_reader.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"

namespace tessel {
namespace {

struct Node {
  enum class Kind { Text, Number, Call } kind = Kind::Text;
  std::u16string text;  // Text
  double number = 0;    // Number
  std::string name;     // Call
  std::vector<Node> arguments;
};

class ExpressionParser : detail::LiteralReader {
 public:
  explicit ExpressionParser(std::u16string_view text) : LiteralReader(text, "column") {}

  Node parse() {
    skipBlanks();
    Node root = expression(0);
    skipBlanks();
    if (pos_ != text_.size()) fail("unexpected text after the expression");
    return root;
  }

 private:
  bool atDigit(std::size_t pos) const { return pos < text_.size() && text_[pos] >= u'0' && text_[pos] <= u'9'; }
  static bool isLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

  Node expression(int depth) {
    if (depth > kMaxExpressionDepth) {
      fail("expressions nested deeper than " + std::to_string(kMaxExpressionDepth) + " levels");
    }
    Node node;
    if (at(u'\'')) {
      quoted(node.text);
    } else if (at(u'[')) {
      ++pos_;
      concatenation(node.text);
    } else if (at(u'+') || at(u'-') || at(u'.') || atDigit(pos_)) {
      node.kind = Node::Kind::Number;
      node.number = number();
    } else if (pos_ < text_.size() && isLetter(text_[pos_])) {
      if (atCharCall()) {
        charCall(node.text);
      } else {
        node.kind = Node::Kind::Call;
        call(node, depth);
      }
    } else {
      fail("expected a text, a number or a function name");
    }
    return node;
  }

  double number() {
    const std::size_t start = pos_;
    std::string ascii;
    auto take = [&] { ascii.push_back(static_cast<char>(text_[pos_++])); };
    if (at(u'+') || at(u'-')) take();
    bool digits = false;
    while (atDigit(pos_)) take(), digits = true;
    if (at(u'.')) {
      take();
      while (atDigit(pos_)) take(), digits = true;
    }
    if (!digits) failAt(start, "expected a number");
    if (at(u'e') || at(u'E')) {
      const std::size_t exponent = pos_;
      take();
      if (at(u'+') || at(u'-')) take();
      if (!atDigit(pos_)) failAt(exponent, "the exponent has no digits");
      while (atDigit(pos_)) take();
    }
    if (pos_ < text_.size() && (isLetter(text_[pos_]) || text_[pos_] == u'_')) fail("a number must not run into a name");
    return StrtodLocaleIndependent(ascii.c_str(), nullptr);
  }

  void call(Node& node, int depth) {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && (isLetter(text_[pos_]) || atDigit(pos_) || at(u'_') || at(u'.'))) ++pos_;
    node.name.assign(text_.begin() + static_cast<std::ptrdiff_t>(start), text_.begin() + static_cast<std::ptrdiff_t>(pos_));
    if (node.name.back() == '.') failAt(pos_ - 1, "a function name cannot end with '.'");
    const std::size_t afterName = pos_;
    skipBlanks();
    if (!at(u'(')) {
      pos_ = afterName;  // a bare name: a call without arguments
      return;
    }
    ++pos_;
    skipBlanks();
    if (at(u')')) {
      ++pos_;
      return;
    }
    for (;;) {
      node.arguments.push_back(expression(depth + 1));
      skipBlanks();
      if (at(u')')) {
        ++pos_;
        return;
      }
      if (!at(u',')) fail("expected ',' or ')'");
      ++pos_;
      skipBlanks();
    }
  }
};

struct DestroyArray {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<txArray, DestroyArray>;

ArrayPtr evaluate(const Node& node, int nargout) {
  switch (node.kind) {
    case Node::Kind::Text: return ArrayPtr(txCreateString(node.text));
    case Node::Kind::Number: return ArrayPtr(txCreateDoubleScalar(node.number));
    case Node::Kind::Call: break;
  }
  std::vector<ArrayPtr> owned;
  owned.reserve(node.arguments.size());
  std::vector<txArray*> inputs;
  inputs.reserve(node.arguments.size());
  for (const Node& argument : node.arguments) {
    owned.push_back(evaluate(argument, 1));
    inputs.push_back(owned.back().get());
  }
  txArray* output = nullptr;
  feval(node.name, nargout, &output, static_cast<int>(inputs.size()), inputs.data());
  return ArrayPtr(output);
}

}  // namespace

txArray* EvaluateExpression(std::u16string_view expression, int nargout) {
  if (nargout != 0 && nargout != 1) {
    throw HostError("Tessel:BadArguments", "an expression gives 0 or 1 outputs, not " + std::to_string(nargout));
  }
  const Node root = ExpressionParser(expression).parse();
  ArrayPtr value = evaluate(root, nargout);
  if (nargout == 0) return nullptr;
  return value.release();
}

}  // namespace tessel
