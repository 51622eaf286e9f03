// Demo section: the tracer's statistics for people, for tools and for the host.
#include <iostream>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/tracer.hpp"
#include "tessel/array.hpp"
#include "tessel/interpreter.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

void buildAndDiscardQueue(int items) {
  QvTracer trace("demo.queue");
  qvsvDiagnosticImpl* queue = nullptr;
  const double handles[] = {1.5, 2.5};
  for (int i = 0; i < items; ++i) {
    qvsvConcatenateDiagnostics(queue, qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "Demo:item", u"an item"), false);
  }
  qvsvDiscardDiagnostic(queue);
}

// Recursion: only the outermost span of a name is measured.
void lookUpMessages(int depth) {
  QvTracer trace("demo.catalogue");
  qvsvDiagnosticImpl* diag = qvsvCreateInterruptError(depth % 2 == 0);
  qvsvDiscardDiagnostic(diag);
  if (depth > 0) lookUpMessages(depth - 1);
}

void showTracer() {
  QvTracerClearStat();
  {
    QvTracer before("demo.madeWhileOff");  // made while off: never recorded
    QvTracerSetOn();
  }
  for (int run = 0; run < 4; ++run) buildAndDiscardQueue(50);
  lookUpMessages(3);
  QvTracerSetOff();

  QvTracerPrintStat();
  std::cout << "As JSON:\n" << QvTracerGetStatJson() << "\n";

  txArray* out[1] = {nullptr};
  tessel::feval("QvTracerGetStat", 1, out, 0, nullptr);
  std::cout << "Host entry QvTracerGetStat: 1 x " << txGetN(out[0]) << " struct array\n";
  for (txIndex i = 0; i < txGetN(out[0]); ++i) {
    std::cout << "  " << txGetStringUTF8(txGetField(out[0], i, "name"))
              << ": calls = " << txGetScalar(txGetField(out[0], i, "calls")) << "\n";
  }
  txDestroyArray(out[0]);
  QvTracerClearStat();
}

const DemoSection kTracer(90, "Tracer", showTracer);

}  // namespace
}  // namespace qvsv::tool
