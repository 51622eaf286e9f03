#include "tests/feature/allocation_sweep/sweep_scenarios.hpp"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/regexp.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/string_table.hpp"
#include "qv_services/testing_hook.hpp"
#include "qv_services/tracer.hpp"
#include "qv_services/wide_string.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/array.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"
#include "tests/support/test_support.hpp"

namespace qvsv::test::sweep {
namespace {

using qvsv::test::DumpDiagnostic;
using qvsv::test::RandomDiagnosticTree;

constexpr const char* kOutOfMemoryId = "QV_SERVICES:utils:MemoryAllocationError";

void problem(Outcome& outcome, const std::string& text) {
  if (outcome.problem.empty()) outcome.problem = text;
}

// The identifiers of a tree, depth first, causes in brackets; with handles,
// each item's handle count follows its identifier ("id#2").
std::string shape(qvsvDiagnosticImpl* diag, bool handles = false) {
  std::string out;
  if (diag == nullptr) return out;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += item->identifier;
    if (handles && item->numHandles > 0) out += "#" + std::to_string(item->numHandles);
    if (item->cause != nullptr) out += "[" + shape(item->cause, handles) + "]";
    out += ";";
  }
  return out;
}

// Splits a shape into its top-level items (each with its causes).
std::vector<std::string> topItems(const std::string& s) {
  std::vector<std::string> out;
  int depth = 0;
  std::string current;
  for (char c : s) {
    if (c == ';' && depth == 0) {
      out.push_back(current);
      current.clear();
      continue;
    }
    if (c == '[') ++depth;
    if (c == ']') --depth;
    current += c;
  }
  return out;
}

// A result is acceptable when it is the expected tree, or the expected tree
// with items dropped and at least one out-of-memory item standing in: a
// failure may lose items, but never silently.
void checkTree(qvsvDiagnosticImpl* diag, const std::string& expected, Outcome& outcome, const char* what) {
  const std::string got = shape(diag, true);
  if (got == expected) return;
  if (got.find(kOutOfMemoryId) == std::string::npos) {
    return problem(outcome, std::string(what) + ": '" + got + "' instead of '" + expected + "' without the out-of-memory item");
  }
  ++outcome.outOfMemoryMarks;
  // Every item that is not the marker is one of the expected ones, in order.
  const std::vector<std::string> want = topItems(expected);
  std::size_t at = 0;
  for (const std::string& item : topItems(got)) {
    if (item.rfind(kOutOfMemoryId, 0) == 0) continue;
    while (at < want.size() && want[at] != item && want[at].rfind(item.substr(0, item.find('[')), 0) != 0) ++at;
    if (at == want.size()) return problem(outcome, std::string(what) + ": unexpected item '" + item + "' in '" + got + "'");
    ++at;
  }
}

qvsvDiagnosticImpl* create(const char* id, const std::vector<double>& handles = {}) {
  return qvsvCreateDiagnosticFromIdAndMsg(handles.data(), static_cast<int>(handles.size()), id, u"caf\u00e9 message");
}

// --- Diagnostics: creation, causes, merging, duplication. ---

void creationScenario(Outcome& outcome) {
  Held fromText(create("Sweep:text", {1.5, 2.5}));
  checkTree(fromText.get(), "Sweep:text#2;", outcome, "from identifier and message");
  Held fromCatalogue(qvsvCreateDiagnostic(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::u16string(u"caf\u00e9"), std::string("x")}), ""));
  checkTree(fromCatalogue.get(), "QVSV_TEST:extra:Pair;", outcome, "from the catalogue");
  Held interrupt(qvsvCreateInterruptError(true));
  checkTree(interrupt.get(), "QV_SERVICES:utils:CNTRL_C_INTERRUPTION;", outcome, "interruption");
  // Each run asks for a longer identifier than any before, so the buffer
  // grows; a growth that fails throws and leaves the old buffer serving.
  static std::size_t longest = 64;
  const std::string component(longest += 17, 'c');
  try {
    if (qvsvGetTLStyleMessageIdentifier(component.c_str(), "key") != component + ":key") problem(outcome, "long identifier");
  } catch (const std::bad_alloc&) {
    ++outcome.outOfMemoryMarks;
    if (std::string(qvsvGetTLStyleMessageIdentifier("a", "b")) != "a:b") problem(outcome, "the old buffer was lost");
  }
}

