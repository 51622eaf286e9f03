// The enumeration table of the float formatter's targets. Target 13 has no
// enumerator and so no entry: it is not a value callers can name.
#include "qv_services/enum_table.hpp"
#include "qv_services/float_formatter.hpp"

namespace {

using namespace QVSV_Flt2Ascii;

const qvsvEnumTable<TargetEnum> kFloatTargets(
    "FloatFormatterTarget",
    {{TARGET_PLAIN, "TARGET_PLAIN", "QV_SERVICES:strings:FloatTargetPlain"},
     {TARGET_DEFAULT, "TARGET_DEFAULT", "QV_SERVICES:strings:FloatTargetDefault"},
     {TARGET_EXPONENT, "TARGET_EXPONENT", "QV_SERVICES:strings:FloatTargetExponent"},
     {TARGET_EXPONENT_COMPACT, "TARGET_EXPONENT_COMPACT", "QV_SERVICES:strings:FloatTargetExponentCompact"},
     {TARGET_LOWER_CASE, "TARGET_LOWER_CASE", "QV_SERVICES:strings:FloatTargetLowerCase"},
     {TARGET_WEFT_CONCISE, "TARGET_WEFT_CONCISE", "QV_SERVICES:strings:FloatTargetWeftConcise"},
     {TARGET_WEFT_EXPONENTIAL, "TARGET_WEFT_EXPONENTIAL", "QV_SERVICES:strings:FloatTargetWeftExponential"},
     {TARGET_WEFT_CONCISE_SIGNED, "TARGET_WEFT_CONCISE_SIGNED", "QV_SERVICES:strings:FloatTargetWeftConciseSigned"},
     {TARGET_WEFT_EXPONENTIAL_SIGNED, "TARGET_WEFT_EXPONENTIAL_SIGNED",
      "QV_SERVICES:strings:FloatTargetWeftExponentialSigned"},
     {TARGET_WEFT_CONCISE_UNSUFFIXED, "TARGET_WEFT_CONCISE_UNSUFFIXED",
      "QV_SERVICES:strings:FloatTargetWeftConciseUnsuffixed"},
     {TARGET_WEFT_CONCISE_BARE, "TARGET_WEFT_CONCISE_BARE", "QV_SERVICES:strings:FloatTargetWeftConciseBare"},
     {TARGET_LOWER_CASE_BARE, "TARGET_LOWER_CASE_BARE", "QV_SERVICES:strings:FloatTargetLowerCaseBare"},
     {TARGET_SAVE_VARS, "TARGET_SAVE_VARS", "QV_SERVICES:strings:FloatTargetSaveVars"},
     {TARGET_LEGACY, "TARGET_LEGACY", "QV_SERVICES:strings:FloatTargetLegacy"}});

}  // namespace

const qvsvEnumTable<TargetEnum>* QVENUM_FloatFormatterTarget = &kFloatTargets;
