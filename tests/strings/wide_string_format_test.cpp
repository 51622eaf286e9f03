// qvsvSnprintf and qvsvVSnprintf against ICU's u_vsnprintf called directly:
// the buffer and the result must be ICU's for every size, including sizes
// that cut the result (inside a surrogate pair too) and negative ones.
#include <unicode/ustdio.h>

#include <cstdarg>

#include "qv_services/wide_string.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

// The result and the whole buffer, so that what is written past the result
// (a terminator or nothing) shows as well.
struct Outcome {
  int result = 0;
  std::u16string buffer = std::u16string(48, u'#');
  bool operator==(const Outcome&) const = default;
};

using VPrint = int (*)(char16_t*, int, const char*, va_list);
int qvsvVForward(char16_t* buf, int size, const char* format, va_list args) {
  return qvsvVSnprintf(buf, size, format, args);
}

// Prints through the va_list function given, or through qvsvSnprintf when null.
template <typename... Args>
Outcome print(VPrint v, int size, const char* format, Args... args) {
  Outcome out;
  const auto viaList = [&](const char* f, ...) {
    va_list list;
    va_start(list, f);
    const int result = v(out.buffer.data(), size, f, list);
    va_end(list);
    return result;
  };
  out.result = v != nullptr ? viaList(format, args...) : qvsvSnprintf(out.buffer.data(), size, format, args...);
  return out;
}

struct FormatCase {
  const char* name;
  Outcome (*write)(VPrint, int size);
};

class SnprintfForwardsToIcu : public ::testing::TestWithParam<FormatCase> {};

TEST_P(SnprintfForwardsToIcu, BufferAndResultAreIcusForEverySize) {
  const FormatCase& c = GetParam();
  // The whole result's length, from a buffer that holds it.
  const Outcome whole = c.write(&u_vsnprintf, static_cast<int>(Outcome().buffer.size()));
  const int exact = static_cast<int>(whole.buffer.find(u'\0'));
  ASSERT_LT(exact, static_cast<int>(whole.buffer.size()) - 1) << "the buffer must hold the result and its NUL";
  for (const int size : {-1, -100, 0, 1, 2, exact / 2, exact - 1, exact, exact + 1, exact + 8}) {
    SCOPED_TRACE("size " + std::to_string(size));
    const Outcome icu = c.write(&u_vsnprintf, size);
    EXPECT_EQ(c.write(nullptr, size), icu);
    EXPECT_EQ(c.write(&qvsvVForward, size), icu);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, SnprintfForwardsToIcu,
    ::testing::Values(
        FormatCase{"IntegerAndNarrow", [](VPrint v, int size) { return print(v, size, "%d-%s", 42, "ab"); }},
        FormatCase{"WideWithSurrogatePair", [](VPrint v, int size) { return print(v, size, "%S|", u"h\U0001F600x\u00E9"); }},
        FormatCase{"FloatAndWidths", [](VPrint v, int size) { return print(v, size, "%.2f|%5d|%-4s|", 3.14159, 7, "x"); }},
        FormatCase{"NoConversions", [](VPrint v, int size) { return print(v, size, "plain text 100%%"); }},
        FormatCase{"HexAndChar", [](VPrint v, int size) { return print(v, size, "%x%c%o", 255u, 'z', 8u); }},
        FormatCase{"EmptyResult", [](VPrint v, int size) { return print(v, size, "%s", ""); }}),
    qvsv::test::RowName());

// A null buffer of size zero measures, as in ICU; where ICU would write
// through a null pointer or read a null format, the forwards refuse instead.
TEST(Snprintf, MeasuresWithANullBufferOfSizeZeroAndRefusesOtherNulls) {
  EXPECT_EQ(qvsvSnprintf(nullptr, 0, "%d", 123456), u_snprintf(nullptr, 0, "%d", 123456));
  char16_t buf[4] = {u'#', u'#', u'#', u'#'};
  EXPECT_EQ(qvsvSnprintf(buf, 4, nullptr), -1);
  EXPECT_EQ(qvsvSnprintf(nullptr, 4, "x"), -1);
  EXPECT_EQ(qvsvSnprintf(nullptr, -1, "x"), -1);
  EXPECT_EQ(buf[0], u'#');
}

TEST(Format, SprintfWritesAndSscanfReadsIcuSyntaxAndBothRefuseNulls) {
  char16_t buf[32];
  EXPECT_EQ(qvsvSprintf(buf, "%d-%S|%.2f", 5, u"wide\u00E9", 3.14159), 12);
  EXPECT_EQ(std::u16string(buf), u"5-wide\u00E9|3.14");
  EXPECT_EQ(qvsvSprintf(nullptr, "x"), -1);
  EXPECT_EQ(qvsvSprintf(buf, nullptr), -1);
  int a = 0;
  int b = 0;
  char16_t word[8] = {};
  EXPECT_EQ(qvsvSscanf(u"12 34 \u00E9t\u00E9", "%d %d %S", &a, &b, word), 3);
  EXPECT_EQ(a + b, 46);
  EXPECT_EQ(std::u16string(word), u"\u00E9t\u00E9");
  EXPECT_EQ(qvsvSscanf(nullptr, "%d", &a), 0) << "null scans as the empty text";
  EXPECT_EQ(qvsvSscanf(u"1", nullptr, &a), -1);
}

}  // namespace
