// qvsvStringOrID: a piece of user-visible text that is either literal wide
// text or a catalogued message identifier with arguments.
//
// Rules of the design:
//  - The text of an identifier is looked up when it is asked for, never when
//    the value is made: a stored value follows later changes of the host's
//    global locale, and an identifier the catalogue does not know is not an
//    error until its text is asked for (then resource_core::CatalogError, the
//    catalogue's own error naming the identifier and the locale, propagates).
//  - Two values are equal when they are of the same kind and hold the same
//    content: literal text against literal text, identifier and arguments
//    against identifier and arguments. A literal never equals an identifier,
//    even when the catalogue's text is the same. Arguments compare by what they
//    show: a narrow (UTF-8) and a wide string of the same text are the same
//    argument, an integer never equals a string.
//  - The host-array form is a character row for literal text, and a 1 x 1
//    struct with the fields "Identifier" (a character row, "catalogue:key")
//    and "Arguments" (a cell row of double scalars holding integers and of
//    character rows) for an identifier. Arrays returned are owned by the caller
//    (temporary inside an open tessel::HostCallScope, as any new array).
//    Reading a host array that is neither form throws a
//    qvsv::except::DiagnosticException whose message names what was wrong.
//  - A value is a plain copyable value; nothing is shared between copies.
//
//   qvsvStringOrID title(u"Signal properties");                 // literal
//   qvsvStringOrID note = qvsvStringOrID::fromIdentifier(
//       "QV_SERVICES:utils:InvalidHookName", {std::u16string(u"Gain")});
//   note.text();               // "'Gain' is not the name of a testing hook." (en)
//   qvsvDiagnosticImpl* d = qvsvCreateDiagnosticFromStringOrID(note);
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "qv_services/diagnostic.hpp"
#include "qv_services/export.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"

class QVSV_API qvsvStringOrID {
 public:
  // Empty literal text.
  qvsvStringOrID();
  // Literal text. A null pointer is the empty text.
  qvsvStringOrID(std::u16string text);
  qvsvStringOrID(const char16_t* text);
  // A catalogued message: the identifier's catalogue, key and arguments are copied.
  explicit qvsvStringOrID(const resource_core::BaseMsgID& id);

  // A catalogued message from "catalogue:key" (split at the last colon). Text
  // without a colon, or with an empty catalogue or key, cannot name a message
  // and throws std::invalid_argument naming it; whether the catalogue knows the
  // identifier is only found out when its text is asked for.
  static qvsvStringOrID fromIdentifier(std::string_view identifier, qvsvArgumentVector arguments = {});

  bool isMessageID() const { return std::holds_alternative<resource_core::BaseMsgID>(value_); }
  bool isString() const { return !isMessageID(); }

  // The literal text; empty for an identifier.
  const std::u16string& literal() const;
  // The message identifier, or null for literal text. Owned by this value.
  const resource_core::BaseMsgID* messageID() const;
  // "catalogue:key", or empty for literal text.
  std::string identifier() const;

  // The text in the host's current global locale: the literal itself, or the
  // catalogue's text with the arguments placed (CatalogError when unknown).
  std::u16string text() const;
  // The same in the given locale ("de", "en_US", ...), with the catalogue's fallback.
  std::u16string text(const std::string& locale) const;
  // The same in the catalogue's default locale.
  std::u16string defaultText() const;

  // The host-array form (see the rules above). An integer argument whose
  // magnitude is above 2^53 has no exact double and throws std::out_of_range
  // naming it: nothing is lost silently.
  txArray* toHostArray() const;
  // Reads either host-array form. A null array is the empty literal text.
  static qvsvStringOrID fromHostArray(const txArray* array);

  friend QVSV_API bool operator==(const qvsvStringOrID& a, const qvsvStringOrID& b);

 private:
  std::variant<std::u16string, resource_core::BaseMsgID> value_;
};

// --- The value as the message of a new diagnostic (owned by the caller). An
// identifier goes through qvsvCreateDiagnosticFromMessageID (catalogue text
// in the global locale, the arguments kept on the item; an unknown identifier
// throws the catalogue's error); literal text goes through
// qvsvCreateDiagnosticFromIdAndMsg with identifierForText, whose null and
// empty values are treated as there. ---
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromStringOrID(const qvsvStringOrID& message,
                                                                            const char* identifierForText = nullptr);
// The same with object handles (count handles are copied).
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromStringOrID(const double* handles, int count,
                                                                            const qvsvStringOrID& message,
                                                                            const char* identifierForText = nullptr);
