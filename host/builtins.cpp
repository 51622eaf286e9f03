// Built-in host functions: the two anonymous functions that sort and reorder
// the rows of a cell array, the customisation refresh and error.
#include "host/builtins.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

namespace tessel {
namespace {

std::atomic<int> g_refresh_count{0};

void requireInputs(const char* name, int nrhs, int wanted, int nlhs, int maxOutputs) {
  if (nrhs != wanted) {
    throw HostError("Tessel:BadArguments", std::string(name) + " takes " + std::to_string(wanted) + " input(s), got " +
                                               std::to_string(nrhs));
  }
  if (nlhs > maxOutputs) {
    throw HostError("Tessel:BadArguments",
                    std::string(name) + " gives at most " + std::to_string(maxOutputs) + " output(s)");
  }
}

// @(x)sort(x(:,1)): x is a cell whose first column holds strings.
void sortFirstColumn(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  static const char* const kName = "@(x)sort(x(:,1))";
  requireInputs(kName, nrhs, 1, nlhs, 2);
  const txArray* x = prhs[0];
  if (!txIsCell(x)) throw HostError("Tessel:BadArguments", std::string(kName) + ": the input must be a cell array");
  const txIndex rows = txGetM(x);
  if (txGetN(x) == 0 && rows != 0) throw HostError("Tessel:BadArguments", std::string(kName) + ": no first column");
  std::vector<std::u16string> keys(rows);
  for (txIndex r = 0; r < rows; ++r) {
    const txArray* element = txGetCell(x, r);
    if (element != nullptr && !txIsChar(element)) {
      throw HostError("Tessel:BadArguments", std::string(kName) + ": row " + std::to_string(r + 1) + " is not a string");
    }
    if (element != nullptr) keys[r] = txGetString(element);
  }
  std::vector<txIndex> order(rows);
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](txIndex a, txIndex b) { return keys[a] < keys[b]; });
  txArray* sorted = txCreateCellMatrix(rows, rows == 0 ? 0 : 1);
  for (txIndex r = 0; r < rows; ++r) txSetCell(sorted, r, txCreateString(keys[order[r]]));
  if (nlhs >= 2) {
    txArray* permutation = txCreateDoubleMatrix(rows, rows == 0 ? 0 : 1);
    double* p = txGetPrForWrite(permutation);
    for (txIndex r = 0; r < rows; ++r) p[r] = static_cast<double>(order[r] + 1);
    plhs[1] = permutation;
  }
  plhs[0] = sorted;
}

// Column-major copy of the picked rows of a rows x cols matrix.
template <typename T>
void copyRows(const T* src, T* dst, txIndex rows, txIndex cols, const std::vector<txIndex>& picked) {
  const txIndex count = picked.size();
  for (txIndex c = 0; c < cols; ++c) {
    for (txIndex k = 0; k < count; ++k) dst[c * count + k] = src[c * rows + picked[k]];
  }
}

// @(x,i) x(i,:): the rows of x named by the 1-based indices in i.
void selectRows(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  static const char* const kName = "@(x,i) x(i,:)";
  requireInputs(kName, nrhs, 2, nlhs, 1);
  const txArray* x = prhs[0];
  const txArray* index = prhs[1];
  if (!txIsNumeric(index)) throw HostError("Tessel:BadArguments", std::string(kName) + ": the index must be double");
  const txIndex rows = txGetM(x);
  const txIndex cols = txGetN(x);
  const txIndex count = txGetNumberOfElements(index);
  std::vector<txIndex> picked(count);
  for (txIndex k = 0; k < count; ++k) {
    const double v = txGetPr(index)[k];
    if (!(v >= 1.0) || v != std::floor(v) || v > static_cast<double>(rows)) {
      throw HostError("Tessel:IndexOutOfBounds",
                      std::string(kName) + ": index " + std::to_string(v) + " exceeds " + std::to_string(rows) + " rows");
    }
    picked[k] = static_cast<txIndex>(v) - 1;
  }
  txArray* out = nullptr;
  switch (txGetClassID(x)) {
    case txClassID::Cell: {
      out = txCreateCellMatrix(count, cols);
      for (txIndex c = 0; c < cols; ++c) {
        for (txIndex k = 0; k < count; ++k) {
          const txArray* element = txGetCell(x, c * rows + picked[k]);
          if (element != nullptr) txSetCell(out, c * count + k, txCreateSharedDataCopy(element));
        }
      }
      break;
    }
    case txClassID::Double:
      out = txCreateDoubleMatrix(count, cols);
      copyRows(txGetPr(x), txGetPrForWrite(out), rows, cols, picked);
      break;
    case txClassID::Logical:
      out = txCreateLogicalMatrix(count, cols);
      copyRows(txGetLogicals(x), txGetLogicalsForWrite(out), rows, cols, picked);
      break;
    case txClassID::Char:
      out = txCreateCharMatrix(count, cols);
      copyRows(txGetChars(x), txGetCharsForWrite(out), rows, cols, picked);
      break;
    default:
      throw HostError("Tessel:BadArguments",
                      std::string(kName) + ": rows of a " + txGetClassName(x) + " array cannot be selected");
  }
  plhs[0] = out;
}

void refreshCustomizations(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  if (nlhs > 0) throw HostError("Tessel:BadArguments", "qv_refresh_customizations gives no output");
  g_refresh_count.fetch_add(1, std::memory_order_relaxed);
}

// error(identifier, message) or error(message): raises the host error, with
// "Tessel:UserError" as identifier when none is given.
void raiseError(int, txArray*[], int nrhs, txArray* prhs[]) {
  if (nrhs < 1 || nrhs > 2) {
    throw HostError("Tessel:BadArguments", "error takes 1 or 2 inputs, got " + std::to_string(nrhs));
  }
  for (int i = 0; i < nrhs; ++i) {
    if (!txIsChar(prhs[i]) && !txIsEmpty(prhs[i])) {
      throw HostError("Tessel:BadArguments", "error: input " + std::to_string(i + 1) + " must be text, not " +
                                                 txGetClassName(prhs[i]));
    }
  }
  auto text = [&](int i) { return txIsChar(prhs[i]) ? txGetStringUTF8(prhs[i]) : std::string(); };
  if (nrhs == 2) throw HostError(text(0), text(1));
  throw HostError("Tessel:UserError", text(0));
}

}  // namespace

int RefreshCustomizationsCount() { return g_refresh_count.load(std::memory_order_relaxed); }

namespace detail {

void RegisterBuiltins(const std::function<void(const std::string&, HostFunction)>& add) {
  add("@(x)sort(x(:,1))", sortFirstColumn);
  add("@(x,i) x(i,:)", selectRows);
  add("qv_refresh_customizations", refreshCustomizations);
  add("error", raiseError);
}

}  // namespace detail
}  // namespace tessel
