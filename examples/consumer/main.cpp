// Creates and merges diagnostics, reports a warning to a listener and renders
// HTML, with nothing but the installed package.
#include <iostream>
#include <memory>

#include "qv_services/qv_services.hpp"

namespace {

class PrintingListener : public qvsv::util::CDiagnosticListener {
 public:
  bool notify(qvsvDiagnosticImpl* const& diag, qvsv::util::qvsvDiagnosticListenerContext context,
              const std::u16string&) override {
    std::cout << "listener heard (context " << context << "): " << qvsvGetCombinedErrorIdentifier(diag) << "\n";
    return true;
  }
  const char* name() const override { return "consumer.listener"; }
};

}  // namespace

int main() {
  TLInitialize_qv_services();
  qvsvDiagnosticImpl* queue = nullptr;
  qvsvConcatenateDiagnostics(queue, qvsvCreateDiagnosticFromIdAndMsg("Consumer:demo:First", u"First <problem>."),
                             false);
  qvsvDiagnosticImpl* second = qvsvCreateDiagnosticFromMessageID(
      resource_core::BaseMsgID("QV_SERVICES:utils", "InvalidHookName", {std::string("NoSuchHook")}));
  qvsvConcatenateDiagnostics(queue, second, false);
  std::cout << "queue of " << qvsvGetNumItemsInDiagnostic(queue) << " items\n";
  std::cout << ConvertUStringToStdString(qvsvSerializeToHTMLCreate(queue, true)) << "\n";

  auto listener = std::make_shared<PrintingListener>();
  qvsvRegisterDiagnosticListener(listener);
  qvsvReportAsWarning(queue);
  qvsvUnRegisterDiagnosticListener(listener->name());
  TLTerminate_qv_services();
  return queue == nullptr ? 0 : 1;
}
