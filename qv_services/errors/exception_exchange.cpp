// Exchange between diagnostics and other exception types.
#include "qv_services/exception_exchange.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <typeinfo>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/errors/exchange_messages.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/catalog.hpp"

namespace {

using qvsv::detail::ExchangeDiagnostic;

std::string typeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> demangled(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                       &std::free);
  std::string name = status == 0 && demangled ? std::string(demangled.get()) : std::string(type.name());
  // std::throw_with_nested throws a library type wrapping the one given;
  // the given one is what the thrower named.
  static const std::string wrapper = "std::_Nested_exception<";
  if (name.size() > wrapper.size() && name.compare(0, wrapper.size(), wrapper) == 0 && name.back() == '>') {
    name = name.substr(wrapper.size(), name.size() - wrapper.size() - 1);
  }
  return name;
}

// For an exception that was to carry a diagnostic but no longer does.
qvsvDiagnosticImpl* fromIdentifierAndText(const std::string& identifier, const char* text) {
  if (identifier.empty() && (text == nullptr || *text == '\0')) return ExchangeDiagnostic("UnknownException");
  return qvsvCreateDiagnosticFromIdAndMsg(identifier.c_str(), text);
}

qvsvDiagnosticImpl* fromHostError(const tessel::HostError& e) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(e.identifier().c_str(), e.what());
  qvsvDiagnosticItem* item = diag->lastItem();
  if (item == nullptr || item->isShared) return diag;
  try {
    // Where the host raised it, not where it was caught.
    txArray* stack = tessel::CallStackToArray(e.stack());
    txMakeArrayPersistent(stack);
    txDestroyArray(item->callStack);
    item->callStack = stack;
  } catch (...) {
    qvsvDiscardDiagnostic(diag);
    throw;
  }
  return diag;
}

// The diagnostic of one exception, not looking at what is nested in it.
qvsvDiagnosticImpl* fromOne(const std::exception_ptr& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const std::bad_alloc&) {
    return qvsvCreateMemoryAllocationDiagnostic();
  } catch (qvsv::except::DiagnosticException& e) {
    qvsvDiagnosticImpl* diag = e.takeDiagnostic();
    return diag != nullptr ? diag : fromIdentifierAndText(e.identifier(), e.what());
  } catch (qvsv::except::HostDiagnosticError& e) {
    qvsvDiagnosticImpl* diag = e.takeDiagnostic();
    return diag != nullptr ? diag : fromIdentifierAndText(e.identifier(), e.what());
  } catch (const tessel::HostError& e) {
    return fromHostError(e);
  } catch (const resource_core::CatalogError& e) {
    return ExchangeDiagnostic("CatalogError", {e.identifier(), e.locale(), std::string(e.what())});
  } catch (const std::system_error& e) {
    return ExchangeDiagnostic("SystemError", {std::int64_t{e.code().value()}, std::string(e.code().category().name()),
                                              std::string(e.what())});
  } catch (const std::exception& e) {
    return ExchangeDiagnostic("StdException", {std::string(e.what()), typeName(typeid(e))});
  } catch (...) {
    return ExchangeDiagnostic("UnknownException");
  }
}

std::exception_ptr nestedIn(const std::exception_ptr& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const std::nested_exception& nested) {
    return nested.nested_ptr();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

qvsvDiagnosticImpl* qvsvDiagnosticFromException(const std::exception_ptr& exception) noexcept {
  if (!exception) return nullptr;
  qvsvDiagnosticImpl* root = nullptr;
  try {
    root = fromOne(exception);
    // Each level's diagnostic goes under the last item of the level before.
    qvsvDiagnosticImpl* innermost = root;
    std::exception_ptr next = nestedIn(exception);
    for (int depth = 0; next && depth < kQvsvMaxRestoredCauseDepth; ++depth) {
      qvsvDiagnosticImpl* cause = fromOne(next);
      qvsvDiagnosticItem* last = innermost->lastItem();
      qvsvAddCauseToLastDiagnosticItem(innermost, cause);
      if (cause == nullptr) {
        innermost = last->cause;
      } else {
        // That item takes no causes (a static one): the cause follows it as
        // further items rather than being lost, and the chain goes on below.
        qvsvConcatenateDiagnostics(innermost, cause, false);
        qvsvDiscardDiagnostic(cause);
      }
      next = nestedIn(next);
    }
    return root;
  } catch (...) {
    qvsvDiscardDiagnostic(root);
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

qvsvDiagnosticImpl* qvsvDiagnosticFromCurrentException() noexcept {
  return qvsvDiagnosticFromException(std::current_exception());
}

namespace qvsv::except {

HostDiagnosticError::HostDiagnosticError(qvsvDiagnosticImpl*& diag) : HostDiagnosticError(DiagnosticException(diag)) {}

HostDiagnosticError::HostDiagnosticError(DiagnosticException payload)
    : tessel::HostError(payload.identifier(), payload.what()), payload_(std::move(payload)) {}

HostDiagnosticError::~HostDiagnosticError() = default;

void RaiseInHost(qvsvDiagnosticImpl*& diag) {
  if (diag == nullptr || diag->isEmpty()) {
    qvsvDiscardDiagnostic(diag);
    return;
  }
  throw HostDiagnosticError(diag);
}

}  // namespace qvsv::except
