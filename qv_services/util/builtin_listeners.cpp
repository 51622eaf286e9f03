// The default warning listener, the test listener and its helper.
#include "qv_services/feature.hpp"
#include "qv_services/feature/detail/feature_access.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/util/listener_registry.hpp"

namespace qvsv::util {

bool CDefaultWarningListener::notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context,
                                     const std::u16string&) {
  if (context != kWarningContext) return false;
  // qvsvWarning shows the copy directly, without coming back to the listeners.
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
  qvsvWarning(copy, nullptr, 0, std::u16string());
  return true;
}

TestWarningListener::~TestWarningListener() {
  for (qvsvDiagnosticImpl*& diag : captured_) qvsvDiscardDiagnostic(diag);
}

bool TestWarningListener::notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext,
                                 const std::u16string&) {
  if (QvFeatureNativeAccess::get(QVFEAT_MessageViewer) != 1) return false;
  // Room first: a copy made before a failed push_back would be lost.
  captured_.reserve(captured_.size() + 1);
  captured_.push_back(qvsvDuplicateDiagnostic(diag));
  return true;
}

namespace {

// The listener that the living helpers share; gone with the last helper.
std::weak_ptr<TestWarningListener>& current() {
  static auto* listener = new std::weak_ptr<TestWarningListener>;
  return *listener;
}

qvsvDiagnosticImpl* capturedAt(unsigned i) {
  const std::shared_ptr<TestWarningListener> listener = current().lock();
  if (!listener || i >= listener->captured().size()) return nullptr;
  return listener->captured()[i];
}

}  // namespace

TestWarningHelper::TestWarningHelper() : listener_(current().lock()) {
  if (!listener_) {
    listener_ = std::make_shared<TestWarningListener>();
    current() = listener_;
  }
  qvsvRegisterDiagnosticListener(listener_);
}

TestWarningHelper::~TestWarningHelper() {
  if (listener_.use_count() == 1) qvsv::detail::UnregisterListener(listener_->name());
  listener_.reset();
}

unsigned TestWarningHelper::getNumberCapturedDiagnostics() {
  const std::shared_ptr<TestWarningListener> listener = current().lock();
  return listener ? static_cast<unsigned>(listener->captured().size()) : 0;
}

std::string TestWarningHelper::getDiagnosticID(unsigned i) {
  qvsvDiagnosticImpl* diag = capturedAt(i);
  return diag == nullptr ? std::string() : qvsvGetCombinedErrorIdentifier(diag);
}

std::u16string TestWarningHelper::getDiagnosticMessage(unsigned i) {
  qvsvDiagnosticImpl* diag = capturedAt(i);
  return diag == nullptr ? std::u16string() : qvsvGetCombinedErrorMessage(diag);
}

qvsvArgumentVector TestWarningHelper::getDiagnosticArguments(unsigned i) {
  return qvsvGetArgumentsFromLastDiagnostic(capturedAt(i));
}

std::vector<double> TestWarningHelper::getDiagnosticHandles(unsigned i) {
  return qvsvGetHandlesFromDiagnosticItem(capturedAt(i), 0);
}

}  // namespace qvsv::util