void mergingScenario(Outcome& outcome) {
  Held queue;
  Held first(create("Sweep:first", {1.0}));
  Held cause(create("Sweep:cause"));
  qvsvAddCauseToLastDiagnosticItem(first.ref(), cause.ref());
  if (cause.get() != nullptr && outcome.outOfMemoryMarks == 0 && shape(first.get()) == "Sweep:first;") {
    // The cause stayed with us: only acceptable when the item could not take it.
    if (!qvsvCheckDiagnosticForMessageIdentifier(first.get(), kOutOfMemoryId, 0)) {
      problem(outcome, "the cause was neither taken nor refused for lack of memory");
    }
  }
  qvsvConcatenateDiagnostics(queue.ref(), first.ref(), false);
  qvsvConcatenateDiagnostics(queue.ref(), create("Sweep:front"), true);
  qvsvConcatenateDiagnostics(queue.ref(), create("Sweep:end"), false);
  qvsvAddCandidateToErrorQueueFcn(queue.ref(), &outcome);
  const std::string expected = "Sweep:front;Sweep:first#1[Sweep:cause;];Sweep:end;";
  checkTree(queue.get(), expected, outcome, "merged queue");
  Held copy(qvsvDuplicateDiagnostic(queue.get()));
  checkTree(copy.get(), shape(queue.get(), true), outcome, "duplicate");
  qvsv::SetMetaDataToLastDiagnostic(copy.ref(), u"sweep", qvsvArgumentValue(std::u16string(u"value")));
  qvsvSetHandlesInErrorQueueLastDiagnostic(std::vector<double>{4.0, 5.0}.data(), 2, copy.ref());
  qvsvConcatenateDiagnostics(queue.ref(), copy.ref(), true);
  if (copy.get() != nullptr) problem(outcome, "a merge kept its source");
}

// Turns each object into its 1-based position, in host memory.
double* positionsOf(qvsvObjectIterator first, qvsvObjectIterator last, int& count, std::u16string&) {
  count = static_cast<int>(last - first);
  auto* handles = static_cast<double*>(utMalloc(sizeof(double) * static_cast<std::size_t>(count)));
  if (handles == nullptr) return nullptr;
  for (int i = 0; i < count; ++i) handles[i] = i + 1;
  return handles;
}

void ignoreHandles(qvsvDiagnosticImpl*, double*, int) {}

void lastItemScenario(Outcome& outcome) {
  Held queue(create("Sweep:first"));
  qvsvConcatenateDiagnostics(queue.ref(), qvsvCreateDiagnostic(resource_core::BaseMsgID(
                                              "QVSV_TEST:extra", "Pair", {std::string("a"), std::string("b")}), ""),
                             false);
  qvsvReplaceLastDiagnosticArguments(queue.ref(), {std::u16string(u"caf\u00e9"), std::int64_t{12}});
  qvsvReplaceLastDiagnosticStringArguments(queue.ref(), {{u"name", u"Gain"}});
  qvsvSetLastErrorCreationTime(queue.get(), static_cast<qvsvErrorCreationTime>(3));
  QVSVKSObjectBase objects[2];
  const qvsvObjectVector objectList = {&objects[0], &objects[1]};
  qvsvSetHandlesInErrorQueueLastDiagnostic(objectList, ignoreHandles, positionsOf, queue.ref());
  Held replacement(create("Sweep:replacement", {8.5}));
  qvsvReplaceLastDiagnostic(queue.get(), replacement.ref());
  if (replacement.get() != nullptr) problem(outcome, "the replacement was kept");
  checkTree(queue.get(), "Sweep:first;Sweep:replacement#1;", outcome, "after replacing the last item");
  qvsvClearLastError(queue.ref());
  checkTree(queue.get(), "Sweep:first;", outcome, "after clearing the last item");
}

// --- Renderings and the XML forms. ---

qvsvDiagnosticImpl* treeWithCause() {
  Held diag(create("Sweep:render", {4.5}));
  Held cause(qvsvCreateDiagnosticFromIdAndMsg("Sweep:renderCause", u"caf\u00e9 & <cause> ]]>"));
  qvsvAddCauseToLastDiagnosticItem(diag.ref(), cause.ref());
  qvsvConcatenateDiagnostics(diag.ref(), create("Sweep:renderSecond"), false);
  return std::exchange(diag.ref(), nullptr);
}

void renderingScenario(Outcome& outcome) {
  Held diag(treeWithCause());
  const std::u16string formatted = qvsvSerializeToFormattedUStringCreate(diag.get(), true, u"> ");
  if (formatted.find(u"caf\u00e9") == std::u16string::npos) problem(outcome, "formatted text lost its message");
  const std::u16string html = qvsvSerializeToHTMLCreate(diag.get(), false);
  if (html.find(u"&lt;cause&gt;") == std::u16string::npos && shape(diag.get()).find("Sweep:renderCause") != std::string::npos) {
    problem(outcome, "HTML lost the cause");
  }
  std::unique_ptr<char, void (*)(void*)> cText(qvsvSerializeToFormattedStringCreate(diag.get(), false, "# "), utFree);
  const std::string plain = qvsvSerializeDiagnosticAsPlainString(diag.ref());
  if (diag.get() != nullptr) problem(outcome, "the plain rendering kept its diagnostic");
  if (plain.find("Sweep:render") == std::string::npos) problem(outcome, "plain text lost its item");
}

