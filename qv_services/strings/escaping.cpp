// The escaping styles and their inverses.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/strings/utf16_walk.hpp"

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr const char* kUpperHex = "0123456789ABCDEF";
constexpr const char* kLowerHex = "0123456789abcdef";

struct StyleInfo {
  int style;
  const char* name;
  bool lossless;
};

constexpr StyleInfo kStyles[] = {
    {kQvsvEscapeStyleC, "c", true},       {kQvsvEscapeStyleJson, "json", true}, {kQvsvEscapeStyleAscii, "ascii", true},
    {kQvsvEscapeStyleXml, "xml", false},  {kQvsvEscapeStyleUrl, "url", false},
};

std::string validStyleNames() {
  std::string names;
  for (const StyleInfo& info : kStyles) {
    if (!names.empty()) names += ", ";
    names += info.name;
  }
  return names;
}

const StyleInfo& styleInfo(int style) {
  for (const StyleInfo& info : kStyles) {
    if (info.style == style) return info;
  }
  throw std::invalid_argument("unsupported escaping style " + std::to_string(style) + " (styles: " +
                              validStyleNames() + ")");
}

bool isSurrogate(char32_t cp) { return cp >= 0xD800 && cp <= 0xDFFF; }

// UTF-8 has no form for a surrogate: the lossy styles write U+FFFD for it.
void appendUtf8(std::string& out, char32_t cp) { qvsv::detail::AppendUtf8(out, isSurrogate(cp) ? kReplacement : cp); }

using qvsv::detail::AppendUtf16;

void appendHex(std::string& out, char32_t value, int digits, const char* hex) {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) out.push_back(hex[(value >> shift) & 0xF]);
}

void appendUniversal(std::string& out, char32_t cp) {
  // Built in place and appended once: in the ASCII-only styles this is the common case.
  char buffer[10] = {'\\', cp > 0xFFFF ? 'U' : 'u'};
  const int digits = cp > 0xFFFF ? 8 : 4;
  for (int i = 0; i < digits; ++i) buffer[2 + i] = kUpperHex[(cp >> ((digits - 1 - i) * 4)) & 0xF];
  out.append(buffer, 2 + digits);
}

// --- Escaping, one function per style.

void escapeC(std::string& out, char32_t cp) {
  static constexpr const char* kShort = "abtnvfr";  // U+0007 to U+000D
  if (cp == u'\\' || cp == u'"') {
    out.push_back('\\');
    out.push_back(static_cast<char>(cp));
  } else if (cp >= 0x07 && cp <= 0x0D) {
    out.push_back('\\');
    out.push_back(kShort[cp - 0x07]);
  } else if (cp < 0x20 || cp == 0x7F) {
    out.push_back('\\');
    for (int shift = 6; shift >= 0; shift -= 3) out.push_back(static_cast<char>('0' + ((cp >> shift) & 7)));
  } else if (cp < 0x7F) {
    out.push_back(static_cast<char>(cp));
  } else {
    appendUniversal(out, cp);
  }
}

void escapeJson(std::string& out, char32_t cp) {
  switch (cp) {
    case u'"': out += "\\\""; return;
    case u'\\': out += "\\\\"; return;
    case u'\b': out += "\\b"; return;
    case u'\f': out += "\\f"; return;
    case u'\n': out += "\\n"; return;
    case u'\r': out += "\\r"; return;
    case u'\t': out += "\\t"; return;
    default: break;
  }
  if (cp < 0x20 || isSurrogate(cp)) {
    out += "\\u";
    appendHex(out, cp, 4, kLowerHex);
  } else {
    appendUtf8(out, cp);
  }
}

void escapeAscii(std::string& out, char32_t cp) {
  if (cp == u'\\') {
    out += "\\\\";
  } else if (cp >= 0x20 && cp <= 0x7E) {
    out.push_back(static_cast<char>(cp));
  } else {
    appendUniversal(out, cp);
  }
}

bool xmlCanHold(char32_t cp) {
  return cp == 0x9 || cp == 0xA || cp == 0xD || (cp >= 0x20 && cp <= 0xD7FF) || (cp >= 0xE000 && cp <= 0xFFFD) ||
         cp >= 0x10000;
}

void escapeXml(std::string& out, char32_t cp) {
  switch (cp) {
    case u'&': out += "&amp;"; return;
    case u'<': out += "&lt;"; return;
    case u'>': out += "&gt;"; return;
    case u'"': out += "&quot;"; return;
    case u'\'': out += "&apos;"; return;
    case u'\t': out += "&#9;"; return;
    case u'\n': out += "&#10;"; return;
    case u'\r': out += "&#13;"; return;
    default: break;
  }
  appendUtf8(out, xmlCanHold(cp) ? cp : kReplacement);
}

bool isUnreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

void escapeUrl(std::string& out, char32_t cp) {
  std::string bytes;
  appendUtf8(bytes, cp);
  for (const char c : bytes) {
    if (isUnreserved(c)) {
      out.push_back(c);
    } else {
      out.push_back('%');
      appendHex(out, static_cast<unsigned char>(c), 2, kUpperHex);
    }
  }
}

