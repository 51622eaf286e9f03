#include "tests/errors/random_diagnostics.hpp"

#include <string>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"

namespace qvsv::test {
namespace {

std::u16string randomText(std::mt19937& rng, bool illFormed) {
  static const std::u16string alphabet = u"ab <>&\"']]>\u00E9\u4E2D\U0001F600\n\t{0}";
  std::u16string text(rng() % 14, u'a');
  for (char16_t& c : text) c = alphabet[rng() % alphabet.size()];
  if (illFormed && rng() % 6 == 0) text.insert(text.begin() + rng() % (text.size() + 1), u'\xD800');
  if (rng() % 7 == 0) text.push_back(u'\0');
  return text;
}

std::string randomNarrow(std::mt19937& rng, bool illFormed) {
  std::string text = "n" + std::to_string(rng() % 1000);
  if (rng() % 4 == 0) text += "\xC3\xA9";
  if (illFormed && rng() % 5 == 0) text += "\xFF";
  return text;
}

txArray* randomArguments(std::mt19937& rng, bool illFormed) {
  const txIndex n = rng() % 4;
  txArray* cell = txCreateCellMatrix(1, n);
  for (txIndex i = 0; i < n; ++i) {
    txArray* element = nullptr;
    switch (rng() % 6) {
      case 0: element = txCreateDoubleScalar(static_cast<double>(static_cast<int>(rng() % 2001) - 1000)); break;
      case 1: element = txCreateDoubleScalar(0.1 * static_cast<double>(rng() % 100)); break;
      case 2: element = txCreateLogicalScalar(rng() % 2 == 0); break;
      case 3: element = txCreateDoubleMatrix(0, 0); break;
      default: element = txCreateString(randomText(rng, illFormed)); break;
    }
    txSetCell(cell, i, element);
  }
  txMakeArrayPersistent(cell);
  return cell;
}

txArray* randomCallStack(std::mt19937& rng, bool illFormed) {
  const txIndex n = 1 + rng() % 3;
  txArray* stack = txCreateStructMatrix(1, n, {"file", "name", "line"});
  for (txIndex i = 0; i < n; ++i) {
    txSetField(stack, i, "file", txCreateString(u"/src/model " + randomText(rng, false) + u".qv"));
    txSetField(stack, i, "name", txCreateString(randomText(rng, illFormed)));
    txSetField(stack, i, "line", txCreateDoubleScalar(static_cast<double>(rng() % 500)));
  }
  txMakeArrayPersistent(stack);
  return stack;
}

}  // namespace

qvsvDiagnosticImpl* RandomDiagnostic(std::mt19937& rng, int maxDepth, bool illFormed) {
  qvsvDiagnosticImpl* diag = nullptr;
  const unsigned n = 1 + rng() % 3;
  for (unsigned i = 0; i < n; ++i) {
    const std::string id = "Rand:" + std::to_string(rng() % 5) + ":K" + std::to_string(rng() % 3);
    const double handles[] = {1.5 + rng() % 10, 2.25, -7.0};
    const int handleCount = rng() % 3 == 0 ? 1 + static_cast<int>(rng() % 3) : 0;
    qvsvDiagnosticImpl* one =
        qvsvCreateDiagnosticFromIdAndMsg(handleCount > 0 ? handles : nullptr, handleCount, id.c_str(),
                                         randomText(rng, illFormed));
    qvsvDiagnosticItem* item = one->lastItem();
    if (rng() % 3 == 0) item->extraMessage = randomText(rng, illFormed);
    if (rng() % 2 == 0) item->arguments = randomArguments(rng, illFormed);
    if (rng() % 3 == 0) item->callStack = randomCallStack(rng, illFormed);
    if (rng() % 3 == 0) item->creationTime = static_cast<qvsvErrorCreationTime>(rng());
    for (unsigned m = rng() % 3; m > 0; --m) {
      const std::u16string key = u"k" + randomText(rng, illFormed);
      switch (rng() % 3) {
        case 0: qvsv::SetMetaDataToLastDiagnostic(one, key, qvsvArgumentValue(std::int64_t(rng()) << 20)); break;
        case 1: qvsv::SetMetaDataToLastDiagnostic(one, key, qvsvArgumentValue(randomNarrow(rng, illFormed))); break;
        default: qvsv::SetMetaDataToLastDiagnostic(one, key, qvsvArgumentValue(randomText(rng, illFormed))); break;
      }
    }
    if (maxDepth > 0 && rng() % 2 == 0) {
      qvsvDiagnosticImpl* causes = RandomDiagnostic(rng, maxDepth - 1, illFormed);
      qvsvAddCauseToLastDiagnosticItem(one, causes);
    }
    qvsvConcatenateDiagnostics(diag, one, false);
  }
  return diag;
}

}  // namespace qvsv::test
