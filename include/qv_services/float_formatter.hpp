// The float-to-text formatter for generated code: one double or single becomes
// the shortest decimal text that reads back to exactly the same value, in the
// lexical style of a consumer (the code generator's template language and the C
// it emits, the variable-saving text form, or plain full-precision text).
//
// A formatter is configured once for a target and then written through
// writeDoubleFlt / writeSingleFlt, which dispatch to the writer pair the target
// chose. Writing never changes the formatter, so one configured formatter may
// be shared by any number of threads; setters must not run concurrently with
// writes through the same object.
//
//   char text[QvfrgFltToAscii::kBufferSize];
//   QvfrgFltToAscii::defaultFormatter.writeDoubleFlt(text, 0.1 + 0.2);  // "0.30000000000000004"
//   QvfrgFltToAscii weft(QVSV_Flt2Ascii::TARGET_WEFT_CONCISE);
//   weft.writeSingleFlt(text, 0.1f);                                    // "0.1F"
//
// The text is what the C library's sprintf, strtod and atof produce for the
// target's formats (including under a C locale whose decimal point is not
// '.', where only values that read back through both parsers keep their first
// form), computed by a shortest-round-trip method whenever the current C locale
// and rounding mode let it give the same bytes.
//
// Bad input never crashes and never overruns a 64-byte destination: a null
// destination is ignored, unknown targets and symbol sets fall back to the
// defaults, symbols are cut at kMaxSymbolLength characters, and a format that
// is not one floating-point conversion of at most 15 characters is refused.
#pragma once

#include <cstddef>
#include <string>

#include "qv_services/export.hpp"

// The formatter's enumerations. Their numeric values are fixed: callers in
// other modules pass the numbers. Each has int as its underlying type so that
// any number a caller passes is a valid value (an unknown one selects the
// defaults).
namespace QVSV_Flt2Ascii {

enum TargetEnum : int {
  TARGET_PLAIN = 0,
  TARGET_DEFAULT = 1,
  TARGET_EXPONENT = 2,
  TARGET_EXPONENT_COMPACT = 3,
  TARGET_LOWER_CASE = 4,
  TARGET_WEFT_CONCISE = 5,
  TARGET_WEFT_EXPONENTIAL = 6,
  TARGET_WEFT_CONCISE_SIGNED = 7,
  TARGET_WEFT_EXPONENTIAL_SIGNED = 8,
  TARGET_WEFT_CONCISE_UNSUFFIXED = 9,
  TARGET_WEFT_CONCISE_BARE = 10,
  TARGET_LOWER_CASE_BARE = 11,
  TARGET_SAVE_VARS = 12,
  // 13 has no name and behaves as TARGET_PLAIN.
  TARGET_LEGACY = 14,
};

// Carried for callers only; no writer reads them.
enum BaseEnum : int { BASE_DEFAULT = 100 };
enum FormatEnum : int { LITERAL_FORMAT_DEFAULT = 201 };

// Sets of non-finite symbols; any value other than 301 and 302 selects the plain set.
enum NFSymbolEnum : int { NF_SYMBOL_PLAIN = 300, NF_SYMBOL_FRG = 301, NF_SYMBOL_FRG_SIGNED = 302 };

// The ten precision-format slots.
enum FloatPrecisionFormatEnum : int {
  PRECISION_DOUBLE = 400,
  PRECISION_DOUBLE_FALLBACK = 401,
  PRECISION_SINGLE = 402,
  PRECISION_SINGLE_FALLBACK = 403,
  PRECISION_SINGLE_MAX = 404,
  PRECISION_DOUBLE_EXP = 405,
  PRECISION_DOUBLE_EXP_FALLBACK = 406,
  PRECISION_SINGLE_EXP = 407,
  PRECISION_SINGLE_EXP_FALLBACK = 408,
  PRECISION_SINGLE_EXP_MAX = 409,
};

}  // namespace QVSV_Flt2Ascii

