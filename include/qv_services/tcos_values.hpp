// Value conversions between host arrays and native values, the currency of
// the object-system bridges.
//
// Rules of the design:
//  - One pair of function templates, qvsv::tcos::FromHost<T>(array) and
//    qvsv::tcos::ToHost(value), covers every supported type: double, float,
//    the signed and unsigned integers of 8 to 64 bits, bool, UTF-16 text
//    (std::u16string), UTF-8 text (std::string), qvsvString, qvsvStringOrID,
//    std::vector and qvsvTcosMatrix of these, and
//    std::optional of any of them. Enumerations go through their table
//    (EnumFromHost, EnumToHost).
//  - Host shapes: a scalar is 1x1; a vector is 1xN, Nx1 or empty (0 elements);
//    a matrix is any m x n. Numbers are double arrays; bool reads a logical
//    array, or a double array whose elements are all 0 or 1 (host expressions
//    have no logical literal); text is a character row ('' is 0x0); a vector
//    or matrix of texts is a cell vector or matrix of character rows. An empty std::optional is
//    the 0x0 double array [], and [] reads as an empty optional of any type.
//  - Reading is strict: the wrong class or size, an integer out of range, a
//    fractional value or NaN for an integer, a float overflow, or a bool that
//    is neither 0 nor 1 throws a qvsv::except::DiagnosticException from the
//    catalogue "QV_SERVICES:tcos" that names the expected type and shape and
//    the array given (class and size), and for an element its 1-based
//    position and value. Writing refuses a 64-bit integer of magnitude above
//    2^53, which no double holds exactly. Nothing is converted half-way: on
//    an error no result exists and every array made on the way is destroyed.
//  - Arrays returned by ToHost belong to the caller (temporary inside an open
//    tessel::HostCallScope, as any new array). FromHost only reads its input.
//    A null array reads as "no array" and is refused (except by optional,
//    which takes it as empty).
//
//   txArray* a = qvsv::tcos::ToHost(std::vector<std::int16_t>{1, -2, 3});  // 1x3 double
//   auto v = qvsv::tcos::FromHost<std::vector<std::int16_t>>(a);            // {1, -2, 3}
//   qvsv::tcos::FromHost<std::uint8_t>(txCreateDoubleScalar(300));          // throws: outside 0 to 255
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "qv_services/enum_table.hpp"
#include "qv_services/export.hpp"
#include "qv_services/string_or_id.hpp"
#include "qv_services/string_table.hpp"
#include "tessel/array.hpp"

// A 2-D matrix of native values, column-major as the host stores arrays.
template <typename T>
struct qvsvTcosMatrix {
  std::size_t rows = 0;
  std::size_t cols = 0;
  std::vector<T> data;  // rows * cols elements, column after column

  T& at(std::size_t r, std::size_t c) { return data[c * rows + r]; }
  const T& at(std::size_t r, std::size_t c) const { return data[c * rows + r]; }
  friend bool operator==(const qvsvTcosMatrix&, const qvsvTcosMatrix&) = default;
};

