// The module's host-callable entries for diagnostics and the record of the
// last reported diagnostic.
#include "qv_services/errors/host_entries.hpp"

#include <string>

#include "qv_services/array_form.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/array_form_fields.hpp"
#include "qv_services/errors/exchange_messages.hpp"
#include "qv_services/exception_exchange.hpp"

namespace qvsv::detail {
namespace {

// The kept form: persistent, owned here, replaced by each recorded report.
struct LastReported {
  txArray* form = nullptr;
  int context = 0;
  bool lost = false;  // the last report's form could not be made
  ~LastReported() { txDestroyArray(form); }
};

LastReported& lastReported() {
  static LastReported record;
  return record;
}

const char* contextName(int context) {
  switch (context) {
    case 1: return "warning";
    case 2: return "error";
    case 3: return "info";
    default: return "";
  }
}

// Raises the entry's own argument error as a host error with its identifier.
void checkArguments(const char* entry, int nlhs, int maxOutputs, int nrhs, int inputs) {
  if (nrhs == inputs && nlhs <= maxOutputs) return;
  qvsvDiagnosticImpl* diag = ExchangeDiagnostic(
      "EntryArguments", {std::string(entry), std::int64_t{inputs}, std::int64_t{maxOutputs}});
  qvsv::except::RaiseInHost(diag);
}

}  // namespace

void GetLastReportedEntry(int nlhs, txArray* plhs[], int nrhs, txArray*[]) {
  checkArguments(kGetLastReportedEntry, nlhs, 2, nrhs, 0);
  const LastReported& record = lastReported();
  if (record.lost) {
    qvsvDiagnosticImpl* shortage = qvsvCreateMemoryAllocationDiagnostic();
    qvsv::except::RaiseInHost(shortage);
  }
  ArrayPtr form = MakeArray([&] {
    return record.form != nullptr ? txCreateSharedDataCopy(record.form) : txCreateStructMatrix(1, 0, FormFieldNames());
  });
  if (nlhs >= 2) plhs[1] = MakeArray([&] { return txCreateStringFromUTF8(contextName(record.context)); }).release();
  if (nlhs >= 1) plhs[0] = form.release();
}

void RaiseEntry(int nlhs, txArray*[], int nrhs, txArray* prhs[]) {
  checkArguments(kRaiseEntry, nlhs, 0, nrhs, 1);
  qvsvDiagnosticImpl* diag = nullptr;
  qvsvDiagnosticImpl* malformed = qvsvDiagnosticFromArray_NoThrow(prhs[0], diag);
  qvsv::except::RaiseInHost(malformed != nullptr ? malformed : diag);
}

void RecordReportedDiagnostic(qvsvDiagnosticImpl* const& diag, int context) noexcept {
  ForgetReportedDiagnostic();
  LastReported& record = lastReported();
  try {
    // Asking the host allocates too (the entry's name as a string).
    if (!tessel::IsFunctionRegistered(kGetLastReportedEntry)) return;
    record.context = context;
    txArray* form = qvsvDiagnosticToArray(diag);
    txMakeArrayPersistent(form);
    record.form = form;
  } catch (...) {
    // Short of memory: host code that reads the record learns so, rather
    // than reading nothing or the report before.
    record.context = context;
    record.lost = true;
  }
}

void ForgetReportedDiagnostic() noexcept {
  LastReported& record = lastReported();
  txArray* form = record.form;
  record.form = nullptr;
  record.context = 0;
  record.lost = false;
  txDestroyArray(form);
}

}  // namespace qvsv::detail