namespace qvsv::numeric::detail {

// Internal: a slot's format as the writers use it, parsed once when the slot is
// set so that no write parses a format string.
struct PrintfConversion {
  enum Kind : unsigned char {
    kInvalid,   // not a single floating-point conversion: never used
    kEmulated,  // "%[+ #-0][.N]{G,g,E,e}" with at most 17 significant digits
    kCLibrary,  // any other valid conversion: written by the C library itself
  };
  Kind kind = kInvalid;
  char conversion = 0;       // 'G', 'g', 'E' or 'e' for kEmulated
  bool plus = false;         // '+' flag
  bool space = false;        // ' ' flag
  bool alternate = false;    // '#' flag
  unsigned char digits = 0;  // significant digits written for kEmulated
};

}  // namespace qvsv::numeric::detail

// Other modules of the product (and the tests) reach the private setters and
// helpers through this one friend; it is defined where it is needed.
struct QvfrgFltToAsciiAccess;

class QVSV_API QvfrgFltToAscii {
 public:
  // Every writer writes at most this many bytes, terminator included.
  static constexpr std::size_t kBufferSize = 64;
  // Symbols longer than this are written cut to this length, so that a single
  // writer's "F" suffix still fits in kBufferSize.
  static constexpr std::size_t kMaxSymbolLength = 62;

  // The library's two ready formatters, built during static initialisation and
  // never changed: target 1 (TARGET_DEFAULT) and target 14 (TARGET_LEGACY).
  static const QvfrgFltToAscii defaultFormatter;
  static const QvfrgFltToAscii legacyFormatter;

  // A default-constructed formatter behaves as target 0; copies behave exactly like
  // their source, writer choice included.
  QvfrgFltToAscii();
  explicit QvfrgFltToAscii(QVSV_Flt2Ascii::TargetEnum target);
  QvfrgFltToAscii(const QvfrgFltToAscii& other);
  QvfrgFltToAscii& operator=(const QvfrgFltToAscii& other);
  virtual ~QvfrgFltToAscii();

  // Writing. `dst` must hold kBufferSize bytes; null is ignored.
  virtual void writeDoubleFlt(char* const dst, double v) const;
  virtual void writeSingleFlt(char* const dst, float v) const;
  // The compact form whatever the target: the first slot's text when it reads
  // back, otherwise the fallback slot's, trimmed of redundant zeros.
  void writeDoubleFltDefaultCompact(char* const dst, double v) const;
  void writeSingleFltDefaultCompact(char* const dst, float v) const;

  // Configuration. setTarget starts from the defaults, so settings changed
  // earlier are lost.
  void setTarget(QVSV_Flt2Ascii::TargetEnum target);
  void setNonFiniteNumberSymbols(QVSV_Flt2Ascii::NFSymbolEnum symbols);
  void setBase(QVSV_Flt2Ascii::BaseEnum base);
  QVSV_Flt2Ascii::BaseEnum getBase() const;
  void setLiteralFormat(QVSV_Flt2Ascii::FormatEnum format);
  QVSV_Flt2Ascii::FormatEnum getLiteralFormat() const;
  // When true (the default), leading zeros of a trimmed exponent are dropped.
  void setRemoveExtraZeroAfterSymbolE(bool remove);
  bool getRemoveExtraZeroAfterSymbolE() const;
  // Carried for callers: no writer reads it, so -0.0 keeps its sign.
  bool getTreatMinusZeroAsZero() const;
  // When false, positional text that ends in ".0" loses it.
  bool getEnsureBeingFloatingPoint() const;

  // The non-finite symbols; the pointers stay valid until the symbol changes.
  const char* getInfSymbol() const;
  const char* getMinusInfSymbol() const;
  const char* getNaNSymbol() const;
  const char* getSingleInfSymbol() const;
  const char* getSingleMinusInfSymbol() const;
  const char* getSingleNaNSymbol() const;

 private:
  friend struct QvfrgFltToAsciiAccess;
  using DoubleWriter = void (QvfrgFltToAscii::*)(char* const, double) const;
  using SingleWriter = void (QvfrgFltToAscii::*)(char* const, float) const;
  using Conversion = qvsv::numeric::detail::PrintfConversion;
  static constexpr int kSlotCount = 10;
  static constexpr std::size_t kFormatSize = 16;

