// Demo section: text that is a literal or a catalogued identifier, escaping
// styles, narrow encodings and enumeration tables.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/encodings.hpp"
#include "qv_services/enum_table.hpp"
#include "qv_services/except.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/string_or_id.hpp"
#include "tessel/foundation.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string utf8(const std::u16string& text) { return ConvertUStringToStdString(text, true); }

void showTextValues() {
  const qvsvStringOrID stored =
      qvsvStringOrID::fromIdentifier("QV_SERVICES:utils:InvalidHookName", {std::u16string(u"Gain")});
  std::cout << "stored identifier, en: " << utf8(stored.text()) << "\n";
  {
    tessel::ScopedGlobalLocale german("de_DE");
    std::cout << "the same value, de:    " << utf8(stored.text()) << "\n";
  }

  const std::u16string sample = u"Gain \"K\"\t\u00E9 \U0001F600";
  for (const int style : {kQvsvEscapeStyleC, kQvsvEscapeStyleJson, kQvsvEscapeStyleAscii, kQvsvEscapeStyleXml,
                          kQvsvEscapeStyleUrl}) {
    std::cout << "escaped as " << qvsvEscapeStyleName(style) << ": " << ConvertUStringWithEscaping(sample, style)
              << "\n";
  }
  const std::string latin1 = ConvertUStringToNarrow(u"5 \u20AC caf\u00E9", "latin1");
  std::cout << "\"5 \u20AC caf\u00E9\" in Latin-1: " << latin1.size() << " bytes, read back as \""
            << utf8(ConvertNarrowToUString(latin1, "latin1")) << "\"\n";

  const auto& contexts = *QVENUM_DiagnosticListenerContext;
  for (const auto& entry : contexts) {
    std::cout << "context " << entry.value << " = " << entry.name << " (" << utf8(entry.display.text()) << ")\n";
  }
  try {
    (void)contexts.valueOf("warning");
  } catch (const qvsv::except::DiagnosticException& e) {
    std::cout << e.identifier() << ": " << e.what() << "\n";
  }
}

const DemoSection kTextValues(45, "Text values, escaping, encodings and enumeration tables", showTextValues);

}  // namespace
}  // namespace qvsv::tool
