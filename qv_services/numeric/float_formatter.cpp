// QvfrgFltToAscii: settings, targets and writers.
//
// Every writer first composes its text in a local buffer with room to spare
// and then copies at most kBufferSize bytes out, so no setting can make it
// write past the caller's 64 bytes. The text itself comes from the C library
// (snprintf, strtod, atof) or, whenever the C library is in the state in
// which it gives the same bytes, from the exact emulation in detail/.
#include "qv_services/float_formatter.hpp"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qv_services/numeric/detail/decimal_text.hpp"
#include "tessel/foundation.hpp"

using namespace QVSV_Flt2Ascii;
using qvsv::numeric::detail::PrintfConversion;
using qvsv::numeric::detail::Significand;

namespace {

// The working buffer: snprintf of any valid format is cut to fit, and
// trimming may append one '0'.
constexpr std::size_t kWorkSize = 160;

constexpr const char* kDefaultFormats[] = {"%#.15G", "%#.17G", "%#.6G", "%#.9G", "%#.10G",
                                           "%#.14E", "%#.16E", "%#.5E", "%#.8E", "%#.9E"};
constexpr const char* kLowerCaseFormats[] = {"%#.15g", "%#.17g", "%#.6g", "%#.9g", "%#.10g",
                                             "%#.14e", "%#.16e", "%#.5e", "%#.8e", "%#.9e"};
constexpr const char* kSignedFormats[] = {"%+#.15G", "%+#.17G", "%+#.6G", "%+#.9G", "%+#.10G",
                                          "%+#.14E", "%+#.16E", "%+#.5E", "%+#.8E", "%+#.9E"};

// A fixed format with its parsed conversion, for the writers that ignore the slots.
struct FixedFormat {
  const char* text;
  PrintfConversion conversion;
};

constexpr FixedFormat Fixed(const char* text) {
  return FixedFormat{text, qvsv::numeric::detail::ParsePrintfConversion(text)};
}

constexpr FixedFormat kPlainDouble = Fixed("%.17G");
constexpr FixedFormat kPlainSingle = Fixed("%.10G");
constexpr FixedFormat kExponentDouble = Fixed("%.16E");
constexpr FixedFormat kExponentSingle = Fixed("%.9E");
constexpr FixedFormat kLegacy = Fixed("%G");
constexpr FixedFormat kSaveVarsDouble[] = {Fixed("%.15G"), Fixed("%.17G"), Fixed("%#.14E"), Fixed("%#.16E")};
constexpr FixedFormat kSaveVarsSingle[] = {Fixed("%.6G"), Fixed("%.9G"), Fixed("%#.5E"), Fixed("%#.8E"),
                                           Fixed("%#.9E")};
static_assert(kPlainDouble.conversion.kind == PrintfConversion::kEmulated &&
              kLegacy.conversion.kind == PrintfConversion::kEmulated &&
              kSaveVarsSingle[4].conversion.kind == PrintfConversion::kEmulated);

bool isNonFinite(double v) { return (std::bit_cast<std::uint64_t>(v) & 0x7FF0000000000000u) == 0x7FF0000000000000u; }
bool isNonFinite(float v) { return (std::bit_cast<std::uint32_t>(v) & 0x7F800000u) == 0x7F800000u; }

// Copies `text` into the caller's buffer, cut to `limit` characters.
void copyOut(char* dst, const char* text, std::size_t limit) {
  std::size_t n = std::strlen(text);
  if (n > limit) n = limit;
  std::memcpy(dst, text, n);
  dst[n] = '\0';
}

// snprintf of one double with a format validated by ParsePrintfConversion.
void formatWithCLibrary(char* work, const char* format, double v) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(work, kWorkSize - 2, format, v);
#pragma GCC diagnostic pop
}

}  // namespace

const QvfrgFltToAscii QvfrgFltToAscii::defaultFormatter(TARGET_DEFAULT);
const QvfrgFltToAscii QvfrgFltToAscii::legacyFormatter(TARGET_LEGACY);

// ---------------------------------------------------------------------------
// Construction and settings

QvfrgFltToAscii::QvfrgFltToAscii() { setDefault(); }

