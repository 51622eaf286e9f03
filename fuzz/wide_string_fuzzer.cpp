// libFuzzer target: the wide-string functions that parse or split: splitting
// at escaped delimiters (wide and UTF-8), trimming and space collapsing, the
// ellipsis rule, and the host-literal function read back by the host.
#include <vector>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/interpreter.hpp"

using qvsv::fuzz::Check;

// Joins pieces so that splitting gives them back: escapes and delimiters
// inside a piece get an escape in front.
template <typename String, typename Char>
String join(const std::vector<String>& pieces, Char delimiter, Char escape) {
  String out;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) out.push_back(delimiter);
    for (Char c : pieces[i]) {
      if (c == delimiter || c == escape) out.push_back(escape);
      out.push_back(c);
    }
  }
  return out;
}

template <typename String, typename Char, typename Split>
void checkSplit(const String& text, Char delimiter, Char escape, Split split) {
  std::vector<String> pieces{String(1, Char('x'))};
  split(pieces, text, delimiter, escape);
  Check(text.empty() == pieces.empty(), "an empty text gives no piece, any other at least one");
  if (escape == 0 || escape == delimiter) return;
  // A single empty piece joins to the empty text, which gives no piece.
  if (pieces.size() == 1 && pieces[0].empty()) return;
  std::vector<String> again;
  split(again, join(pieces, delimiter, escape), delimiter, escape);
  Check(again == pieces, "split(join(pieces)) differs from pieces");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  static constexpr char kMarks[] = {',', ';', '\\', '|', ' ', '\0', '"', '\''};
  const char delimiter = in.PickValueInArray(kMarks);
  const char escape = in.PickValueInArray(kMarks);
  const std::uint16_t maxLength = in.ConsumeIntegral<std::uint16_t>() % 64;
  const std::u16string text = qvsv::fuzz::WideText(in, 2048);
  const std::string narrow = ConvertUStringToStdString(text, true);

  checkSplit(text, static_cast<char16_t>(delimiter), static_cast<char16_t>(escape),
             [](auto& out, const auto& t, char16_t d, char16_t e) { delimited_ustring_to_vector(out, t, d, e); });
  checkSplit(narrow, delimiter, escape,
             [](auto& out, const auto& t, char d, char e) { delimited_string_to_vector(out, t, d, e); });

  // Trimming and collapsing are idempotent, and collapsing never lengthens.
  const std::u16string trimmed = qvsvTrimStr(text);
  std::u16string inPlace = text;
  qvsvTrimUString(inPlace);
  Check(qvsvTrimStr(trimmed) == trimmed && inPlace == trimmed, "trimming forms disagree or are not idempotent");
  Check(qvsvIsWhitespaceString(text) == trimmed.empty(), "whitespace-only test disagrees with trimming");
  const std::u16string collapsed = qvsvRemoveExtraSpacesUString(text);
  Check(qvsvRemoveExtraSpacesUString(collapsed) == collapsed && collapsed.size() <= trimmed.size(), "bad collapse");
  const std::string narrowCollapsed = qvsvRemoveExtraSpaces(narrow);
  Check(qvsvRemoveExtraSpaces(narrowCollapsed) == narrowCollapsed, "narrow space collapsing is not idempotent");

  std::u16string cut = text;
  qvsvStrAppendEllipsis(cut, maxLength);
  const bool cuts = text.size() > maxLength && maxLength >= 5;
  Check(cuts ? cut == text.substr(0, maxLength - 3) + u"..." : cut == text, "ellipsis rule broken");

  const std::u16string literal = qvsvMAT2str(text);
  Check(tessel::EvaluateStringExpression(literal) == text, "the host does not read the literal back");
  return 0;
}
