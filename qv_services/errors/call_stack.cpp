// The host call stack that items keep: reading it back as text and as frames.
#include <cmath>
#include <string>

#include "qv_services/diagnostic.hpp"

namespace {

// Deliberately limited: longer stacks are cut at 20 frames in the text.
constexpr txIndex kMaxTextFrames = 20;

const txArray* stackOf(qvsvDiagnosticImpl* const& diag, unsigned index) {
  const qvsvDiagnosticItem* item = diag == nullptr ? nullptr : diag->itemAt(index);
  if (item == nullptr || !txIsStruct(item->callStack)) return nullptr;
  return item->callStack;
}

std::string textField(const txArray* stack, txIndex i, const char* name) {
  const txArray* field = txGetField(stack, i, name);
  return txIsChar(field) ? txGetStringUTF8(field) : std::string();
}

int lineField(const txArray* stack, txIndex i) {
  const txArray* field = txGetField(stack, i, "line");
  if ((!txIsNumeric(field) && !txIsLogical(field)) || txIsEmpty(field)) return -1;
  const double line = txGetScalar(field);
  if (!(line >= -2147483648.0 && line <= 2147483647.0)) return -1;
  return static_cast<int>(line);
}

}  // namespace

std::string qvsvGetTStackFromDiagnostic(qvsvDiagnosticImpl* const& diag, unsigned index) {
  const txArray* stack = stackOf(diag, index);
  std::string text;
  if (stack == nullptr) return text;
  const txIndex n = std::min(txGetNumberOfElements(stack), kMaxTextFrames);
  for (txIndex i = 0; i < n; ++i) {
    text += textField(stack, i, "file");
    text += '>';
    text += textField(stack, i, "name");
    text += ':';
    text += std::to_string(lineField(stack, i));
    text += '\n';
  }
  return text;
}

qvsvTStackFrames& qvsvPopulateTStackFromDiagnostic(qvsvTStackFrames& frames, qvsvDiagnosticImpl* const& diag,
                                                    unsigned index) {
  frames.clear();
  const txArray* stack = stackOf(diag, index);
  if (stack == nullptr) return frames;
  const txIndex n = txGetNumberOfElements(stack);
  for (txIndex i = 0; i < n; ++i) {
    frames.emplace_back(textField(stack, i, "file"), textField(stack, i, "name"), lineField(stack, i));
  }
  return frames;
}
