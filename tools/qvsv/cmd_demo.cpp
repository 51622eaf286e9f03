// qvsv demo: the library's main job end to end, section by section.
#include <iostream>

#include "qv_services/module.hpp"
#include "tessel/array.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

int runDemo(const Args& args) {
  if (!args.empty()) throw UsageError("demo takes no arguments");
  tessel::ScopedModule module(&TLInitialize_qv_services, &TLTerminate_qv_services, &QueryTLFcnTable_qv_services);
  tessel::HostCallScope scope;
  bool first = true;
  for (const DemoSection* section : DemoSections()) {
    if (!first) std::cout << "\n";
    first = false;
    std::cout << "== " << section->heading << " ==\n";
    std::cout.flush();
    section->run();
    std::cout.flush();
  }
  return 0;
}

const Command kDemo("demo", "demo", "run the library's main job end to end on the embedded host", runDemo);

}  // namespace
}  // namespace qvsv::tool