QvfrgFltToAscii::QvfrgFltToAscii(TargetEnum target) { setTarget(target); }

QvfrgFltToAscii::QvfrgFltToAscii(const QvfrgFltToAscii& other) = default;

QvfrgFltToAscii& QvfrgFltToAscii::operator=(const QvfrgFltToAscii& other) = default;

QvfrgFltToAscii::~QvfrgFltToAscii() = default;

void QvfrgFltToAscii::setDefault() {
  base_ = BASE_DEFAULT;
  literalFormat_ = LITERAL_FORMAT_DEFAULT;
  treatMinusZeroAsZero_ = false;
  ensureBeingFloatingPoint_ = true;
  indicateSingleFloatingPoint_ = false;
  removeExtraZeroAfterSymbolE_ = true;
  setNonFiniteNumberSymbols(NF_SYMBOL_PLAIN);
  exponentSymbol_ = 'E';
  setPrecisionFormats(kDefaultFormats);
  doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltDefault;
  singleWriter_ = &QvfrgFltToAscii::writeSingleFltDefault;
}

void QvfrgFltToAscii::setTarget(TargetEnum target) {
  setDefault();
  switch (target) {
    case TARGET_DEFAULT:
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltDefaultCompact;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltDefaultCompact;
      break;
    case TARGET_EXPONENT:
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltToExponent;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltToExponent;
      break;
    case TARGET_EXPONENT_COMPACT:
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltToExponentCompact;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltToExponentCompact;
      break;
    case TARGET_LOWER_CASE:
      setUpCaseExponentSymbol(false);
      setPrecisionFormats(kLowerCaseFormats);
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltDefaultCompact;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltDefaultCompact;
      break;
    case TARGET_WEFT_CONCISE:
      setNonFiniteNumberSymbols(NF_SYMBOL_FRG);
      setIndicateSingleFloatingPoint(true);
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltFrgWeftConcise;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltFrgWeftConcise;
      break;
    case TARGET_WEFT_EXPONENTIAL:
      setNonFiniteNumberSymbols(NF_SYMBOL_FRG);
      setIndicateSingleFloatingPoint(true);
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltFrgWeftExponential;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltFrgWeftExponential;
      break;
    case TARGET_WEFT_CONCISE_SIGNED:
    case TARGET_WEFT_EXPONENTIAL_SIGNED:
      setTarget(target == TARGET_WEFT_CONCISE_SIGNED ? TARGET_WEFT_CONCISE : TARGET_WEFT_EXPONENTIAL);
      setNonFiniteNumberSymbols(NF_SYMBOL_FRG_SIGNED);
      setPrecisionFormats(kSignedFormats);
      break;
    case TARGET_WEFT_CONCISE_UNSUFFIXED:
    case TARGET_WEFT_CONCISE_BARE:
      setTarget(TARGET_WEFT_CONCISE);
      setEnsureBeingFloatingPoint(target == TARGET_WEFT_CONCISE_UNSUFFIXED);
      setIndicateSingleFloatingPoint(false);
      break;
    case TARGET_LOWER_CASE_BARE:
      setTarget(TARGET_LOWER_CASE);
      setEnsureBeingFloatingPoint(false);
      break;
    case TARGET_SAVE_VARS:
      setEnsureBeingFloatingPoint(false);
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltSaveVars;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltSaveVars;
      break;
    case TARGET_LEGACY:
      doubleWriter_ = &QvfrgFltToAscii::writeDoubleFltToLegacy;
      singleWriter_ = &QvfrgFltToAscii::writeSingleFltToLegacy;
      break;
    default:  // TARGET_PLAIN, 13 and every unknown number: the defaults
      break;
  }
}

void QvfrgFltToAscii::setNonFiniteNumberSymbols(NFSymbolEnum symbols) {
  const char* inf = "Inf";
  const char* minusInf = "-Inf";
  const char* nan = "NaN";
  if (symbols == NF_SYMBOL_FRG) {
    inf = "rtInf";
    minusInf = "rtMinusInf";
    nan = "rtNaN";
  } else if (symbols == NF_SYMBOL_FRG_SIGNED) {
    inf = "+rtInf";
    minusInf = "-rtInf";
    nan = "+rtNaN";
  }
  setInfSymbol(inf);
  setMinusInfSymbol(minusInf);
  setNaNSymbol(nan);
  setSingleInfSymbol(inf);
  setSingleMinusInfSymbol(minusInf);
  setSingleNaNSymbol(nan);
}

