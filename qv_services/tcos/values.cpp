// Checked conversions of host arrays to and from native numbers and texts.
#include <cmath>
#include <limits>
#include <memory>

#include "qv_services/conversions.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_values.hpp"

namespace qvsv::tcos {
namespace {

using detail::NumberText;
using detail::ThrowTcosDiagnostic;

struct ArrayDeleter {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<txArray, ArrayDeleter>;

struct Range {
  double min;
  double max;  // inclusive
  bool integer;
};

// Bounds as doubles; the 64-bit maxima are the exclusive powers of two less
// one ulp, so that 2^63 itself is out of range for int64.
Range RangeOf(ElementKind kind) {
  switch (kind) {
    case ElementKind::Int8: return {-128.0, 127.0, true};
    case ElementKind::UInt8: return {0.0, 255.0, true};
    case ElementKind::Int16: return {-32768.0, 32767.0, true};
    case ElementKind::UInt16: return {0.0, 65535.0, true};
    case ElementKind::Int32: return {-2147483648.0, 2147483647.0, true};
    case ElementKind::UInt32: return {0.0, 4294967295.0, true};
    case ElementKind::Int64: return {-9223372036854775808.0, std::nextafter(9223372036854775808.0, 0.0), true};
    case ElementKind::UInt64: return {0.0, std::nextafter(18446744073709551616.0, 0.0), true};
    case ElementKind::Single:
      return {-static_cast<double>(std::numeric_limits<float>::max()),
              static_cast<double>(std::numeric_limits<float>::max()), false};
    default: return {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(), false};
  }
}

// The text shown for an integer bound: the exact integer, not 9.2e18.
std::string BoundText(ElementKind kind, bool upper) {
  switch (kind) {
    case ElementKind::Int64:
      return upper ? std::to_string(std::numeric_limits<std::int64_t>::max())
                   : std::to_string(std::numeric_limits<std::int64_t>::min());
    case ElementKind::UInt64: return upper ? std::to_string(std::numeric_limits<std::uint64_t>::max()) : "0";
    default: {
      const Range r = RangeOf(kind);
      return NumberText(upper ? r.max : r.min);
    }
  }
}

std::string Expected(ElementKind kind, Shape shape) {
  const std::string name = ElementKindName(kind);
  const std::string what = (name[0] == 'i' ? "n " : " ") + name + " " + ShapeName(shape);
  const char* cls = kind == ElementKind::Logical ? "logical (or double of 0 and 1)" : "double";
  switch (shape) {
    case Shape::Scalar: return "a" + what + " (a 1x1 " + cls + " array)";
    case Shape::Vector: return "a" + what + " (a 1xN or Nx1 " + cls + " array)";
    case Shape::Matrix: return "a" + what + " (a " + cls + " array)";
  }
  return "a" + what;
}

[[noreturn]] void ThrowWrongValue(const std::string& expected, const txArray* array) {
  ThrowTcosDiagnostic("WrongValue", {expected, DescribeHostValue(array)});
}

bool ShapeFits(const txArray* array, Shape shape) {
  const txIndex m = txGetM(array);
  const txIndex n = txGetN(array);
  switch (shape) {
    case Shape::Scalar: return m == 1 && n == 1;
    case Shape::Vector: return m <= 1 || n <= 1;
    case Shape::Matrix: return true;
  }
  return false;
}

void CheckElement(double v, ElementKind kind, std::size_t index) {
  const auto position = static_cast<std::int64_t>(index + 1);
  if (kind == ElementKind::Logical) {
    if (v != 0.0 && v != 1.0) ThrowTcosDiagnostic("NotLogical", {position, NumberText(v)});
    return;
  }
  if (kind == ElementKind::Double) return;
  const Range r = RangeOf(kind);
  if (std::isnan(v)) {
    // NaN is a value of single; only the integers cannot hold it.
    if (r.integer) ThrowTcosDiagnostic("NaNForInteger", {ElementKindName(kind), position});
    return;
  }
  if (!r.integer && std::isinf(v)) return;
  if (v < r.min || v > r.max) {
    ThrowTcosDiagnostic("ValueOutOfRange", {ElementKindName(kind), position, NumberText(v), BoundText(kind, false),
                                            BoundText(kind, true)});
  }
  if (r.integer && v != std::trunc(v)) {
    ThrowTcosDiagnostic("NotWholeNumber", {ElementKindName(kind), position, NumberText(v)});
  }
}

}  // namespace

const char* ElementKindName(ElementKind kind) {
  switch (kind) {
    case ElementKind::Double: return "double";
    case ElementKind::Single: return "single";
    case ElementKind::Int8: return "int8";
    case ElementKind::UInt8: return "uint8";
    case ElementKind::Int16: return "int16";
    case ElementKind::UInt16: return "uint16";
    case ElementKind::Int32: return "int32";
    case ElementKind::UInt32: return "uint32";
    case ElementKind::Int64: return "int64";
    case ElementKind::UInt64: return "uint64";
    case ElementKind::Logical: return "logical";
    case ElementKind::Text: return "text";
  }
  return "?";
}

const char* ShapeName(Shape shape) {
  switch (shape) {
    case Shape::Scalar: return "scalar";
    case Shape::Vector: return "vector";
    case Shape::Matrix: return "matrix";
  }
  return "?";
}

std::string DescribeHostValue(const txArray* array) {
  if (array == nullptr) return "no array";
  const txClassID id = txGetClassID(array);
  return "a " + std::to_string(txGetM(array)) + "x" + std::to_string(txGetN(array)) + " " + txGetClassName(array) +
         (id == txClassID::Object ? " object" : " array");
}

namespace detail {

std::vector<double> ReadNumbers(const txArray* array, ElementKind kind, Shape shape, std::size_t& rows,
                                std::size_t& cols) {
  const bool classFits = txIsNumeric(array) || (kind == ElementKind::Logical && txIsLogical(array));
  if (!classFits || !ShapeFits(array, shape)) ThrowWrongValue(Expected(kind, shape), array);
  const std::size_t count = txGetNumberOfElements(array);
  std::vector<double> values(count);
  if (txIsLogical(array)) {
    const bool* data = txGetLogicals(array);
    for (std::size_t i = 0; i < count; ++i) values[i] = data[i] ? 1.0 : 0.0;
  } else {
    const double* data = txGetPr(array);
    for (std::size_t i = 0; i < count; ++i) {
      CheckElement(data[i], kind, i);
      values[i] = data[i];
    }
  }
  rows = txGetM(array);
  cols = txGetN(array);
  return values;
}

txArray* WriteNumbers(const std::vector<double>& values, std::size_t rows, std::size_t cols, ElementKind kind) {
  if (kind == ElementKind::Logical) {
    ArrayPtr out(txCreateLogicalMatrix(rows, cols));
    bool* data = txGetLogicalsForWrite(out.get());
    for (std::size_t i = 0; i < values.size(); ++i) data[i] = values[i] != 0.0;
    return out.release();
  }
  ArrayPtr out(txCreateDoubleMatrix(rows, cols));
  double* data = txGetPrForWrite(out.get());
  for (std::size_t i = 0; i < values.size(); ++i) data[i] = values[i];
  return out.release();
}

// 2^53: every integer up to it in magnitude has an exact double.
constexpr std::uint64_t kExactLimit = std::uint64_t{1} << 53;

double ExactDouble(std::int64_t value) {
  const std::uint64_t magnitude =
      value < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  if (magnitude > kExactLimit) ThrowTcosDiagnostic("NotExactInHost", {std::to_string(value), "int64"});
  return static_cast<double>(value);
}

double ExactDouble(std::uint64_t value) {
  if (value > kExactLimit) ThrowTcosDiagnostic("NotExactInHost", {std::to_string(value), "uint64"});
  return static_cast<double>(value);
}

std::u16string ReadText(const txArray* array) {
  if (!txIsChar(array) || (txGetM(array) > 1 && !txIsEmpty(array))) {
    ThrowWrongValue("a text (a character row)", array);
  }
  return txGetString(array);
}

std::vector<std::u16string> ReadTextCells(const txArray* array, Shape shape, std::size_t& rows, std::size_t& cols) {
  if (!txIsCell(array) || !ShapeFits(array, shape)) {
    ThrowWrongValue(std::string("a text ") + ShapeName(shape) + " (a " +
                        (shape == Shape::Vector ? "1xN or Nx1 " : "") + "cell array of character rows)",
                    array);
  }
  std::vector<std::u16string> texts;
  for (txIndex i = 0; i < txGetNumberOfElements(array); ++i) {
    const txArray* cell = txGetCell(array, i);
    if (!txIsChar(cell) || (txGetM(cell) > 1 && !txIsEmpty(cell))) {
      ThrowTcosDiagnostic("WrongElement", {static_cast<std::int64_t>(i + 1), "a text (a character row)",
                                           DescribeHostValue(cell)});
    }
    texts.push_back(txGetString(cell));
  }
  rows = txGetM(array);
  cols = txGetN(array);
  return texts;
}

txArray* WriteTextCells(const std::vector<std::u16string>& texts, std::size_t rows, std::size_t cols) {
  ArrayPtr out(txCreateCellMatrix(rows, cols));
  for (std::size_t i = 0; i < texts.size(); ++i) txSetCell(out.get(), i, txCreateString(texts[i]));
  return out.release();
}

bool IsNoValue(const txArray* array) {
  return array == nullptr || (txIsNumeric(array) && txGetM(array) == 0 && txGetN(array) == 0);
}

std::u16string FromUTF8(const std::string& text) { return ConvertStdStringToUString(text); }
std::string ToUTF8(const std::u16string& text) { return ConvertUStringToStdString(text); }

}  // namespace detail
}  // namespace qvsv::tcos
