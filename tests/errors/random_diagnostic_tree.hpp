// Random diagnostic trees with every field of an item filled: identifier,
// message, extra message, arguments, handles, call stack, creation time,
// metadata and causes. With illFormed set, texts also hold unpaired
// surrogates, NULs and bytes that are not UTF-8, and arguments any host value
// (fractions, logicals, empty arrays): what only the lossless forms keep.
// Header-only so that any suite can use it.
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
  explicit RandomDiagnosticTree(unsigned seed, bool illFormed = false) : rng_(seed), illFormed_(illFormed) {}

  // A tree of 1 to 3 items per level and causes down to maxDepth levels; the caller owns it.
  qvsvDiagnosticImpl* build(int maxDepth = 3) { return level(0, maxDepth); }

 private:
  std::u16string text(std::size_t maxLength) {
    static const char16_t alphabet[] = u"ab <>&\"']]>\u00E9\u4E2D\U0001F600";
    std::u16string out(rng_() % (maxLength + 1), u'a');
    for (char16_t& c : out) c = alphabet[rng_() % (std::size(alphabet) - 1)];
    if (illFormed_ && rng_() % 6 == 0) out.insert(out.begin() + rng_() % (out.size() + 1), u'\xD800');
    if (illFormed_ && rng_() % 7 == 0) out.push_back(u'\0');
    return out;
  }

  std::string narrow() {
    std::string out = ConvertUStringToStdString(text(6));
    if (illFormed_ && rng_() % 5 == 0) out += "\xFF";
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
      case 1: return narrow();
      default: return text(6);
    }
  }

  // Arguments as the host may hand them: any scalar, empty arrays, texts.
  txArray* hostArguments() {
    const txIndex n = rng_() % 4;
    txArray* cell = txCreateCellMatrix(1, n);
    for (txIndex i = 0; i < n; ++i) {
      switch (rng_() % 4) {
        case 0: txSetCell(cell, i, txCreateDoubleScalar(0.1 * static_cast<double>(rng_() % 100))); break;
        case 1: txSetCell(cell, i, txCreateLogicalScalar(rng_() % 2 == 0)); break;
        case 2: txSetCell(cell, i, txCreateDoubleMatrix(0, 0)); break;
        default: txSetCell(cell, i, txCreateString(text(6))); break;
      }
    }
    txMakeArrayPersistent(cell);
    return cell;
  }

  txArray* callStack() {
    const txIndex n = rng_() % 3;
    txArray* stack = txCreateStructMatrix(n, 1, {"file", "name", "line"});
    for (txIndex i = 0; i < n; ++i) {
      txSetField(stack, i, "file", txCreateString(u"/src/model " + std::u16string(1, u'a' + rng_() % 9) + u".qv"));
      txSetField(stack, i, "name", txCreateString(text(6)));
      txSetField(stack, i, "line", txCreateDoubleScalar(static_cast<double>(rng_() % 500)));
    }
    txMakeArrayPersistent(stack);
    return stack;
  }

  qvsvDiagnosticImpl* item(int depth, int maxDepth) {
    std::vector<double> handles(rng_() % 3);
    for (double& h : handles) h = static_cast<double>(rng_() % 10000) / 8.0 - 600.0;
    const std::string id = rng_() % 10 == 0 ? std::string() : "T:" + std::to_string(rng_() % 100);
    qvsvDiagnosticImpl* diag =
        qvsvCreateDiagnosticFromIdAndMsg(handles.data(), static_cast<int>(handles.size()), id.c_str(), text(12));
    qvsvDiagnosticItem* it = diag->lastItem();
    if (rng_() % 2 == 0) {
      it->identifier = id;  // an empty identifier as stored, not substituted
      it->extraMessage = text(8);
    }
    if (illFormed_ && rng_() % 3 == 0) {
      it->arguments = hostArguments();
    } else if (rng_() % 2 == 0) {
      qvsvArgumentVector arguments(rng_() % 4);
      for (auto& a : arguments) a = value();
      qvsvReplaceLastDiagnosticArguments(diag, arguments);
    }
    if (rng_() % 2 == 0) {
      txDestroyArray(it->callStack);
      it->callStack = callStack();
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
  bool illFormed_;
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