void QvfrgFltToAscii::setPrecisionFormat(FloatPrecisionFormatEnum slot, const char* format) {
  if (slot < PRECISION_DOUBLE || slot > PRECISION_SINGLE_EXP_MAX || format == nullptr) return;
  if (std::strlen(format) >= kFormatSize) return;
  const PrintfConversion conversion = qvsv::numeric::detail::ParsePrintfConversion(format);
  if (conversion.kind == PrintfConversion::kInvalid) return;
  const int index = slot - PRECISION_DOUBLE;
  std::strcpy(precisionFormats_[index], format);
  conversions_[index] = conversion;
}

void QvfrgFltToAscii::setPrecisionFormats(const char* const* formats) {
  for (int i = 0; i < kSlotCount; ++i) {
    setPrecisionFormat(static_cast<FloatPrecisionFormatEnum>(PRECISION_DOUBLE + i), formats[i]);
  }
}

void QvfrgFltToAscii::setBase(BaseEnum base) { base_ = base; }
BaseEnum QvfrgFltToAscii::getBase() const { return base_; }
void QvfrgFltToAscii::setLiteralFormat(FormatEnum format) { literalFormat_ = format; }
FormatEnum QvfrgFltToAscii::getLiteralFormat() const { return literalFormat_; }
void QvfrgFltToAscii::setRemoveExtraZeroAfterSymbolE(bool remove) { removeExtraZeroAfterSymbolE_ = remove; }
bool QvfrgFltToAscii::getRemoveExtraZeroAfterSymbolE() const { return removeExtraZeroAfterSymbolE_; }
void QvfrgFltToAscii::setTreatMinusZeroAsZero(bool treat) { treatMinusZeroAsZero_ = treat; }
bool QvfrgFltToAscii::getTreatMinusZeroAsZero() const { return treatMinusZeroAsZero_; }
void QvfrgFltToAscii::setEnsureBeingFloatingPoint(bool ensure) { ensureBeingFloatingPoint_ = ensure; }
bool QvfrgFltToAscii::getEnsureBeingFloatingPoint() const { return ensureBeingFloatingPoint_; }
void QvfrgFltToAscii::setIndicateSingleFloatingPoint(bool indicate) { indicateSingleFloatingPoint_ = indicate; }
void QvfrgFltToAscii::setUpCaseExponentSymbol(bool upper) { exponentSymbol_ = upper ? 'E' : 'e'; }

void QvfrgFltToAscii::setInfSymbol(const char* s) { infSymbol_ = s == nullptr ? "" : s; }
void QvfrgFltToAscii::setMinusInfSymbol(const char* s) { minusInfSymbol_ = s == nullptr ? "" : s; }
void QvfrgFltToAscii::setNaNSymbol(const char* s) { nanSymbol_ = s == nullptr ? "" : s; }
void QvfrgFltToAscii::setSingleInfSymbol(const char* s) { singleInfSymbol_ = s == nullptr ? "" : s; }
void QvfrgFltToAscii::setSingleMinusInfSymbol(const char* s) { singleMinusInfSymbol_ = s == nullptr ? "" : s; }
void QvfrgFltToAscii::setSingleNaNSymbol(const char* s) { singleNaNSymbol_ = s == nullptr ? "" : s; }
const char* QvfrgFltToAscii::getInfSymbol() const { return infSymbol_.c_str(); }
const char* QvfrgFltToAscii::getMinusInfSymbol() const { return minusInfSymbol_.c_str(); }
const char* QvfrgFltToAscii::getNaNSymbol() const { return nanSymbol_.c_str(); }
const char* QvfrgFltToAscii::getSingleInfSymbol() const { return singleInfSymbol_.c_str(); }
const char* QvfrgFltToAscii::getSingleMinusInfSymbol() const { return singleMinusInfSymbol_.c_str(); }
const char* QvfrgFltToAscii::getSingleNaNSymbol() const { return singleNaNSymbol_.c_str(); }

