#include "qv_services/errors/exchange_messages.hpp"

#include <new>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"

namespace qvsv::detail {

qvsvDiagnosticImpl* ExchangeDiagnostic(const char* key, const qvsvArgumentVector& arguments) noexcept {
  try {
    const resource_core::BaseMsgID id(kExchangeCatalog, key, arguments);
    try {
      return qvsvCreateDiagnosticFromMessageID(id);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& e) {
      qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(id.identifier().c_str(), e.what());
      try {
        if (!arguments.empty() && !diag->isEmpty() && !diag->lastItem()->isShared) {
          diag->lastItem()->arguments = MakeArgumentArray(arguments);
        }
      } catch (...) {
        qvsvDiscardDiagnostic(diag);
        throw;
      }
      return diag;
    }
  } catch (...) {
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

std::u16string ExchangeText(const char* key) {
  try {
    return qvsvGetMessageFromMessageIDAsUString(resource_core::BaseMsgID(kExchangeCatalog, key), true);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return ConvertStdStringToUString(key);
  }
}

}  // namespace qvsv::detail