namespace qvsv::tcos {

// The native element kinds of the conversions (also the value types of
// handle-class properties).
enum class ElementKind { Double, Single, Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64, Logical, Text };
enum class Shape { Scalar, Vector, Matrix };

// "double", "single", "int8", ..., "logical", "text".
QVSV_API const char* ElementKindName(ElementKind kind);
QVSV_API const char* ShapeName(Shape shape);
// "a 2x3 char array", "a 1x1 Gain object", "no array".
QVSV_API std::string DescribeHostValue(const txArray* array);

namespace detail {

// The checked numbers of a numeric or logical host array of the given kind
// and shape, column-major, with its size; throws the diagnostics above.
QVSV_API std::vector<double> ReadNumbers(const txArray* array, ElementKind kind, Shape shape, std::size_t& rows,
                                         std::size_t& cols);
// A new double (or, for Logical, logical) rows x cols array of the values.
QVSV_API txArray* WriteNumbers(const std::vector<double>& values, std::size_t rows, std::size_t cols,
                               ElementKind kind);
// A 64-bit integer as a double, or the not-exact diagnostic.
QVSV_API double ExactDouble(std::int64_t value);
QVSV_API double ExactDouble(std::uint64_t value);
// The text of a character row, or the wrong-value diagnostic.
QVSV_API std::u16string ReadText(const txArray* array);
// The texts of a cell vector or matrix of character rows, column-major.
QVSV_API std::vector<std::u16string> ReadTextCells(const txArray* array, Shape shape, std::size_t& rows,
                                                   std::size_t& cols);
QVSV_API txArray* WriteTextCells(const std::vector<std::u16string>& texts, std::size_t rows, std::size_t cols);
QVSV_API bool IsNoValue(const txArray* array);
QVSV_API std::u16string FromUTF8(const std::string& text);
QVSV_API std::string ToUTF8(const std::u16string& text);

template <typename T>
constexpr bool kIsNumber = std::is_arithmetic_v<T>;

template <typename T>
constexpr ElementKind KindOf() {
  if constexpr (std::is_same_v<T, bool>) return ElementKind::Logical;
  else if constexpr (std::is_same_v<T, double>) return ElementKind::Double;
  else if constexpr (std::is_same_v<T, float>) return ElementKind::Single;
  else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    static_assert(sizeof(T) <= 8);
    return sizeof(T) == 1 ? ElementKind::Int8
           : sizeof(T) == 2 ? ElementKind::Int16
           : sizeof(T) == 4 ? ElementKind::Int32
                            : ElementKind::Int64;
  } else {
    static_assert(std::is_integral_v<T> && std::is_unsigned_v<T> && sizeof(T) <= 8, "not a supported number type");
    return sizeof(T) == 1 ? ElementKind::UInt8
           : sizeof(T) == 2 ? ElementKind::UInt16
           : sizeof(T) == 4 ? ElementKind::UInt32
                            : ElementKind::UInt64;
  }
}

template <typename T>
double ToDouble(T value) {
  if constexpr (std::is_integral_v<T> && sizeof(T) == 8 && !std::is_same_v<T, bool>) {
    if constexpr (std::is_signed_v<T>) return ExactDouble(static_cast<std::int64_t>(value));
    else return ExactDouble(static_cast<std::uint64_t>(value));
  } else {
    return static_cast<double>(value);
  }
}

template <typename T>
std::vector<T> FromDoubles(const std::vector<double>& values) {
  std::vector<T> out;
  out.reserve(values.size());
  for (double v : values) out.push_back(static_cast<T>(v));
  return out;
}

template <typename T>
std::vector<double> ToDoubles(const std::vector<T>& values) {
  std::vector<double> out;
  out.reserve(values.size());
  for (const T& v : values) out.push_back(ToDouble(static_cast<T>(v)));
  return out;
}

// The text types and how they are made from and turned into UTF-16.
template <typename T>
struct TextType : std::false_type {};
template <>
struct TextType<std::u16string> : std::true_type {
  static std::u16string to(const std::u16string& t) { return t; }
  static std::u16string from(std::u16string t) { return t; }
};
template <>
struct TextType<std::string> : std::true_type {
  static std::u16string to(const std::string& t) { return FromUTF8(t); }
  static std::string from(const std::u16string& t) { return ToUTF8(t); }
};
template <>
struct TextType<qvsvString> : std::true_type {
  static std::u16string to(const qvsvString& t) { return std::u16string(t.c_str()); }
  static qvsvString from(const std::u16string& t) { return qvsvString(t); }
};

template <typename T>
struct Converter;

}  // namespace detail

// The native value of a host array (see the rules above); throws the
// conversion diagnostic.
template <typename T>
T FromHost(const txArray* array) {
  return detail::Converter<T>::read(array);
}

// A new host array holding the value (owned by the caller).
template <typename T>
txArray* ToHost(const T& value) {
  return detail::Converter<T>::write(value);
}

// Enumerations: the value's name as a character row, read back from a name
// or a number; the table's own diagnostics for unknown names and values.
template <typename E>
E EnumFromHost(const qvsvEnumTable<E>& table, const txArray* array, bool ignoreCase = false) {
  return table.fromHostArray(array, ignoreCase);
}
template <typename E>
txArray* EnumToHost(const qvsvEnumTable<E>& table, E value) {
  return table.toHostArray(value);
}