// ---------------------------------------------------------------------------
// Round-trip test and trimming

double QvfrgFltToAscii::convertStrToDouble(const char* const text) const {
  return tessel::StrtodLocaleIndependent(text, nullptr);
}

bool QvfrgFltToAscii::isStrRepEqualToDouble(double value, const char* const text) const {
  if (text == nullptr) return false;
  return convertStrToDouble(text) == value && std::atof(text) == value;
}

bool QvfrgFltToAscii::isStrRepEqualToFloat(float value, const char* const text) const {
  if (text == nullptr) return false;
  using qvsv::numeric::detail::NarrowToSingle;
  return NarrowToSingle(convertStrToDouble(text)) == value && NarrowToSingle(std::atof(text)) == value;
}

void QvfrgFltToAscii::removeExtraZerosAfterE(char* e, char* const end) const {
  if (e == nullptr || end == nullptr || e >= end) return;
  char* digits = e + 1;
  if (digits < end && (*digits == '+' || *digits == '-')) ++digits;
  char* p = digits;
  while (p < end && *p == '0') ++p;
  // An exponent of nothing but zeros keeps one.
  if (p > digits && (p == end || *p < '0' || *p > '9')) --p;
  if (p > digits) std::memmove(digits, p, std::strlen(p) + 1);
}

void QvfrgFltToAscii::removeTrailingZeros(char* const text, char* const end) const {
  if (text == nullptr || end == nullptr || end <= text) return;
  char* keep = end;
  while (keep - 1 > text && keep[-1] == '0' && keep[-2] != '.') --keep;
  if (keep != end) std::memmove(keep, end, std::strlen(end) + 1);
}

void QvfrgFltToAscii::removeRedundantZeroDigits(char* const text) const {
  if (text == nullptr) return;
  if (char* e = std::strchr(text, exponentSymbol_)) {
    if (removeExtraZeroAfterSymbolE_) removeExtraZerosAfterE(e, e + std::strlen(e));
    removeTrailingZeros(text, e);
    return;
  }
  std::size_t n = std::strlen(text);
  if (n > 0 && text[n - 1] == '.') {
    text[n++] = '0';
    text[n] = '\0';
  }
  removeTrailingZeros(text, text + n);
  if (ensureBeingFloatingPoint_) return;
  n = std::strlen(text);
  if (n >= 3 && text[n - 2] == '.' && text[n - 1] == '0') text[n - 2] = '\0';
}

// ---------------------------------------------------------------------------
// Writers

bool QvfrgFltToAscii::writeNonfiniteFloatingPoint(char* const dst, double v) const {
  if (!isNonFinite(v)) return false;
  const std::string& symbol = std::isnan(v) ? nanSymbol_ : (v > 0 ? infSymbol_ : minusInfSymbol_);
  copyOut(dst, symbol.c_str(), kMaxSymbolLength);
  return true;
}

bool QvfrgFltToAscii::writeNonfiniteFloatingPoint(char* const dst, float v) const {
  if (!isNonFinite(v)) return false;
  const std::string& symbol = std::isnan(v) ? singleNaNSymbol_ : (v > 0 ? singleInfSymbol_ : singleMinusInfSymbol_);
  copyOut(dst, symbol.c_str(), kMaxSymbolLength);
  return true;
}

void QvfrgFltToAscii::writeDoubleFlt(char* const dst, double v) const {
  if (dst != nullptr) (this->*doubleWriter_)(dst, v);
}

void QvfrgFltToAscii::writeSingleFlt(char* const dst, float v) const {
  if (dst != nullptr) (this->*singleWriter_)(dst, v);
}

namespace {

// The plain writers: one conversion, non-finite values included.
void writePlain(char* const dst, double v, const FixedFormat& format) {
  if (dst == nullptr) return;
  char work[kWorkSize];
  if (qvsv::numeric::detail::CLibraryMatchesEmulation()) {
    const PrintfConversion& c = format.conversion;
    if (isNonFinite(v)) {
      qvsv::numeric::detail::WriteNonFinite(work, c, std::signbit(v), std::isnan(v));
    } else {
      qvsv::numeric::detail::WriteFinite(work, c, std::signbit(v),
                                         qvsv::numeric::detail::RoundToSignificantDigits(std::fabs(v), c.digits));
    }
  } else {
    formatWithCLibrary(work, format.text, v);
  }
  copyOut(dst, work, QvfrgFltToAscii::kMaxSymbolLength);
}

}  // namespace