// True when the restore failed as it promises: the out-of-memory diagnostic
// or its own error diagnostic.
bool restoreFailed(qvsvDiagnosticImpl* restored, Outcome& outcome) {
  if (qvsvCheckDiagnosticForMessageIdentifier(restored, kOutOfMemoryId, 0) ||
      qvsvCheckDiagnosticForMessageIdentifier(restored, "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR", 0)) {
    ++outcome.outOfMemoryMarks;
    return true;
  }
  return false;
}

void xmlScenario(Outcome& outcome) {
  Held diag(treeWithCause());
  const std::string expected = shape(diag.get());
  Held restored(qvsvRestoreDiagnosticFromXMLFragment(qvsvSerializeDiagnosticAsXMLString(diag.ref()).c_str()));
  if (!restoreFailed(restored.get(), outcome) && shape(restored.get()) != expected) {
    problem(outcome, "message form restored as '" + shape(restored.get()) + "'");
  }
  Held withArguments(qvsvCreateDiagnostic(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::u16string(u"caf\u00e9"), std::int64_t{7}}), ""));
  const std::string argumentForm = qvsvSerializeDiagnosticAsXMLStringWithArguments(withArguments.ref());
  Held again(qvsvRestoreDiagnosticFromXMLFragment(argumentForm.c_str()));
  if (!restoreFailed(again.get(), outcome) && shape(again.get()) != shape(withArguments.get())) {
    problem(outcome, "argument form restored as '" + shape(again.get()) + "'");
  }
}

// --- The host-array form and host code raising what was reported. ---

void arrayFormScenario(Outcome& outcome) {
  // The tree is built once, unarmed by the first run's success: only the
  // form's writing and reading are swept.
  static qvsvDiagnosticImpl* const tree = RandomDiagnosticTree(31).build(2);
  static const std::string expected = DumpDiagnostic(tree);
  std::unique_ptr<txArray, void (*)(txArray*)> form(qvsvDiagnosticToArray(tree), txDestroyArray);
  Held restored;
  Held error(qvsvDiagnosticFromArray_NoThrow(form.get(), restored.ref()));
  if (error.get() != nullptr) {
    if (restored.get() != nullptr) problem(outcome, "a failed restore kept a diagnostic");
    if (!qvsvCheckDiagnosticForMessageIdentifier(error.get(), kOutOfMemoryId, 0)) problem(outcome, "restore error");
    ++outcome.outOfMemoryMarks;
  } else if (DumpDiagnostic(restored.get()) != expected) {
    problem(outcome, "the array form restored a different tree");
  }
}

// --- Listeners, reporting and the error report. ---

void reportingScenario(Outcome& outcome) {
  // Warnings reach the listeners only while MessageViewer is 1.
  QvFeatureHostCommand::set("MessageViewer", 1);
  qvsv::util::TestWarningHelper helper;
  qvsv::util::ScopedDiagnosticListener counting("Sweep.counting", [](qvsvDiagnosticImpl*&) {});
  Held warning(create("Sweep:warning", {3.0}));
  qvsvReportAsWarning(warning.ref());
  if (warning.get() != nullptr) problem(outcome, "a warning report kept its diagnostic");
  Held error(treeWithCause());
  qvsvReportAsError(error.ref());
  Held info(create("Sweep:info"));
  qvsvReportAsInfo(info.ref());
}

std::filesystem::path& reportFile() {
  static TempDir* dir = new TempDir;  // lives for the process, like the report
  static std::filesystem::path file = dir->path() / "ReportError.sweep";
  return file;
}

void errorReportScenario(Outcome& outcome) {
  struct Off {
    ~Off() { qvsvConfigureErrorReport(false); }
  } off;
  qvsvConfigureErrorReport(true, reportFile().string());
  Held diag(treeWithCause());
  qvsvCreateReportForErrors(diag.get());
  qvsvReportAsError(diag.ref());
}

// --- Strings: the table, the wide-string functions, the regex facade. ---

void stringTableScenario(Outcome& outcome) {
  qvsvString gain(u"Sweep gain block");
  qvsvString sum = gain + u" and sum";
  std::vector<qvsvString> parts;
  qvsvString::split(parts, sum, u' ');
  const qvsvString joined = qvsvString::join(parts, u'_');
  if (joined.str() != u"Sweep_gain_block_and_sum") problem(outcome, "join gave " + qvsvToStdString(joined));
  qvsvString again(u"Sweep gain block");
  if (!again.equals(gain)) problem(outcome, "equal texts were interned twice");
  gain.release();
  sum.release();
}

