// libFuzzer target: UTF-8/UTF-16 conversions (substituting and strict), the
// escaping conversion, and the XML form's base64 and hex text encodings.
#include <stdexcept>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/xml_form.hpp"

using qvsv::fuzz::Check;
using qvsv::fuzz::Throws;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const int style = in.ConsumeIntegralInRange<int>(0, 6);
  const std::string bytes = in.ConsumeRandomLengthString(4096);
  const std::u16string units = qvsv::fuzz::WideText(in, 4096);
  const auto isStrict = [](const std::u16string& text) {
    return !Throws<std::invalid_argument>([&] { (void)ConvertUStringToStdString(text, false); });
  };

  // UTF-8 in: strict either throws or agrees with substitution and
  // round-trips exactly; substitution always gives well-formed UTF-16.
  const std::u16string wide = ConvertStdStringToUString(bytes, true);
  Check(isStrict(wide), "substituted UTF-8 gave ill-formed UTF-16");
  const bool refused = Throws<std::invalid_argument>([&] {
    Check(ConvertStdStringToUString(bytes, false) == wide, "strict and substituting conversions disagree on valid UTF-8");
    Check(ConvertUStringToStdString(wide, false) == bytes, "valid UTF-8 does not round-trip");
  });
  Check(!refused || wide.find(u'\uFFFD') != std::u16string::npos, "ill-formed UTF-8 gave no replacement character");

  // UTF-16 in: the same the other way.
  const std::string narrow = ConvertUStringToStdString(units, true);
  Check(ConvertStdStringToUString(narrow, false).size() <= units.size(), "substituted UTF-16 grew");
  if (isStrict(units)) Check(ConvertStdStringToUString(narrow, false) == units, "valid UTF-16 does not round-trip");

  // Escaping: the ASCII styles write only printable ASCII, the lossless ones
  // read back exactly, and no text is refused by a style that exists;
  // without escaping it is the plain conversion up to the first NUL.
  const std::u16string untilNul = units.substr(0, units.find(u'\0'));
  const bool unknownStyle = Throws<std::invalid_argument>([&] {
    const std::string escaped = ConvertUStringWithEscaping(units.c_str(), true, style);
    if (style == kQvsvEscapeStyleC || style == kQvsvEscapeStyleAscii || style == kQvsvEscapeStyleUrl) {
      for (char c : escaped) Check(c >= 0x20 && c < 0x7F, "escaped text holds a byte outside printable ASCII");
    }
    if (qvsvEscapeStyleIsLossless(style)) {
      Check(ConvertEscapedStringToUString(escaped, style) == untilNul, "a lossless escaping does not read back");
    }
  });
  Check(!unknownStyle || style == 0 || style == 3, "an existing style refused a text");
  Check(ConvertUStringWithEscaping(units.c_str(), false, style) == ConvertUStringToStdString(untilNul, true),
        "unescaped conversion differs from the plain one");

  // Encodings: any text decodes without harm; encoded texts decode back.
  (void)DecodeBase64FromChars(bytes);
  (void)DecodeFromChars(bytes);
  Check(DecodeBase64FromChars(EncodeBase64FromUChars(untilNul)) == untilNul, "base64 does not round-trip");
  Check(DecodeFromChars(EncodeFromUChars(untilNul)) == untilNul, "hex does not round-trip");
  return 0;
}
