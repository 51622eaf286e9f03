// Dimension and unit expressions of deferrable properties.
#include "qv_services/tcos/deferred_expression.hpp"

#include <array>
#include <cmath>
#include <memory>

#include "qv_services/conversions.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_values.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"

namespace qvsv::tcos::detail {
namespace {

struct ArrayDeleter {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<txArray, ArrayDeleter>;

bool IsLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }
bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool IsNameChar(char16_t c) { return IsLetter(c) || IsDigit(c) || c == u'_' || c == u'.'; }

// Powers, written or combined, stay within this magnitude; nesting would
// otherwise multiply them past the range of int.
constexpr int kMaxPower = 1000;

// The reading position over one expression, shared by both grammars.
class Reader {
 public:
  explicit Reader(std::u16string_view text) : text_(text) {}

  void skipBlanks() {
    while (pos_ < text_.size() && (text_[pos_] == u' ' || text_[pos_] == u'\t')) ++pos_;
  }
  bool atEnd() {
    skipBlanks();
    return pos_ >= text_.size();
  }
  char16_t peek() {
    skipBlanks();
    return pos_ < text_.size() ? text_[pos_] : u'\0';
  }
  bool take(char16_t c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  void expect(char16_t c, const char* what) {
    if (!take(c)) fail(what);
  }
  std::u16string name() {
    skipBlanks();
    const std::size_t start = pos_;
    if (pos_ >= text_.size() || !IsLetter(text_[pos_])) fail("a name was expected");
    while (pos_ < text_.size() && IsNameChar(text_[pos_])) ++pos_;
    return std::u16string(text_.substr(start, pos_ - start));
  }
  // A decimal number with optional fraction and exponent, no sign.
  double number() {
    skipBlanks();
    const std::size_t start = pos_;
    while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
    if (pos_ < text_.size() && text_[pos_] == u'.') {
      ++pos_;
      while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
    }
    if (pos_ == start || (pos_ == start + 1 && text_[start] == u'.')) fail("a number was expected");
    if (pos_ < text_.size() && (text_[pos_] == u'e' || text_[pos_] == u'E')) {
      std::size_t p = pos_ + 1;
      if (p < text_.size() && (text_[p] == u'+' || text_[p] == u'-')) ++p;
      if (p < text_.size() && IsDigit(text_[p])) {
        while (p < text_.size() && IsDigit(text_[p])) ++p;
        pos_ = p;
      }
    }
    const std::string digits = ConvertUStringToStdString(text_.substr(start, pos_ - start));
    return tessel::StrtodLocaleIndependent(digits.c_str(), nullptr);
  }
  int integer() {
    skipBlanks();
    const bool negative = take(u'-');
    skipBlanks();
    const std::size_t start = pos_;
    long long value = 0;
    while (pos_ < text_.size() && IsDigit(text_[pos_])) {
      value = value * 10 + (text_[pos_] - u'0');
      if (value > kMaxPower) fail("the power is too large");
      ++pos_;
    }
    if (pos_ == start) fail("a whole power was expected");
    return static_cast<int>(negative ? -value : value);
  }
  [[noreturn]] void fail(const char* what) {
    ThrowTcosDiagnostic("ExpressionSyntax",
                        {std::u16string(text_), static_cast<std::int64_t>(pos_ + 1), std::string(what)});
  }

 private:
  std::u16string_view text_;
  std::size_t pos_ = 0;
};

// Nesting deeper than this is refused, so that a hostile text cannot exhaust the stack.
constexpr int kMaxDepth = 64;

class DimensionParser {
 public:
  DimensionParser(std::u16string_view text, const DimensionLookup* lookup) : in_(text), lookup_(lookup) {}

  double parse() {
    if (in_.atEnd()) in_.fail("the expression is empty");
    const double v = expr();
    if (!in_.atEnd()) in_.fail("an operator was expected");
    return v;
  }