void wideStringScenario(Outcome& outcome) {
  std::unique_ptr<char16_t, void (*)(void*)> copy(qvsvStrdup(u"  caf\u00e9   au   lait  "), utFree);
  if (copy == nullptr) {
    ++outcome.outOfMemoryMarks;
    return;
  }
  const std::u16string collapsed = qvsvRemoveExtraSpacesUString(copy.get());
  if (qvsvTrimStr(collapsed) != u"caf\u00e9 au lait") problem(outcome, "trimmed text is wrong");
  std::u16string longText(40, u'x');
  qvsvStrAppendEllipsis(longText, 10);
  std::vector<std::u16string> pieces;
  delimited_ustring_to_vector(pieces, u"a,b\\,,c", u',', u'\\');
  if (qvsvStrcmp_Collation(u"apple", u"Banana") >= 0) problem(outcome, "collation order is wrong");
  (void)ConcatenateStringsWithSpace(u"left", u"right");
  (void)qvsvMAT2str(u"it's");
  char16_t buffer[64];
  qvsvSnprintf(buffer, 64, "%d-%s", 42, "x");
}

void regexScenario(Outcome& outcome) {
  const auto matcher = qvsv::regexp::createMatcher(u"(\\w+)@(\\w+)");
  if (matcher == nullptr) {
    ++outcome.outOfMemoryMarks;
    return;
  }
  if (!qvsv::regexp::regexp_search(matcher, u"mail gain@sum now", false)) problem(outcome, "no match");
  qvsv::regexp::match_list matches;
  qvsv::regexp::regexp_search(u"(a)(b)?", u"ab a", matches);
  const std::u16string swapped = qvsv::regexp::regexp_replace(matcher, u"x gain@sum y", u"$2@$1");
  if (swapped != u"x sum@gain y" && !swapped.empty()) problem(outcome, "replacement is wrong");
  (void)qvsv::regexp::regexp_replace(
      u"[0-9]+", u"a1b22c333", [](const std::u16string& m, bool&) { return u"<" + m + u">"; });
  qvsv::regexp::regex re(u"s(u)m");
  for (qvsv::regexp::regex_iterator it(u"sum and sum", re), end; it != end; ++it) {
  }
}

// --- Features, hooks and the tracer. ---

void reportsScenario(Outcome& outcome) {
  struct Destroy {
    txArray* array = nullptr;
    ~Destroy() { txDestroyArray(array); }
  } features, hooks;
  features.array = QvFeatureTable::getFeatureReport();
  hooks.array = QvTestingHook::getHookReport();
  if (txGetNumberOfElements(features.array) == 0 || txGetNumberOfElements(hooks.array) == 0) {
    problem(outcome, "an empty report");
  }
  QvFeatureTable::printStats();
}

void tracerScenario(Outcome& outcome) {
  struct Off {
    ~Off() { QvTracerSetOff(); }
  } off;
  QvTracerSetOn();
  {
    QvTracer outer("Sweep.tracer.outer");
    QvTracer inner("Sweep.tracer.inner");
  }
  txArray* report = nullptr;
  QvTracerGetStat(1, &report, 0, nullptr);
  struct Destroy {
    txArray*& array;
    ~Destroy() { txDestroyArray(array); }
  } destroy{report};
  QvTracerPrintStat();
  (void)QvTracerGetStatJson();
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> all = {
      {"Creation", 0, creationScenario, nullptr},
      {"CausesMergingDuplication", 1, mergingScenario, nullptr},
      {"LastItem", 12, lastItemScenario, nullptr},
      {"Renderings", 2, renderingScenario, nullptr},
      {"XmlForms", 3, xmlScenario, nullptr},
      // Reports count their identifiers for the process: the counts are let go.
      {"Reporting", 4, reportingScenario, [] { qvsvClearDiagnosticCounters(nullptr); }},
      {"ErrorReport", 5, errorReportScenario,
       [] {
         qvsvClearDiagnosticCounters(nullptr);
         std::filesystem::remove(reportFile());
       }},
      {"StringTable", 6, stringTableScenario, [] { qvsvStringTable::forceGarbageCollectionNow(); }},
      {"WideStrings", 7, wideStringScenario, nullptr},
      {"Regexp", 8, regexScenario, nullptr},
      {"FeatureAndHookReports", 10, reportsScenario, nullptr},
      {"Tracer", 11, tracerScenario, [] { QvTracerClearStat(); }},
      {"ArrayForm", 13, arrayFormScenario, nullptr},
  };
  return all;
}

}  // namespace qvsv::test::sweep
