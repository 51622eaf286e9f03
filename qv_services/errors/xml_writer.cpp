// Writing the message form and the argument form of a diagnostic.
#include <unicode/utf8.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/cause_walk.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"

namespace {

// Items nested deeper than the reader accepts are left out (with their
// causes), so that every document written reads back.
bool writesCausesAt(std::size_t depth) { return depth < static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth); }

bool hasCauses(const qvsvDiagnosticItem& item) { return item.cause != nullptr && !item.cause->isEmpty(); }

// A close upper estimate of the text a writer produces, so that the output
// grows once instead of doubling its way up through large documents.
// perItem covers the fixed text of an item, messageFactor its message (the
// message form writes base64 of UTF-16: 8 characters per 3 code units).
std::size_t estimatedSize(const qvsvDiagnosticImpl* diag, std::size_t perItem, std::size_t messageFactor) {
  std::size_t size = 0;
  qvsv::detail::WalkItems(diag, [&](const qvsvDiagnosticItem& item, std::size_t depth) {
    size += perItem + item.identifier.size() + 6 * 4 * depth + messageFactor * (item.message.size() + 2);
    const bool descend = hasCauses(item) && writesCausesAt(depth);
    if (descend) size += 40 + 8 * depth;
    return descend;
  });
  return size;
}

// Whether XML 1.0 can hold the code point at all, as text or as a reference.
bool isXmlChar(UChar32 c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0x10FFFF);
}

// Calls visit(code point) for each character of a UTF-8 text; an ill-formed
// sequence is passed as a negative value.
template <typename Visit>
void forEachCodePoint(std::string_view text, Visit visit) {
  const std::int64_t length = static_cast<std::int64_t>(text.size());
  for (std::int64_t at = 0; at < length;) {
    UChar32 c;
    U8_NEXT(text.data(), at, length, c);
    visit(c);
  }
}

// Whether the narrow text can be written as character data and read back
// unchanged: well-formed UTF-8 of characters that XML 1.0 allows.
bool fitsCharacterData(std::string_view text) {
  bool fits = true;
  forEachCodePoint(text, [&fits](UChar32 c) { fits = fits && c >= 0 && isXmlChar(c); });
  return fits;
}

// The text inside one CDATA section as a reader gives it back: "]]>" would
// end the section, so it is split there ("]]" ends one section, ">" opens the
// next), and a carriage return, which a reader turns into a newline, goes
// between two sections as a character reference.
void writeCdataContent(std::string& out, std::string_view text) {
  std::size_t done = 0;
  for (std::size_t at = text.find_first_of("]\r"); at != std::string_view::npos; at = text.find_first_of("]\r", at)) {
    if (text[at] == '\r') {
      out += text.substr(done, at - done);
      out += "]]>&#13;<![CDATA[";
      done = at += 1;
    } else if (text.compare(at, 3, "]]>") == 0) {
      out += text.substr(done, at - done);
      out += "]]]]><![CDATA[>";
      done = at += 3;
    } else {
      at += 1;
    }
  }
  out += text.substr(done);
}

// How an identifier goes into its attribute value.
using IdentifierWriter = void (*)(std::string& out, std::string_view identifier);

// As stored, unescaped: the message form's own bytes.
void writeRaw(std::string& out, std::string_view identifier) { out += identifier; }

// Printable ASCII as it is, except the three characters that end or change an
// attribute value ('"', '<', '&'); everything else as a decimal character
// reference, which a reader gives back exactly (blanks included). Characters
// that XML 1.0 cannot hold at all, and ill-formed UTF-8, become U+FFFD.
void writeAscii7(std::string& out, std::string_view identifier) {
  forEachCodePoint(identifier, [&out](UChar32 c) {
    if (c < 0 || !isXmlChar(c)) c = 0xFFFD;
    if (c >= 0x20 && c < 0x7F && c != '"' && c != '<' && c != '&') {
      out += static_cast<char>(c);
    } else {
      char reference[16];
      const int n = std::snprintf(reference, sizeof reference, "&#%d;", static_cast<int>(c));
      out.append(reference, static_cast<std::size_t>(n));
    }
  });
}

// Ends an item in both forms: its causes element, when it was walked into,
// and the item.
auto closeItem(std::string& out) {
  return [&out](const qvsvDiagnosticItem&, std::size_t depth, bool walkedIn) {
    const std::size_t indent = 4 * depth;
    if (walkedIn) {
      out.append(indent, ' ');
      out += "</causes>\n";
    }
    out.append(indent, ' ');
    out += "</diag>\n";
  };
}

void writeMessageItems(std::string& out, const qvsvDiagnosticImpl* diag, IdentifierWriter writeIdentifier) {
  qvsv::detail::WalkItems(
      diag,
      [&out, writeIdentifier](const qvsvDiagnosticItem& item, std::size_t depth) {
        const std::size_t indent = 4 * depth;
        out.append(indent, ' ');
        out += "<diag id=\"";
        writeIdentifier(out, item.identifier);
        out += "\">\n";
        out.append(indent, ' ');
        out += "<msg encoded=\"yes\">\n";
        out.append(indent, ' ');
        out += "    <![CDATA[";
        out += EncodeBase64FromUChars(item.message);
        out += "]]>\n";
        out.append(indent, ' ');
        out += "</msg>\n";
        const bool descend = hasCauses(item) && writesCausesAt(depth);
        if (descend) {
          out.append(indent, ' ');
          out += "<causes>\n";
        }
        return descend;
      },
      closeItem(out));
}

