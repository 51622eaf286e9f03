// Helpers of the tcos tests: what a call throws, and arrays that destroy
// themselves.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic.hpp"
#include "qv_services/except.hpp"
#include "tessel/array.hpp"

namespace qvsv::test {

struct ArrayDeleter {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using Array = std::unique_ptr<txArray, ArrayDeleter>;

// "" when fn returns normally, else the identifier of the diagnostic it threw
// (its first item) and, with the cause of that item, " <- " and the cause's.
inline std::string FailureOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const qvsv::except::DiagnosticException& e) {
    qvsvDiagnosticImpl* diag = e.diagnostic();
    std::string id = qvsvGetIdentifierFromDiagnosticItem(diag, 0);
    if (qvsvDiagnosticImpl* cause = qvsvGetCauseFromDiagnosticItem(diag, 0)) {
      id += std::string(" <- ") + qvsvGetIdentifierFromDiagnosticItem(cause, 0);
    }
    return id;
  }
  return "";
}

// The same for the message, UTF-8: the first item's and its cause's.
inline std::string MessageOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const qvsv::except::DiagnosticException& e) {
    std::string text = e.what();
    if (qvsvDiagnosticImpl* cause = qvsvGetCauseFromDiagnosticItem(e.diagnostic(), 0)) {
      text += " <- " + ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(cause, 0));
    }
    return text;
  }
  return "";
}

}  // namespace qvsv::test