// --- Unescaping.

[[noreturn]] void badEscape(const char* styleName, std::string_view text, std::size_t offset, std::size_t length,
                            const char* why) {
  const std::string piece(text.substr(offset, length));
  throw std::invalid_argument(std::string("invalid ") + styleName + " escape '" + piece + "' at offset " +
                              std::to_string(offset) + ": " + why);
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads exactly `digits` hex digits at text[at]; -1 when they are not there.
std::int64_t readHex(std::string_view text, std::size_t at, std::size_t digits) {
  if (at + digits > text.size()) return -1;
  std::int64_t value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    const int d = hexValue(text[at + i]);
    if (d < 0) return -1;
    value = value * 16 + d;
  }
  return value;
}

// Text between escapes: ASCII is copied as it is, anything else read as UTF-8.
void appendRun(std::u16string& out, std::string_view run) {
  for (std::size_t i = 0; i < run.size(); ++i) {
    if (static_cast<unsigned char>(run[i]) >= 0x80) {
      out += ConvertStdStringToUString(run.substr(i), true);
      return;
    }
    out.push_back(static_cast<char16_t>(run[i]));
  }
}

// Walks text, copying runs outside escapes (read as UTF-8) and letting
// `escape` read each escape that starts with `introducer`; it returns the
// number of bytes the escape took and appends what it stands for.
template <typename Escape>
std::u16string unescapeWith(std::string_view text, char introducer, Escape&& escape) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t run = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] != introducer) {
      ++i;
      continue;
    }
    appendRun(out, text.substr(run, i - run));
    i += escape(text, i, out);
    run = i;
  }
  appendRun(out, text.substr(run));
  return out;
}

// \u and \U with their exact digit counts: the escapes the C and ASCII styles share.
std::size_t readUniversal(const char* styleName, std::string_view text, std::size_t at, std::u16string& out) {
  const bool longForm = text[at + 1] == 'U';
  const std::size_t digits = longForm ? 8 : 4;
  const std::int64_t value = readHex(text, at + 2, digits);
  if (value < 0) badEscape(styleName, text, at, 2 + digits, longForm ? "needs 8 hex digits" : "needs 4 hex digits");
  if (value > 0x10FFFF) badEscape(styleName, text, at, 2 + digits, "beyond U+10FFFF");
  AppendUtf16(out, static_cast<char32_t>(value));
  return 2 + digits;
}

std::u16string unescapeAscii(std::string_view text) {
  return unescapeWith(text, '\\', [&](std::string_view t, std::size_t at, std::u16string& out) -> std::size_t {
    if (at + 1 >= t.size()) badEscape("ascii", t, at, 1, "nothing follows the backslash");
    if (t[at + 1] == '\\') {
      out.push_back(u'\\');
      return 2;
    }
    if (t[at + 1] == 'u' || t[at + 1] == 'U') return readUniversal("ascii", t, at, out);
    badEscape("ascii", t, at, 2, "only \\\\, \\u and \\U are escapes");
  });
}

std::u16string unescapeC(std::string_view text) {
  return unescapeWith(text, '\\', [&](std::string_view t, std::size_t at, std::u16string& out) -> std::size_t {
    if (at + 1 >= t.size()) badEscape("c", t, at, 1, "nothing follows the backslash");
    const char c = t[at + 1];
    static constexpr std::string_view kShort = "abtnvfr";
    if (const auto pos = kShort.find(c); pos != std::string_view::npos) {
      out.push_back(static_cast<char16_t>(0x07 + pos));
      return 2;
    }
    if (c == '\\' || c == '"' || c == '\'' || c == '?') {
      out.push_back(static_cast<char16_t>(c));
      return 2;
    }
    if (c >= '0' && c <= '7') {
      std::size_t n = 1;
      char16_t value = 0;
      while (n <= 3 && at + n < t.size() && t[at + n] >= '0' && t[at + n] <= '7') {
        value = static_cast<char16_t>(value * 8 + (t[at + n] - '0'));
        ++n;
      }
      out.push_back(value);
      return n;
    }
    if (c == 'x') {
      std::size_t n = 2;
      std::int64_t value = 0;
      while (at + n < t.size() && hexValue(t[at + n]) >= 0) {
        value = value * 16 + hexValue(t[at + n]);
        ++n;
        if (value > 0xFFFF) badEscape("c", t, at, n, "beyond one UTF-16 code unit");
      }
      if (n == 2) badEscape("c", t, at, 2, "needs hex digits");
      out.push_back(static_cast<char16_t>(value));
      return n;
    }
    if (c == 'u' || c == 'U') return readUniversal("c", t, at, out);
    badEscape("c", t, at, 2, "not a C escape");
  });
}