void QvfrgFltToAscii::writeDoubleFltDefault(char* const dst, double v) const { writePlain(dst, v, kPlainDouble); }
void QvfrgFltToAscii::writeSingleFltDefault(char* const dst, float v) const { writePlain(dst, v, kPlainSingle); }
void QvfrgFltToAscii::writeDoubleFltToExponent(char* const dst, double v) const { writePlain(dst, v, kExponentDouble); }
void QvfrgFltToAscii::writeSingleFltToExponent(char* const dst, float v) const { writePlain(dst, v, kExponentSingle); }
void QvfrgFltToAscii::writeDoubleFltToLegacy(char* const dst, double v) const { writePlain(dst, v, kLegacy); }
void QvfrgFltToAscii::writeSingleFltToLegacy(char* const dst, float v) const { writePlain(dst, v, kLegacy); }

namespace {

// The first try and, when its text does not read back (through both parsers,
// as the value's own type), the fallback, written into `work`, trimmed when
// `trim` is not null. The emulation needs the C library in its plain state and
// both conversions emulated; otherwise the C library writes, `readsBack(text)`
// runs the formatter's own round-trip test, and the text is left untrimmed:
// the function returns whether `trim` was applied.
template <typename ReadsBack>
bool roundTrip(char* work, double v, bool single, const char* firstText, const PrintfConversion& first,
               const char* fallbackText, const PrintfConversion& fallback,
               const qvsv::numeric::detail::TrimOptions* trim, const ReadsBack& readsBack) {
  if (first.kind == PrintfConversion::kEmulated && fallback.kind == PrintfConversion::kEmulated &&
      qvsv::numeric::detail::CLibraryMatchesEmulation()) {
    qvsv::numeric::detail::WriteRoundTrip(work, v, single, first, fallback, trim);
    return trim != nullptr;
  }
  formatWithCLibrary(work, firstText, v);
  if (!readsBack(work)) formatWithCLibrary(work, fallbackText, v);
  return false;
}

// Whether the emulation's own trimming gives the bytes removeRedundantZeroDigits
// would: it needs the '#' flag (a point in every text) and the exponent letter
// that the trimming searches for.
bool trimsLikeFormatter(const PrintfConversion& c, char exponentSymbol) {
  const bool upper = c.conversion == 'G' || c.conversion == 'E';
  return c.alternate && exponentSymbol == (upper ? 'E' : 'e');
}

}  // namespace

void QvfrgFltToAscii::writeCompact(char* const dst, double v, bool single, int firstSlot, int fallbackSlot) const {
  if (dst == nullptr) return;
  const int a = firstSlot - PRECISION_DOUBLE;
  const int b = fallbackSlot - PRECISION_DOUBLE;
  const qvsv::numeric::detail::TrimOptions options{removeExtraZeroAfterSymbolE_, ensureBeingFloatingPoint_};
  const bool direct =
      trimsLikeFormatter(conversions_[a], exponentSymbol_) && trimsLikeFormatter(conversions_[b], exponentSymbol_);
  char work[kWorkSize];
  // The usual case writes the trimmed text straight into the caller's buffer.
  char* const out = direct ? dst : work;
  const bool trimmed = roundTrip(out, v, single, precisionFormats_[a], conversions_[a], precisionFormats_[b],
                                 conversions_[b], direct ? &options : nullptr,
                                 [this, v, single](const char* text) { return readsBackLiterally(v, single, text); });
  if (trimmed) return;
  removeRedundantZeroDigits(out);
  if (out != dst) copyOut(dst, out, kMaxSymbolLength);
}

bool QvfrgFltToAscii::readsBackLiterally(double v, bool single, const char* text) const {
  return single ? isStrRepEqualToFloat(static_cast<float>(v), text) : isStrRepEqualToDouble(v, text);
}

