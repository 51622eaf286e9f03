// The text encodings of the XML form: base64 of UTF-16 and hexadecimal UTF-16.
#include <array>
#include <cstdint>

#include "qv_services/xml_form.hpp"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The encoder can break lines after every 19 groups (76 characters); the XML
// form always writes one line.
std::string encodeBase64(const std::uint8_t* bytes, std::size_t n, bool lineBreaks) {
  std::string out;
  out.reserve(4 * ((n + 2) / 3) + (lineBreaks ? n / 57 : 0));
  std::size_t groups = 0;
  for (std::size_t i = 0; i < n; i += 3) {
    const std::uint32_t b0 = bytes[i];
    const std::uint32_t b1 = i + 1 < n ? bytes[i + 1] : 0;
    const std::uint32_t b2 = i + 2 < n ? bytes[i + 2] : 0;
    const std::uint32_t triple = (b0 << 16) | (b1 << 8) | b2;
    out.push_back(kAlphabet[(triple >> 18) & 0x3F]);
    out.push_back(kAlphabet[(triple >> 12) & 0x3F]);
    out.push_back(i + 1 < n ? kAlphabet[(triple >> 6) & 0x3F] : '=');
    out.push_back(i + 2 < n ? kAlphabet[triple & 0x3F] : '=');
    if (lineBreaks && ++groups % 19 == 0) out.push_back('\n');
  }
  return out;
}

constexpr std::array<std::int8_t, 256> decodeTable() {
  std::array<std::int8_t, 256> table{};
  for (auto& v : table) v = -1;
  for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return table;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string EncodeBase64FromUChars(const std::u16string& text) {
  if (text.empty()) return std::string();
  std::string bytes;
  bytes.reserve(2 * text.size() + 2);
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  bytes.push_back('\0');
  bytes.push_back('\0');
  return encodeBase64(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), false);
}

std::u16string DecodeBase64FromChars(const std::string& text) {
  static constexpr std::array<std::int8_t, 256> kTable = decodeTable();
  std::u16string out;
  out.reserve(text.size() * 3 / 8);
  std::uint32_t bits = 0;
  int bitCount = 0;
  int pendingByte = -1;
  for (const char c : text) {
    const std::int8_t v = kTable[static_cast<unsigned char>(c)];
    if (v < 0) continue;
    bits = (bits << 6) | static_cast<std::uint32_t>(v);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    const int byte = static_cast<int>((bits >> bitCount) & 0xFF);
    if (pendingByte < 0) {
      pendingByte = byte;
      continue;
    }
    const auto unit = static_cast<char16_t>(pendingByte | (byte << 8));
    pendingByte = -1;
    if (unit == u'\0') break;
    out.push_back(unit);
  }
  return out;
}

std::string EncodeFromUChars(const std::u16string& text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(4 * text.size());
  for (const char16_t unit : text) {
    if (unit == u'\0') break;
    out.push_back(kHex[(unit >> 12) & 0xF]);
    out.push_back(kHex[(unit >> 8) & 0xF]);
    out.push_back(kHex[(unit >> 4) & 0xF]);
    out.push_back(kHex[unit & 0xF]);
  }
  return out;
}

std::u16string DecodeFromChars(const std::string& text) {
  std::u16string out;
  out.reserve(text.size() / 4);
  for (std::size_t i = 0; i + 4 <= text.size(); i += 4) {
    int value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const int digit = hexValue(text[i + k]);
      if (digit < 0) return out;
      value = value * 16 + digit;
    }
    out.push_back(static_cast<char16_t>(value));
  }
  return out;
}
