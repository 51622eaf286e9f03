// Hotlinks: making them from the catalogue templates, removing them by
// pattern, and forcing them into the last item's arguments.
#include <unicode/regex.h>

#include <memory>

#include "qv_services/conversions.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/ut.hpp"

namespace {

constexpr UChar kPattern[] = u"<a\\s+href\\s*=\\s*\"tessel\\s*:[^\\\\\"]*(?:\\\\.[^\\\\\"]*)*\"\\s*>(.*?)</a>";
constexpr UChar kReplacement[] = u"$1";

// Compiled once (case-insensitive and dot-matches-all); null if ICU refuses it.
const icu::RegexPattern* hotlinkPattern() {
  static const std::unique_ptr<icu::RegexPattern> pattern = [] {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString(kPattern), UREGEX_CASE_INSENSITIVE | UREGEX_DOTALL, parseError, status));
    if (U_FAILURE(status)) compiled.reset();
    return compiled;
  }();
  return pattern.get();
}

}  // namespace

namespace qvsv {

std::u16string removeHotLinks(const std::u16string& text) {
  const icu::RegexPattern* pattern = hotlinkPattern();
  if (pattern == nullptr) return text;
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString input(false, text.data(), static_cast<int32_t>(text.size()));
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
  if (U_FAILURE(status)) return text;
  const icu::UnicodeString replaced = matcher->replaceAll(icu::UnicodeString(kReplacement), status);
  if (U_FAILURE(status)) return text;
  return std::u16string(replaced.getBuffer(), static_cast<std::size_t>(replaced.length()));
}

std::string removeHotLinks(const std::string& text) {
  return ConvertUStringToStdString(removeHotLinks(ConvertStdStringToUString(text, true)), true);
}

}  // namespace qvsv

std::u16string qvsvCreateHotlinkString(const std::u16string& command, const std::u16string& commandArgument,
                                       const std::u16string& text, std::u16string plainText) {
  if (utPrintfIsHot()) {
    if (!commandArgument.empty()) {
      return qvsvGetMessageFromMessageIDAsUString(
          resource_core::BaseMsgID("QV_SERVICES:utils", "HotlinkTemplateArg", {command, commandArgument, text}), true);
    }
    return qvsvGetMessageFromMessageIDAsUString(
        resource_core::BaseMsgID("QV_SERVICES:utils", "HotlinkTemplate", {command, text}), true);
  }
  return plainText.empty() ? text : plainText;
}

void hot_link_visitor::visit(std::u16string& argument) {
  if (callback_ != nullptr) callback_(argument, true);
}

void hot_link_visitor::visit(std::int64_t&) {}

void hot_link_visitor::visit(std::string& argument) {
  if (callback_ == nullptr) return;
  std::u16string wide = ConvertStdStringToUString(argument, true);
  // -1.0 means "left unchanged"; anything else, NaN included, means "use it".
  if (!(callback_(wide, true) == -1.0)) argument = ConvertUStringToStdString(wide, true);
}

hot_link_visitor::~hot_link_visitor() = default;

void qvsvForceCreateHotlinks(qvsvDiagnosticImpl*& diag) {
  const qvsvCreateHotlinkCallback callback = qvsvGetGlobalQVCreateHotlinkCallback();
  if (diag == nullptr || diag->isEmpty() || callback == nullptr) return;
  qvsvArgumentVector arguments = qvsvGetArgumentsFromLastDiagnostic(diag);
  if (arguments.empty()) return;
  MutableBaseMsgID id("", "", std::move(arguments));
  hot_link_visitor visitor(callback);
  id.setArguments(visitor);
  qvsvReplaceLastDiagnosticArguments(diag, id.arguments());
}
