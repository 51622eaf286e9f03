// Demo section: interned strings share one entry per text, copies are counted,
// dropped texts wait for a collection, persistent texts stay.
#include <iostream>
#include <vector>

#include "qv_services/string_table.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

const char* yesNo(bool b) { return b ? "yes" : "no"; }

void showStringTable() {
  qvsvStringTable& table = *qvsvStringTable::getInstance();
  const qvsvString gain(u"Gain");
  const qvsvString built = qvsvString(u"Ga") + u"in";
  std::cout << "\"Gain\" and \"Ga\" + \"in\" share one entry: " << yesNo(gain.c_str() == built.c_str())
            << ", equal: " << yesNo(gain.equals(built)) << "\n";
  {
    const qvsvString copy = gain;
    std::cout << "references to \"Gain\" from the two strings and a copy: " << table.getRefCount(gain) << "\n";
  }
  std::cout << "after the copy is gone: " << table.getRefCount(gain) << "\n";

  qvsvStringTableCollectGarbageNow();
  const std::size_t before = table.getNumStrings();
  { const qvsvString shortLived(u"short-lived"); }
  const std::size_t dropped = table.getNumStrings();
  qvsvStringTableCollectGarbageNow();
  std::cout << "entries: " << before << ", with a dropped text " << dropped << ", after a collection "
            << table.getNumStrings() << "\n";

  const qvsvString subsystem = qvsvString::persistent(u"Subsystem \u00C4");
  std::cout << "persistent \"" << qvsvToStdString(subsystem) << "\": count " << table.getRefCount(subsystem)
            << ", persistent: " << yesNo(table.isPersistent(subsystem)) << "\n";

  std::vector<qvsvString> pieces;
  qvsvString::split(pieces, qvsvString(u"In1,Gain,,Out1"), u',');
  std::cout << "split \"In1,Gain,,Out1\" at ',': " << pieces.size() << " pieces; joined with '/': "
            << qvsvToStdString(qvsvString::join(pieces, u'/')) << "\n";
  std::cout << "printStats():\n";
  std::cout.flush();
  qvsvStringTableDebug::printStats();
}

const DemoSection kStringTable(50, "Interned strings", showStringTable);

}  // namespace
}  // namespace qvsv::tool
