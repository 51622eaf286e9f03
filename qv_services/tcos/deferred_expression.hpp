// Internals of deferrable properties: reading and resolving the expressions
// that a property may hold instead of a value.
//
// A dimension is arithmetic over numbers, names and calls:
//   expr  := term (('+' | '-') term)*
//   term  := unary (('*' | '/') unary)*
//   unary := ('+' | '-') unary | power
//   power := primary ('^' unary)?
//   primary := number | name | name '(' [expr (',' expr)*] ')' | '(' expr ')'
// A unit is a product of unit symbols with integer powers (at most 1000 in
// magnitude, as written and as combined):
//   unit := factor (('*' | '/') factor)*,  factor := ('1' | symbol | '(' unit ')') ('^' ['-'] digits)?
// Names and symbols start with a letter and go on with letters, digits, '_'
// and '.'. A syntax error throws "QV_SERVICES:tcos:ExpressionSyntax" naming
// the 1-based column.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvsv::tcos::detail {

// Asked for each name: its value as another property, or nothing when it is
// not one (the host is then asked).
using DimensionLookup = std::function<std::optional<double>(const std::u16string& name)>;
// Asked for each symbol: the normal form of another property's unit, or
// nothing when it is not one (it must then be a known unit symbol).
using UnitLookup = std::function<std::optional<std::u16string>(const std::u16string& symbol)>;

// Throws the syntax diagnostic; nothing is looked up or called.
void CheckDimensionSyntax(std::u16string_view expression);
void CheckUnitSyntax(std::u16string_view expression);

// The value of a dimension. Names that are not properties are evaluated by
// the host's evaluator, calls go to host functions; each must give a double
// scalar, else "QV_SERVICES:tcos:NotANumber". Host errors pass through.
double EvaluateDimension(std::u16string_view expression, const DimensionLookup& lookup);

// The normal form of a unit: factors in order of first appearance with their
// summed powers, those whose power is 0 left out; the numerator joined by
// '*', then '/' and the denominator (in parentheses when it has several
// factors); "1" when nothing is left. An unknown symbol throws
// "QV_SERVICES:tcos:UnknownUnit".
std::u16string NormaliseUnit(std::u16string_view expression, const UnitLookup& lookup);

// Whether a symbol is a unit this library knows (SI units, their decimal
// prefixes, and a few units in common use).
bool IsKnownUnitSymbol(std::u16string_view symbol);

}  // namespace qvsv::tcos::detail