// ---------------------------------------------------------------------------
// Converter specialisations.
namespace detail {

template <typename T>
struct Converter {
  static_assert(kIsNumber<T>, "no host conversion for this type");
  static T read(const txArray* array) {
    std::size_t rows = 0, cols = 0;
    return static_cast<T>(ReadNumbers(array, KindOf<T>(), Shape::Scalar, rows, cols).front());
  }
  static txArray* write(T value) { return WriteNumbers({ToDouble(value)}, 1, 1, KindOf<T>()); }
};

template <>
struct Converter<std::u16string> {
  static std::u16string read(const txArray* array) { return ReadText(array); }
  static txArray* write(const std::u16string& value) { return txCreateString(value); }
};
template <>
struct Converter<std::string> {
  static std::string read(const txArray* array) { return ToUTF8(ReadText(array)); }
  static txArray* write(const std::string& value) { return txCreateStringFromUTF8(value); }
};
template <>
struct Converter<qvsvString> {
  static qvsvString read(const txArray* array) { return qvsvString(ReadText(array)); }
  static txArray* write(const qvsvString& value) { return txCreateString(value.c_str()); }
};
template <>
struct Converter<qvsvStringOrID> {
  static qvsvStringOrID read(const txArray* array) { return qvsvStringOrID::fromHostArray(array); }
  static txArray* write(const qvsvStringOrID& value) { return value.toHostArray(); }
};

template <typename T>
struct Converter<std::vector<T>> {
  static std::vector<T> read(const txArray* array) {
    if constexpr (TextType<T>::value) {
      std::size_t rows = 0, cols = 0;
      std::vector<T> out;
      for (auto& text : ReadTextCells(array, Shape::Vector, rows, cols)) {
        out.push_back(TextType<T>::from(std::move(text)));
      }
      return out;
    } else {
      std::size_t rows = 0, cols = 0;
      return FromDoubles<T>(ReadNumbers(array, KindOf<T>(), Shape::Vector, rows, cols));
    }
  }
  static txArray* write(const std::vector<T>& value) {
    if constexpr (TextType<T>::value) {
      std::vector<std::u16string> texts;
      for (const T& t : value) texts.push_back(TextType<T>::to(t));
      return WriteTextCells(texts, 1, texts.size());
    } else {
      return WriteNumbers(ToDoubles(value), 1, value.size(), KindOf<T>());
    }
  }
};

template <typename T>
struct Converter<qvsvTcosMatrix<T>> {
  static qvsvTcosMatrix<T> read(const txArray* array) {
    qvsvTcosMatrix<T> out;
    if constexpr (TextType<T>::value) {
      for (auto& text : ReadTextCells(array, Shape::Matrix, out.rows, out.cols)) {
        out.data.push_back(TextType<T>::from(std::move(text)));
      }
    } else {
      out.data = FromDoubles<T>(ReadNumbers(array, KindOf<T>(), Shape::Matrix, out.rows, out.cols));
    }
    return out;
  }
  static txArray* write(const qvsvTcosMatrix<T>& value) {
    if (value.data.size() != value.rows * value.cols) {
      throw std::invalid_argument("a matrix of " + std::to_string(value.rows) + "x" + std::to_string(value.cols) +
                                  " must hold that many elements, not " + std::to_string(value.data.size()));
    }
    if constexpr (TextType<T>::value) {
      std::vector<std::u16string> texts;
      for (const T& t : value.data) texts.push_back(TextType<T>::to(t));
      return WriteTextCells(texts, value.rows, value.cols);
    } else {
      return WriteNumbers(ToDoubles(value.data), value.rows, value.cols, KindOf<T>());
    }
  }
};

// GCC 12 with the sanitizers warns that an empty optional's payload may be
// read here, on the branch that only runs when it holds a value.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
template <typename T>
struct Converter<std::optional<T>> {
  static std::optional<T> read(const txArray* array) {
    if (IsNoValue(array)) return std::nullopt;
    return Converter<T>::read(array);
  }
  static txArray* write(const std::optional<T>& value) {
    return value.has_value() ? Converter<T>::write(*value) : txCreateDoubleMatrix(0, 0);
  }
};
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

}  // namespace detail
}  // namespace qvsv::tcos