  void setDefault();
  // Copies `format` into slot 400..409; another slot number, a null or longer
  // than 15 characters format, or one that is not a single floating-point
  // conversion leaves the slot as it was.
  void setPrecisionFormat(QVSV_Flt2Ascii::FloatPrecisionFormatEnum slot, const char* format);
  void setEnsureBeingFloatingPoint(bool ensure);
  void setIndicateSingleFloatingPoint(bool indicate);
  void setTreatMinusZeroAsZero(bool treat);
  void setUpCaseExponentSymbol(bool upper);
  // Each takes a copy; null or "" gives an empty symbol.
  void setInfSymbol(const char* symbol);
  void setMinusInfSymbol(const char* symbol);
  void setNaNSymbol(const char* symbol);
  void setSingleInfSymbol(const char* symbol);
  void setSingleMinusInfSymbol(const char* symbol);
  void setSingleNaNSymbol(const char* symbol);

  // The round-trip test: the text must read back to `value` through both the
  // locale-independent parser and the C library's atof (current C locale).
  double convertStrToDouble(const char* const text) const;
  bool isStrRepEqualToDouble(double value, const char* const text) const;
  bool isStrRepEqualToFloat(float value, const char* const text) const;
  // Trimming, in place. `e` points at the exponent letter, `end` at the end of
  // the part to trim (removeTrailingZeros moves the text from `end` left).
  void removeExtraZerosAfterE(char* e, char* const end) const;
  void removeRedundantZeroDigits(char* const text) const;
  void removeTrailingZeros(char* const text, char* const end) const;
  // Writes the symbol for an infinity or NaN and returns true; leaves `dst`
  // untouched for a finite value.
  bool writeNonfiniteFloatingPoint(char* const dst, double v) const;
  bool writeNonfiniteFloatingPoint(char* const dst, float v) const;

  void writeDoubleFltDefault(char* const dst, double v) const;
  void writeSingleFltDefault(char* const dst, float v) const;
  void writeDoubleFltToExponent(char* const dst, double v) const;
  void writeSingleFltToExponent(char* const dst, float v) const;
  void writeDoubleFltToLegacy(char* const dst, double v) const;
  void writeSingleFltToLegacy(char* const dst, float v) const;
  void writeDoubleFltToExponentCompact(char* const dst, double v) const;
  void writeSingleFltToExponentCompact(char* const dst, float v) const;
  void writeDoubleFltFrgWeftConcise(char* const dst, double v) const;
  void writeSingleFltFrgWeftConcise(char* const dst, float v) const;
  void writeDoubleFltFrgWeftExponential(char* const dst, double v) const;
  void writeSingleFltFrgWeftExponential(char* const dst, float v) const;
  void writeDoubleFltSaveVars(char* const dst, double v) const;
  void writeSingleFltSaveVars(char* const dst, float v) const;

  // The shared steps of the writers above (float_formatter.cpp).
  void setPrecisionFormats(const char* const* formats);
  bool readsBackLiterally(double v, bool single, const char* text) const;
  void writeCompact(char* const dst, double v, bool single, int firstSlot, int fallbackSlot) const;
  void writeSaveVars(char* const dst, double v, bool single) const;
  void appendSingleSuffix(char* const dst) const;

  QVSV_Flt2Ascii::BaseEnum base_;
  QVSV_Flt2Ascii::FormatEnum literalFormat_;
  bool treatMinusZeroAsZero_;
  bool ensureBeingFloatingPoint_;
  bool indicateSingleFloatingPoint_;
  bool removeExtraZeroAfterSymbolE_;
  std::string infSymbol_;
  std::string minusInfSymbol_;
  std::string nanSymbol_;
  std::string singleInfSymbol_;
  std::string singleMinusInfSymbol_;
  std::string singleNaNSymbol_;
  char exponentSymbol_;
  char precisionFormats_[kSlotCount][kFormatSize];
  Conversion conversions_[kSlotCount];  // parsed precisionFormats_, slot by slot
  DoubleWriter doubleWriter_;
  SingleWriter singleWriter_;
};

// The targets' enumeration table ("FloatFormatterTarget": names, values and
// display texts; enum_table.hpp).
template <typename E>
class qvsvEnumTable;
extern QVSV_API const qvsvEnumTable<QVSV_Flt2Ascii::TargetEnum>* QVENUM_FloatFormatterTarget;
