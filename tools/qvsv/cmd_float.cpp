// qvsv float: the float formatter's text for values given as arguments or
// read from stdin, one per line (buffered both ways, for millions of values).
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "qv_services/float_formatter.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

// "'text' what": the one line that names a value that does not parse.
std::string complaint(std::string_view text, std::string_view what) {
  std::string message;
  message.reserve(text.size() + what.size() + 3);
  message.push_back('\'');
  message.append(text);
  message.append("' ");
  message.append(what);
  return message;
}

// Decimal, "inf"/"nan", or a hexadecimal float ("0x1.8p3"), optionally signed.
template <typename T>
T parseNumber(std::string_view text, const char* outOfRange) {
  std::string_view rest = text;
  bool negative = false;
  if (!rest.empty() && (rest.front() == '+' || rest.front() == '-')) {
    negative = rest.front() == '-';
    rest.remove_prefix(1);
  }
  auto format = std::chars_format::general;
  if (rest.size() > 2 && rest[0] == '0' && (rest[1] == 'x' || rest[1] == 'X')) {
    rest.remove_prefix(2);
    format = std::chars_format::hex;
  }
  T value{};
  const auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), value, format);
  // from_chars takes no sign of its own; a second one is an error.
  if (rest.empty() || rest.front() == '+' || rest.front() == '-' || ec == std::errc::invalid_argument ||
      end != rest.data() + rest.size()) {
    throw InputError(complaint(text, "is not a number"));
  }
  if (ec == std::errc::result_out_of_range) throw InputError(complaint(text, outOfRange));
  return negative ? -value : value;
}

template <typename Bits>
Bits parseBits(std::string_view text) {
  constexpr std::size_t kDigits = sizeof(Bits) * 2;
  std::string_view rest = text;
  if (rest.size() > 2 && rest[0] == '0' && (rest[1] == 'x' || rest[1] == 'X')) rest.remove_prefix(2);
  Bits bits = 0;
  const auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), bits, 16);
  if (rest.size() != kDigits || ec != std::errc() || end != rest.data() + rest.size()) {
    throw InputError(complaint(text, kDigits == 16 ? "is not a bit pattern of 16 hexadecimal digits"
                                                   : "is not a bit pattern of 8 hexadecimal digits"));
  }
  return bits;
}

class FloatWriter {
 public:
  FloatWriter(int target, bool single, bool bits)
      : formatter_(static_cast<QVSV_Flt2Ascii::TargetEnum>(target)), single_(single), bits_(bits) {
    out_.reserve(kFlushSize + QvfrgFltToAscii::kBufferSize + 1);
  }
  ~FloatWriter() { flush(); }
  FloatWriter(const FloatWriter&) = delete;
  FloatWriter& operator=(const FloatWriter&) = delete;

  void write(std::string_view input) {
    const std::string_view text = trim(input);
    char line[QvfrgFltToAscii::kBufferSize];
    if (single_) {
      const float v = bits_ ? std::bit_cast<float>(parseBits<std::uint32_t>(text))
                            : parseNumber<float>(text, "is out of range for a single");
      formatter_.writeSingleFlt(line, v);
    } else {
      const double v = bits_ ? std::bit_cast<double>(parseBits<std::uint64_t>(text))
                             : parseNumber<double>(text, "is out of range for a double");
      formatter_.writeDoubleFlt(line, v);
    }
    out_.append(line);
    out_.push_back('\n');
    if (out_.size() >= kFlushSize) flush();
  }

  void flush() {
    if (!out_.empty()) std::fwrite(out_.data(), 1, out_.size(), stdout);
    out_.clear();
  }

 private:
  static constexpr std::size_t kFlushSize = 1 << 16;
  const QvfrgFltToAscii formatter_;
  const bool single_;
  const bool bits_;
  std::string out_;
};

// One value per line; blank lines are skipped.
void readStdin(FloatWriter& writer) {
  std::string pending;
  std::string chunk(1 << 20, '\0');
  for (;;) {
    const std::size_t n = std::fread(chunk.data(), 1, chunk.size(), stdin);
    if (n == 0) break;
    std::string_view data(chunk.data(), n);
    std::size_t start = 0;
    for (std::size_t nl; (nl = data.find('\n', start)) != std::string_view::npos; start = nl + 1) {
      std::string_view line = data.substr(start, nl - start);
      if (!pending.empty()) {
        pending.append(line);
        line = pending;
      }
      if (!trim(line).empty()) writer.write(line);
      pending.clear();
    }
    pending.append(data.substr(start));
  }
  if (std::ferror(stdin)) throw InputError("cannot read standard input");
  if (!trim(pending).empty()) writer.write(pending);
}

int runFloat(const Args& input) {
  Args args = input;
  std::string targetText = "1";
  TakeOption(args, "--target", targetText);
  const bool single = TakeFlag(args, "--single");
  const bool bits = TakeFlag(args, "--bits");
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  int target = 0;
  const auto [end, ec] = std::from_chars(targetText.data(), targetText.data() + targetText.size(), target);
  if (targetText.empty() || ec != std::errc() || end != targetText.data() + targetText.size()) {
    throw UsageError("--target needs an integer, not '" + targetText + "'");
  }
  FloatWriter writer(target, single, bits);
  if (args.empty()) {
    readStdin(writer);
  } else {
    for (const std::string& value : args) writer.write(value);
  }
  return 0;
}

const Command kFloat("float", "float [--target N] [--single] [--bits] [VALUE...]",
                     "write each value as the float formatter does for target N (default 1); --single formats "
                     "singles, --bits takes hexadecimal bit patterns (16 digits, 8 with --single); without "
                     "values, reads one per line from stdin",
                     runFloat);

}  // namespace
}  // namespace qvsv::tool