 private:
  double expr() {
    Depth d(this);
    double v = term();
    for (;;) {
      if (in_.take(u'+')) v += term();
      else if (in_.take(u'-')) v -= term();
      else return v;
    }
  }
  double term() {
    double v = unary();
    for (;;) {
      if (in_.take(u'*')) v *= unary();
      else if (in_.take(u'/')) v /= unary();
      else return v;
    }
  }
  double unary() {
    Depth d(this);
    if (in_.take(u'-')) return -unary();
    if (in_.take(u'+')) return unary();
    return power();
  }
  double power() {
    const double base = primary();
    if (in_.take(u'^')) return std::pow(base, unary());
    return base;
  }
  double primary() {
    const char16_t c = in_.peek();
    if (c == u'(') {
      in_.take(u'(');
      const double v = expr();
      in_.expect(u')', "')' was expected");
      return v;
    }
    if (IsDigit(c) || c == u'.') return in_.number();
    if (!IsLetter(c)) in_.fail("a number, a name or '(' was expected");
    const std::u16string name = in_.name();
    if (in_.take(u'(')) {
      std::vector<double> args;
      if (!in_.take(u')')) {
        do args.push_back(expr());
        while (in_.take(u','));
        in_.expect(u')', "',' or ')' was expected");
      }
      return lookup_ == nullptr ? 1.0 : call(name, args);
    }
    if (lookup_ == nullptr) return 1.0;
    if (const std::optional<double> v = (*lookup_)(name)) return *v;
    return call(name, {});
  }

  // A host function (or a value of the host: a function of no argument) by
  // way of the host's evaluator.
  double call(const std::u16string& name, const std::vector<double>& args) {
    std::vector<ArrayPtr> held;
    std::vector<txArray*> inputs;
    for (double a : args) {
      held.emplace_back(txCreateDoubleScalar(a));
      inputs.push_back(held.back().get());
    }
    ArrayPtr result;
    if (args.empty()) {
      result.reset(tessel::EvaluateExpression(name, 1));
    } else {
      txArray* out = nullptr;
      tessel::feval(ConvertUStringToStdString(name), 1, &out, static_cast<int>(inputs.size()), inputs.data());
      result.reset(out);
    }
    if (!txIsNumeric(result.get()) || txGetNumberOfElements(result.get()) != 1 || txGetM(result.get()) != 1) {
      ThrowTcosDiagnostic("NotANumber", {name, DescribeHostValue(result.get())});
    }
    return txGetScalar(result.get());
  }

  struct Depth {
    explicit Depth(DimensionParser* p) : parser(p) {
      if (++parser->depth_ > kMaxDepth) parser->in_.fail("the expression nests too deeply");
    }
    ~Depth() { --parser->depth_; }
    DimensionParser* parser;
  };

  Reader in_;
  const DimensionLookup* lookup_;  // borrowed; null when only the syntax is checked
  int depth_ = 0;
};

using UnitTerms = std::vector<std::pair<std::u16string, int>>;

// Adds `power` to the symbol's term; the combined power.
int AddTerm(UnitTerms& terms, const std::u16string& symbol, int power) {
  for (auto& term : terms) {
    if (term.first == symbol) return term.second += power;
  }
  terms.emplace_back(symbol, power);
  return power;
}

class UnitParser {
 public:
  UnitParser(std::u16string_view text, const UnitLookup* lookup) : in_(text), lookup_(lookup) {}

  UnitTerms parse() {
    if (in_.atEnd()) in_.fail("the unit is empty");
    UnitTerms terms;
    unit(terms, 1);
    if (!in_.atEnd()) in_.fail("'*', '/' or '^' was expected");
    return terms;
  }

