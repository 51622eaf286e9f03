// Texts made for the host: the host-language literal of a text, and the
// catalogue's joining of two texts.
#include <mutex>
#include <string>

#include "qv_services/regexp.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/catalog.hpp"

namespace {

// The characters that a quoted host-language text cannot hold as they are: the
// line ends (line feed to carriage return) and the double quote, which become
// char(N) calls, and the quote itself, which is doubled. One matcher serves
// the process; matching changes its state, so it is used under a lock.
struct LiteralBreakers {
  static LiteralBreakers& instance() {
    static LiteralBreakers breakers;
    return breakers;
  }
  std::mutex mutex;
  const qvsv::regexp::matcher_handle matcher = qvsv::regexp::createMatcher(u"[\\n-\\r\"']");
};

std::u16string literalPiece(const std::u16string& match, bool&) {
  const char16_t c = match.front();
  if (c == u'\'') return u"''";
  // Closes the quoted text, produces the character from its code and reopens.
  std::u16string piece = u"' char(";
  for (char digit : std::to_string(static_cast<unsigned>(c))) piece.push_back(static_cast<char16_t>(digit));
  piece += u") '";
  return piece;
}

}  // namespace

std::u16string qvsvMAT2str(const std::u16string& text) {
  LiteralBreakers& breakers = LiteralBreakers::instance();
  const std::lock_guard<std::mutex> lock(breakers.mutex);
  return u"['" + qvsv::regexp::regexp_replace(breakers.matcher, text, literalPiece) + u"']";
}

std::u16string ConcatenateStringsWithSpace(const std::u16string& a, const std::u16string& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return resource_core::GetMessageTextInGlobalLocale(resource_core::BaseMsgID("QV_SERVICES:utils", "Concatenate", {a, b}));
}
