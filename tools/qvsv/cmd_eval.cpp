// qvsv eval: runs an expression of the host language in the embedded host,
// with the library loaded as a module, and prints its value.
#include <charconv>
#include <iostream>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/interpreter_calls.hpp"
#include "qv_services/module.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/module.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string number(double value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

bool isScalarLike(const txArray* a) {
  return txIsChar(a) ? txGetM(a) <= 1 : (txIsNumeric(a) || txIsLogical(a)) && txGetM(a) <= 1;
}

void print(std::ostream& out, const txArray* a, const std::string& indent);

// A value after "name: ": on the same line when it fits, else below it.
void printNamed(std::ostream& out, const std::string& name, const txArray* a, const std::string& indent) {
  out << indent << name << ":";
  if (a == nullptr || isScalarLike(a)) {
    out << " ";
    print(out, a, "");
  } else {
    out << "\n";
    print(out, a, indent + "  ");
  }
}

// Text and rows of numbers as the host shows them; cells and structs one
// element per line, nested values indented.
void print(std::ostream& out, const txArray* a, const std::string& indent) {
  const txIndex m = txGetM(a);
  const txIndex n = txGetN(a);
  switch (txGetClassID(a)) {
    case txClassID::Char: {
      const char16_t* chars = txGetChars(a);
      for (txIndex r = 0; r < m; ++r) {
        std::u16string row;
        for (txIndex c = 0; c < n; ++c) row.push_back(chars[c * m + r]);
        out << (r == 0 ? "" : indent) << ConvertUStringToStdString(row) << "\n";
      }
      if (m == 0) out << "''\n";
      return;
    }
    case txClassID::Double:
    case txClassID::Logical: {
      if (txIsEmpty(a)) {
        out << "[]\n";
        return;
      }
      for (txIndex r = 0; r < m; ++r) {
        out << (r == 0 ? "" : indent);
        for (txIndex c = 0; c < n; ++c) {
          if (c > 0) out << " ";
          if (txIsLogical(a)) {
            out << (txGetLogicals(a)[c * m + r] ? "true" : "false");
          } else {
            out << number(txGetPr(a)[c * m + r]);
          }
        }
        out << "\n";
      }
      return;
    }
    case txClassID::Cell: {
      if (txIsEmpty(a)) out << indent << "{}\n";
      for (txIndex i = 0; i < txGetNumberOfElements(a); ++i) {
        printNamed(out, "{" + std::to_string(i + 1) + "}", txGetCell(a, i), indent);
      }
      return;
    }
    case txClassID::Struct:
    case txClassID::Object: {
      const int fields = txGetNumberOfFields(a);
      const txIndex count = txGetNumberOfElements(a);
      if (count == 0) out << indent << m << "x" << n << " " << txGetClassName(a) << " with no elements\n";
      for (txIndex i = 0; i < count; ++i) {
        std::string inner = indent;
        if (count > 1) {
          out << indent << "(" << i + 1 << ")\n";
          inner += "  ";
        }
        for (int f = 0; f < fields; ++f) printNamed(out, txGetFieldNameByNumber(a, f), txGetFieldByNumber(a, i, f), inner);
      }
      return;
    }
    case txClassID::Unknown: break;
  }
  out << "[]\n";
}

int runEval(const Args& input) {
  Args args = input;
  const bool noOutput = TakeFlag(args, "--no-output");
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  if (args.size() != 1) throw UsageError("expected one EXPRESSION");
  tessel::ScopedModule module(&TLInitialize_qv_services, &TLTerminate_qv_services, &QueryTLFcnTable_qv_services);
  tessel::HostCallScope scope;
  txArray* value = nullptr;
  qvsvDiagnosticImpl* error = qvsvEvaluateExpression_NoThrow(args.front(), noOutput ? 0 : 1, &value);
  if (error != nullptr) {
    std::cerr << qvsvSerializeDiagnosticAsPlainString(error);
    return 1;
  }
  if (value != nullptr) print(std::cout, value, "");
  return 0;
}

const Command kEval("eval", "eval [--no-output] EXPRESSION",
                    "run an expression of the host language (texts, numbers, calls of host functions such as "
                    "error(ID, MESSAGE) and the library's QvDiagnosticGetLastReported, QvDiagnosticRaise, "
                    "QvTracerGetStat) and print its value, or its error diagnostic on stderr",
                    runEval);

}  // namespace
}  // namespace qvsv::tool