// One argument as written: kind 0 numeric, 1 encoded wide text, 2 narrow
// text. The texts are host-allocated copies; a null text is a copy that
// could not be made.
struct ArgumentRecord {
  int kind;
  std::int64_t number;
  char* text;
};

char* hostCopy(const std::string& text) {
  auto* copy = static_cast<char*>(qvsv::detail::TestedMalloc(qvsv::fault::kXmlArgumentText, text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

class ArgumentRecords {
 public:
  explicit ArgumentRecords(const qvsvArgumentVector& arguments) {
    records_.reserve(arguments.size());
    for (const qvsvArgumentValue& argument : arguments) {
      if (const auto* number = std::get_if<std::int64_t>(&argument)) {
        records_.push_back({0, *number, nullptr});
      } else if (const auto* wide = std::get_if<std::u16string>(&argument)) {
        records_.push_back({1, 0, hostCopy(EncodeBase64FromUChars(*wide))});
      } else if (const std::string& narrow = std::get<std::string>(argument); fitsCharacterData(narrow)) {
        records_.push_back({2, 0, hostCopy(narrow)});
      } else {
        // XML cannot carry these bytes as text: the encoded kind carries the
        // characters (ill-formed bytes as U+FFFD), read back as wide text.
        records_.push_back({1, 0, hostCopy(EncodeBase64FromUChars(ConvertStdStringToUString(narrow)))});
      }
    }
  }
  ~ArgumentRecords() {
    for (const ArgumentRecord& record : records_) utFree(record.text);
  }
  ArgumentRecords(const ArgumentRecords&) = delete;
  ArgumentRecords& operator=(const ArgumentRecords&) = delete;

  // Bytes written per item, at most.
  std::size_t size() const {
    std::size_t n = 0;
    for (const ArgumentRecord& record : records_) n += 48 + (record.text == nullptr ? 0 : std::strlen(record.text));
    return n;
  }

  void write(std::string& out, const std::string& indent) const {
    out += "<arguments>";
    out += indent;
    for (const ArgumentRecord& record : records_) {
      out += "<arg";
      if (record.kind == 0) {
        out += " type=\"numeric\">";
        out += std::to_string(record.number);
      } else if (record.text != nullptr) {
        if (record.kind == 1) {
          out += " type=\"encoded\">";
          out += record.text;
        } else {
          out += "><![CDATA[";
          writeCdataContent(out, record.text);
          out += "]]>";
        }
      }
      out += "</arg>";
    }
    out += "</arguments>";
  }

 private:
  std::vector<ArgumentRecord> records_;
};

// Every item is written with the same records: those of the diagnostic's last item.
void writeArgumentItems(std::string& out, const qvsvDiagnosticImpl* diag, const ArgumentRecords& records) {
  qvsv::detail::WalkItems(
      diag,
      [&](const qvsvDiagnosticItem& item, std::size_t depth) {
        const std::string indent(4 * depth, ' ');
        out += indent;
        out += "<diag id=\"";
        out += item.identifier;
        out += "\">";
        records.write(out, indent);
        const bool descend = hasCauses(item) && writesCausesAt(depth);
        if (descend) {
          out += indent;
          out += "<causes>\n";
        }
        return descend;
      },
      closeItem(out));
}

}  // namespace

std::string qvsvSerializeDiagnosticAsXMLString(qvsvDiagnosticImpl*& diag) {
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  std::string out;
  out.reserve(32 + estimatedSize(diag, 80, 3));
  out += "<diag_root>\n";
  writeMessageItems(out, diag, writeRaw);
  out += "</diag_root>\n";
  return out;
}

std::string qvsvSerializeDiagnosticAsXMLStringWithArguments(qvsvDiagnosticImpl*& diag) {
  return qvsvSerializeDiagnosticAsXMLStringWithArguments(diag, qvsvGetArgumentsFromLastDiagnostic(diag));
}

std::string qvsvSerializeDiagnosticAsXMLStringWithArguments(qvsvDiagnosticImpl*& diag,
                                                            const qvsvArgumentVector& arguments) {
  const ArgumentRecords records(arguments);
  std::string out;
  out.reserve(32 + estimatedSize(diag, 60 + records.size(), 0));
  out += "<diag_root>";
  writeArgumentItems(out, diag, records);
  out += "</diag_root>";
  return out;
}

std::string qvsvCreateSerializedMessageIDForDiagnostic(const resource_core::BaseMsgID& id) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(id, "");
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  return qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
}

std::string CreateSerializedDiagnosticAsASCII7String(const qvsvDiagnosticImpl* diag) {
  std::string out;
  out.reserve(32 + estimatedSize(diag, 80, 3));
  out += "<diag_root>\n";
  writeMessageItems(out, diag, writeAscii7);
  out += "</diag_root>\n";
  return out;
}