std::u16string unescapeJson(std::string_view text) {
  return unescapeWith(text, '\\', [&](std::string_view t, std::size_t at, std::u16string& out) -> std::size_t {
    if (at + 1 >= t.size()) badEscape("json", t, at, 1, "nothing follows the backslash");
    switch (t[at + 1]) {
      case '"': out.push_back(u'"'); return 2;
      case '\\': out.push_back(u'\\'); return 2;
      case '/': out.push_back(u'/'); return 2;
      case 'b': out.push_back(u'\b'); return 2;
      case 'f': out.push_back(u'\f'); return 2;
      case 'n': out.push_back(u'\n'); return 2;
      case 'r': out.push_back(u'\r'); return 2;
      case 't': out.push_back(u'\t'); return 2;
      case 'u': {
        const std::int64_t value = readHex(t, at + 2, 4);
        if (value < 0) badEscape("json", t, at, 6, "needs 4 hex digits");
        out.push_back(static_cast<char16_t>(value));
        return 6;
      }
      default: badEscape("json", t, at, 2, "not a JSON escape");
    }
  });
}

std::u16string unescapeXml(std::string_view text) {
  return unescapeWith(text, '&', [&](std::string_view t, std::size_t at, std::u16string& out) -> std::size_t {
    // The longest reference is "&#x10FFFF;" or "&#1114111;"; leading zeros are allowed but bounded here.
    const std::size_t semicolon = t.find(';', at);
    if (semicolon == std::string_view::npos || semicolon - at > 16) {
      badEscape("xml", t, at, std::min<std::size_t>(t.size() - at, 8), "no ';' ends the reference");
    }
    const std::string_view name = t.substr(at + 1, semicolon - at - 1);
    const std::size_t length = semicolon - at + 1;
    static constexpr std::pair<std::string_view, char16_t> kEntities[] = {
        {"amp", u'&'}, {"lt", u'<'}, {"gt", u'>'}, {"quot", u'"'}, {"apos", u'\''}};
    for (const auto& [entity, c] : kEntities) {
      if (name == entity) {
        out.push_back(c);
        return length;
      }
    }
    if (name.size() >= 2 && name[0] == '#') {
      const bool hex = name[1] == 'x';
      const std::string_view digits = name.substr(hex ? 2 : 1);
      std::int64_t value = digits.empty() ? -1 : 0;
      for (const char d : digits) {
        const int v = hex ? hexValue(d) : (d >= '0' && d <= '9' ? d - '0' : -1);
        if (v < 0 || value > 0x10FFFF) {
          value = -1;
          break;
        }
        value = value * (hex ? 16 : 10) + v;
      }
      if (value < 0 || value > 0x10FFFF || isSurrogate(static_cast<char32_t>(value))) {
        badEscape("xml", t, at, length, "not a character reference");
      }
      AppendUtf16(out, static_cast<char32_t>(value));
      return length;
    }
    badEscape("xml", t, at, length, "unknown entity");
  });
}

std::u16string unescapeUrl(std::string_view text) {
  // Percent escapes are bytes that may join into one UTF-8 sequence, so the
  // bytes are collected first and read as UTF-8 once.
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes.push_back(text[i]);
      continue;
    }
    const std::int64_t value = readHex(text, i + 1, 2);
    if (value < 0) badEscape("url", text, i, std::min<std::size_t>(3, text.size() - i), "needs 2 hex digits");
    bytes.push_back(static_cast<char>(value));
    i += 2;
  }
  return ConvertStdStringToUString(bytes, true);
}

}  // namespace

std::string ConvertUStringWithEscaping(std::u16string_view text, int style) {
  void (*escape)(std::string&, char32_t) = nullptr;
  switch (styleInfo(style).style) {
    case kQvsvEscapeStyleC: escape = escapeC; break;
    case kQvsvEscapeStyleJson: escape = escapeJson; break;
    case kQvsvEscapeStyleAscii: escape = escapeAscii; break;
    case kQvsvEscapeStyleXml: escape = escapeXml; break;
    default: escape = escapeUrl; break;
  }
  std::string out;
  out.reserve(text.size() + text.size() / 4);
  qvsv::detail::ForEachCodePoint(text, [&](char32_t cp, bool, std::size_t) { escape(out, cp); });
  return out;
}

std::u16string ConvertEscapedStringToUString(std::string_view escaped, int style) {
  switch (styleInfo(style).style) {
    case kQvsvEscapeStyleC: return unescapeC(escaped);
    case kQvsvEscapeStyleJson: return unescapeJson(escaped);
    case kQvsvEscapeStyleAscii: return unescapeAscii(escaped);
    case kQvsvEscapeStyleXml: return unescapeXml(escaped);
    default: return unescapeUrl(escaped);
  }
}

int qvsvEscapeStyleFromName(std::string_view name) {
  for (const StyleInfo& info : kStyles) {
    if (name == info.name) return info.style;
  }
  throw std::invalid_argument("'" + std::string(name) + "' is not an escaping style (styles: " + validStyleNames() +
                              ")");
}

const char* qvsvEscapeStyleName(int style) { return styleInfo(style).name; }

bool qvsvEscapeStyleIsLossless(int style) { return styleInfo(style).lossless; }