 private:
  void unit(UnitTerms& terms, int sign) {
    if (++depth_ > kMaxDepth) in_.fail("the unit nests too deeply");
    factor(terms, sign);
    for (;;) {
      if (in_.take(u'*')) factor(terms, sign);
      else if (in_.take(u'/')) factor(terms, -sign);
      else break;
    }
    --depth_;
  }
  void factor(UnitTerms& terms, int sign) {
    UnitTerms inner;
    const char16_t c = in_.peek();
    if (c == u'(') {
      in_.take(u'(');
      unit(inner, 1);
      in_.expect(u')', "')' was expected");
    } else if (c == u'1') {
      in_.integer();  // the dimensionless 1
    } else {
      symbol(inner, in_.name());
    }
    int power = 1;
    if (in_.take(u'^')) {
      const bool parenthesised = in_.take(u'(');
      power = in_.integer();
      if (parenthesised) in_.expect(u')', "')' was expected");
    }
    for (const auto& [s, p] : inner) add(terms, s, sign * power * p);
  }
  void add(UnitTerms& terms, const std::u16string& symbol, int power) {
    const int combined = AddTerm(terms, symbol, power);
    if (combined > kMaxPower || combined < -kMaxPower) in_.fail("the power is too large");
  }
  void symbol(UnitTerms& terms, const std::u16string& name) {
    if (lookup_ == nullptr) return;
    if (const std::optional<std::u16string> other = (*lookup_)(name)) {
      // Another property's unit, already in normal form: its symbols are known.
      if (*other != u"1") {
        for (const auto& [s, p] : UnitParser(*other, nullptr).parseSymbols()) add(terms, s, p);
      }
      return;
    }
    if (!IsKnownUnitSymbol(name)) ThrowTcosDiagnostic("UnknownUnit", {name});
    add(terms, name, 1);
  }
  // Reads a normal form without lookups but keeping its symbols.
  UnitTerms parseSymbols() {
    static const UnitLookup none = [](const std::u16string&) { return std::optional<std::u16string>(); };
    lookup_ = &none;
    return parse();
  }

  Reader in_;
  const UnitLookup* lookup_;  // borrowed; null when only the syntax is checked
  int depth_ = 0;
};

std::u16string PowerText(const std::u16string& symbol, int power) {
  return power == 1 ? symbol : symbol + u"^" + ConvertStdStringToUString(std::to_string(power));
}

}  // namespace

void CheckDimensionSyntax(std::u16string_view expression) { DimensionParser(expression, nullptr).parse(); }
void CheckUnitSyntax(std::u16string_view expression) { UnitParser(expression, nullptr).parse(); }

double EvaluateDimension(std::u16string_view expression, const DimensionLookup& lookup) {
  return DimensionParser(expression, &lookup).parse();
}

std::u16string NormaliseUnit(std::u16string_view expression, const UnitLookup& lookup) {
  const UnitTerms terms = UnitParser(expression, &lookup).parse();
  std::vector<std::u16string> numerator;
  std::vector<std::u16string> denominator;
  for (const auto& [symbol, power] : terms) {
    if (power > 0) numerator.push_back(PowerText(symbol, power));
    if (power < 0) denominator.push_back(PowerText(symbol, -power));
  }
  auto join = [](const std::vector<std::u16string>& parts) {
    std::u16string out;
    for (const auto& p : parts) out += (out.empty() ? u"" : u"*") + p;
    return out;
  };
  std::u16string text = numerator.empty() ? u"1" : join(numerator);
  if (denominator.size() == 1) text += u"/" + denominator.front();
  if (denominator.size() > 1) text += u"/(" + join(denominator) + u")";
  return text;
}

bool IsKnownUnitSymbol(std::u16string_view symbol) {
  // Units that take decimal prefixes, and units that do not.
  static constexpr std::array<std::u16string_view, 27> kPrefixable = {
      u"m", u"g", u"s", u"A", u"K", u"mol", u"cd", u"N", u"Pa", u"J", u"W", u"C", u"V", u"F",
      u"Ohm", u"S", u"Wb", u"T", u"H", u"Hz", u"rad", u"sr", u"L", u"l", u"bar", u"lm", u"lx"};
  static constexpr std::array<std::u16string_view, 8> kPlain = {u"min", u"h", u"d", u"deg", u"rpm", u"degC", u"ft",
                                                                 u"in"};
  static constexpr std::array<std::u16string_view, 16> kPrefixes = {
      u"da", u"Y", u"Z", u"E", u"P", u"T", u"G", u"M", u"k", u"h", u"d", u"c", u"m", u"u", u"n", u"p"};
  auto in = [](const auto& list, std::u16string_view s) {
    for (const auto& entry : list) {
      if (entry == s) return true;
    }
    return false;
  };
  if (in(kPrefixable, symbol) || in(kPlain, symbol)) return true;
  for (const auto& prefix : kPrefixes) {
    if (symbol.size() > prefix.size() && symbol.substr(0, prefix.size()) == prefix &&
        in(kPrefixable, symbol.substr(prefix.size()))) {
      return true;
    }
  }
  return false;
}

}  // namespace qvsv::tcos::detail
