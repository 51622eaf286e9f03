// Host-callable entries through which the host language uses handle classes.
#include "qv_services/tcos/tcos_entries.hpp"

#include "qv_services/tcos/property_value.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_class.hpp"

namespace qvsv::tcos::detail {
namespace {

void CheckCounts(const char* entry, const char* usage, int nlhs, int maxOut, int nrhs, int nin) {
  if (nlhs > maxOut || nrhs != nin) ThrowTcosDiagnostic("EntryUsage", {entry, usage});
}

std::string PropertyName(const char* entry, const char* usage, const txArray* a) {
  if (!txIsChar(a) || txGetM(a) != 1) ThrowTcosDiagnostic("EntryUsage", {entry, usage});
  return txGetStringUTF8(a);
}

txArray* NameRow(const std::vector<std::string>& names) {
  ArrayPtr cell(txCreateCellMatrix(1, names.size()));
  for (std::size_t i = 0; i < names.size(); ++i) txSetCell(cell.get(), i, txCreateStringFromUTF8(names[i]));
  return cell.release();
}

}  // namespace

void GetEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  static constexpr const char* kUsage = "QvTcosGet(object, 'Property')";
  CheckCounts("QvTcosGet", kUsage, nlhs, 1, nrhs, 2);
  qvsvTcosInstance& instance = qvsvTcosInstance::fromHostObject(prhs[0]);
  const std::string property = PropertyName("QvTcosGet", kUsage, prhs[1]);
  txArray* value = instance.getValue(property);
  if (nlhs >= 1) {
    plhs[0] = value;
  } else {
    txDestroyArray(value);
  }
}

void SetEntry(int nlhs, txArray*[], int nrhs, txArray* prhs[]) {
  static constexpr const char* kUsage = "QvTcosSet(object, 'Property', value)";
  CheckCounts("QvTcosSet", kUsage, nlhs, 0, nrhs, 3);
  qvsvTcosInstance& instance = qvsvTcosInstance::fromHostObject(prhs[0]);
  instance.setValue(PropertyName("QvTcosSet", kUsage, prhs[1]), prhs[2], true);
}

namespace {

// The class an argument names: an object's class, or a class name.
const qvsvTcosClass& ClassOf(const char* entry, const char* usage, const txArray* a,
                             qvsvTcosInstance** instance) {
  if (txGetClassID(a) == txClassID::Object) {
    *instance = &qvsvTcosInstance::fromHostObject(a);
    return (*instance)->tcosClass();
  }
  *instance = nullptr;
  return qvsvTcosClassRegistry::get(PropertyName(entry, usage, a));
}

}  // namespace

void PropertiesEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  static constexpr const char* kUsage = "QvTcosProperties(object or 'Class')";
  CheckCounts("QvTcosProperties", kUsage, nlhs, 1, nrhs, 1);
  qvsvTcosInstance* instance = nullptr;
  const qvsvTcosClass& cls = ClassOf("QvTcosProperties", kUsage, prhs[0], &instance);
  std::vector<std::string> names;
  for (const auto& p : cls.properties()) names.push_back(p.name);
  if (nlhs >= 1) plhs[0] = NameRow(names);
}

void PropertyReportEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  static constexpr const char* kUsage = "QvTcosPropertyReport(object or 'Class')";
  CheckCounts("QvTcosPropertyReport", kUsage, nlhs, 1, nrhs, 1);
  qvsvTcosInstance* instance = nullptr;
  const qvsvTcosClass& cls = ClassOf("QvTcosPropertyReport", kUsage, prhs[0], &instance);
  if (nlhs >= 1) plhs[0] = instance != nullptr ? instance->propertyReport() : cls.propertyReport();
}

void ClassesEntry(int nlhs, txArray* plhs[], int nrhs, txArray*[]) {
  CheckCounts("QvTcosClasses", "QvTcosClasses()", nlhs, 1, nrhs, 0);
  std::vector<std::string> names;
  for (const auto* cls : qvsvTcosClassRegistry::classes()) names.push_back(cls->name());
  if (nlhs >= 1) plhs[0] = NameRow(names);
}

}  // namespace qvsv::tcos::detail
