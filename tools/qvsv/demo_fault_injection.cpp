// Demo section: fault injection reporting allocations, then failing one, which
// the library records as the out-of-memory item.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/fault_injection.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

void showFaultInjection() {
  ScopedExceptionTesting reporting(0);
  qvsvCreateExceptionTesterByName(fault::kHandleArray);
  QVSV_ExceptionTester* tester = qvsvGetExceptionTesterByName(fault::kHandleArray);
  tester->setIterationToSkip(1);
  std::cout << "Report mode, every second handle array reported:\n";
  std::cout.flush();
  const double handles[] = {4.0};
  for (int i = 0; i < 2; ++i) {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(handles, 1, "Demo:handles", u"with a handle");
    qvsvDiscardDiagnostic(diag);
  }

  QVSV_ExceptionTester::staticTesterMode = 1;
  tester->resetIterationToThrow();
  tester->setIterationToSkip(0);
  qvsvDiagnosticImpl* failed = qvsvCreateDiagnosticFromIdAndMsg(handles, 1, "Demo:handles", u"with a handle");
  std::cout << "Fail mode, the handle array cannot be allocated: " << qvsvGetIdentifierFromDiagnosticItem(failed, 0)
            << ": " << ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(failed, 0)) << "\n";
  qvsvDiscardDiagnostic(failed);
}

const DemoSection kFaultInjection(95, "Allocation fault injection", showFaultInjection);

}  // namespace
}  // namespace qvsv::tool