void QvfrgFltToAscii::writeDoubleFltDefaultCompact(char* const dst, double v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  writeCompact(dst, v, false, PRECISION_DOUBLE, PRECISION_DOUBLE_FALLBACK);
}

void QvfrgFltToAscii::writeSingleFltDefaultCompact(char* const dst, float v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  // The largest finite single keeps one digit more in its fallback on purpose.
  writeCompact(dst, v, true, PRECISION_SINGLE,
               std::fabs(v) == FLT_MAX ? PRECISION_SINGLE_MAX : PRECISION_SINGLE_FALLBACK);
}

void QvfrgFltToAscii::writeDoubleFltToExponentCompact(char* const dst, double v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  writeCompact(dst, v, false, PRECISION_DOUBLE_EXP, PRECISION_DOUBLE_EXP_FALLBACK);
}

void QvfrgFltToAscii::writeSingleFltToExponentCompact(char* const dst, float v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  writeCompact(dst, v, true, PRECISION_SINGLE_EXP,
               std::fabs(v) == FLT_MAX ? PRECISION_SINGLE_EXP_MAX : PRECISION_SINGLE_EXP_FALLBACK);
}

void QvfrgFltToAscii::writeDoubleFltFrgWeftConcise(char* const dst, double v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  if (std::fabs(v) < 1e6) {
    writeDoubleFltDefaultCompact(dst, v);
  } else {
    writeDoubleFltToExponentCompact(dst, v);
  }
}

void QvfrgFltToAscii::writeDoubleFltFrgWeftExponential(char* const dst, double v) const {
  writeDoubleFltToExponentCompact(dst, v);
}

void QvfrgFltToAscii::appendSingleSuffix(char* const dst) const {
  if (!indicateSingleFloatingPoint_) return;
  const std::size_t n = std::strlen(dst);
  if (n + 1 < kBufferSize) {
    dst[n] = 'F';
    dst[n + 1] = '\0';
  }
}

void QvfrgFltToAscii::writeSingleFltFrgWeftConcise(char* const dst, float v) const {
  if (dst == nullptr) return;
  if (!writeNonfiniteFloatingPoint(dst, v)) {
    if (std::fabs(v) < 1e6f) {
      writeSingleFltDefaultCompact(dst, v);
    } else {
      writeSingleFltToExponentCompact(dst, v);
    }
  }
  appendSingleSuffix(dst);
}

void QvfrgFltToAscii::writeSingleFltFrgWeftExponential(char* const dst, float v) const {
  if (dst == nullptr) return;
  writeSingleFltToExponentCompact(dst, v);
  appendSingleSuffix(dst);
}

void QvfrgFltToAscii::writeSaveVars(char* const dst, double v, bool single) const {
  char work[kWorkSize];
  const bool positional = single ? std::fabs(static_cast<float>(v)) < 1e6f : std::fabs(v) < 1e6;
  const FixedFormat* formats = single ? kSaveVarsSingle : kSaveVarsDouble;
  const FixedFormat& first = formats[positional ? 0 : 2];
  const bool largest = single && !positional && std::fabs(v) == FLT_MAX;
  const FixedFormat& fallback = largest ? formats[4] : formats[positional ? 1 : 3];
  roundTrip(work, v, single, first.text, first.conversion, fallback.text, fallback.conversion, nullptr,
            [this, v, single](const char* text) { return readsBackLiterally(v, single, text); });
  // Fixed exponent letter; the slots, the exponent symbol and both trimming
  // settings do not apply here.
  if (char* e = std::strchr(work, 'E')) {
    removeExtraZerosAfterE(e, e + std::strlen(e));
    if (!positional) removeTrailingZeros(work, e);
  }
  copyOut(dst, work, kMaxSymbolLength);
}

void QvfrgFltToAscii::writeDoubleFltSaveVars(char* const dst, double v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  writeSaveVars(dst, v, false);
}

void QvfrgFltToAscii::writeSingleFltSaveVars(char* const dst, float v) const {
  if (dst == nullptr || (isNonFinite(v) && writeNonfiniteFloatingPoint(dst, v))) return;
  writeSaveVars(dst, v, true);
}
