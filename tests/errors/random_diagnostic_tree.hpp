// Random diagnostic trees with every field of an item filled: identifier,
// message, extra message, arguments of the three kinds, handles, call stack,
// creation time, metadata and causes. Header-only so that any suite can use it.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/interpreter.hpp"

namespace qvsv::test {

class RandomDiagnosticTree {
 public:
  explicit RandomDiagnosticTree(unsigned seed) : rng_(seed) {}

  // A tree of 1 to 3 items per level and causes down to maxDepth levels.
  qvsvDiagnosticImpl* build(int maxDepth = 3) { return level(0, maxDepth); }

 private:
  std::u16string text(std::size_t maxLength) {
    static const char16_t alphabet[] = u"ab <>&\"']]>\u00E9\u4E2D\U0001F600";
    std::u16string out(rng_() % (maxLength + 1), u'a');
    for (char16_t& c : out) c = alphabet[rng_() % (std::size(alphabet) - 1)];
    return out;
  }

  std::int64_t number() {
    // Small values, and ones a double cannot hold exactly.
    static const std::int64_t edges[] = {0, -1, INT64_MIN, INT64_MAX, (std::int64_t{1} << 60) + 1, -(std::int64_t{1} << 53)};
    return rng_() % 3 == 0 ? edges[rng_() % std::size(edges)] : static_cast<std::int64_t>(rng_() % 2000) - 1000;
  }

  qvsvArgumentValue value() {
    switch (rng_() % 3) {
      case 0: return number();
      case 1: return ConvertUStringToStdString(text(6));
      default: return text(6);
    }
  }

  qvsvDiagnosticImpl* item(int depth, int maxDepth) {
    std::vector<double> handles(rng_() % 3);
    for (double& h : handles) h = static_cast<double>(rng_() % 10000) / 8.0;
    const std::string id = rng_() % 10 == 0 ? std::string() : "T:" + std::to_string(rng_() % 100);
    qvsvDiagnosticImpl* diag =
        qvsvCreateDiagnosticFromIdAndMsg(handles.data(), static_cast<int>(handles.size()), id.c_str(), text(12));
    qvsvDiagnosticItem* it = diag->lastItem();
    if (rng_() % 2 == 0) {
      it->identifier = id;  // an empty identifier as stored, not substituted
      it->extraMessage = text(8);
    }
    if (rng_() % 2 == 0) {
      qvsvArgumentVector arguments(rng_() % 4);
      for (auto& a : arguments) a = value();
      qvsvReplaceLastDiagnosticArguments(diag, arguments);
    }
    if (rng_() % 2 == 0) {
      std::vector<tessel::StackFrame> frames(rng_() % 3);
      for (auto& f : frames) f = {"f" + std::to_string(rng_() % 9) + ".m", "fn", static_cast<int>(rng_() % 500)};
      txArray* stack = tessel::CallStackToArray(frames);
      txMakeArrayPersistent(stack);
      txDestroyArray(it->callStack);
      it->callStack = stack;
    }
    qvsvSetLastErrorCreationTime(diag, static_cast<qvsvErrorCreationTime>(rng_() % 3 == 0 ? 0 : rng_()));
    for (unsigned k = rng_() % 3; k > 0; --k) {
      qvsv::SetMetaDataToLastDiagnostic(diag, text(4), value());
    }
    if (depth < maxDepth && rng_() % 2 == 0) {
      qvsvDiagnosticImpl* causes = level(depth + 1, maxDepth);
      qvsvAddCauseToLastDiagnosticItem(diag, causes);
    }
    return diag;
  }

  qvsvDiagnosticImpl* level(int depth, int maxDepth) {
    qvsvDiagnosticImpl* diag = nullptr;
    for (unsigned n = 1 + rng_() % 3; n > 0; --n) qvsvConcatenateDiagnostics(diag, item(depth, maxDepth), false);
    return diag;
  }

  std::mt19937 rng_;
};

// Every field of every item, causes indented: two diagnostics with the same
// dump hold the same information.
inline std::string DumpDiagnostic(qvsvDiagnosticImpl* const& diag, const std::string& indent = std::string()) {
  std::string out;
  if (diag == nullptr) return indent + "null\n";
  unsigned index = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += indent + "id=" + item->identifier + " msg=" + ConvertUStringToStdString(item->message) +
           " extra=" + ConvertUStringToStdString(item->extraMessage) + " time=" + std::to_string(item->creationTime) +
           "\n" + indent + " args(" + std::to_string(txGetNumberOfElements(item->arguments)) + ")=";
    for (txIndex i = 0; i < txGetNumberOfElements(item->arguments); ++i) {
      const txArray* a = txGetCell(item->arguments, i);
      out += txIsChar(a) ? "'" + txGetStringUTF8(a) + "' " : std::to_string(txGetScalar(a)) + " ";
    }
    out += item->arguments == nullptr ? "none" : "";
    out += "\n" + indent + " handles=";
    for (int h = 0; h < item->numHandles; ++h) out += std::to_string(item->handles[h]) + " ";
    out += "\n" + indent + " stack=" + (item->callStack == nullptr ? "none" : std::to_string(txGetNumberOfElements(item->callStack))) +
           ":" + qvsvGetTStackFromDiagnostic(diag, index);
    out += "\n" + indent + " metadata=";
    for (const auto& [key, value] : item->metadata) {
      out += ConvertUStringToStdString(key) + "#" + std::to_string(value.index()) + "=";
      std::visit([&](const auto& v) {
        using V = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<V, std::int64_t>) out += std::to_string(v);
        else if constexpr (std::is_same_v<V, std::string>) out += v;
        else out += ConvertUStringToStdString(v);
      }, value);
      out += " ";
    }
    out += "\n";
    if (item->cause != nullptr) out += indent + " causes:\n" + DumpDiagnostic(item->cause, indent + "    ");
    ++index;
  }
  return out;
}

// The XML message form of a copy (the form releases what it writes) and the
// argument form.
inline std::string XmlForms(qvsvDiagnosticImpl* diag) {
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
  return qvsvSerializeDiagnosticAsXMLString(copy) + qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
}

}  // namespace qvsv::test
