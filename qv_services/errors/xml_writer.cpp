// Writing the message form and the argument form of a diagnostic.
#include <cstring>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"

namespace {

const std::string kStep = "    ";

// A close upper estimate of the text a writer produces, so that the output
// grows once instead of doubling its way up through large documents.
// perItem covers the fixed text of an item, messageFactor its message (the
// message form writes base64 of UTF-16: 8 characters per 3 code units).
std::size_t estimatedSize(const qvsvDiagnosticImpl* diag, std::size_t perItem, std::size_t messageFactor,
                          std::size_t depth) {
  if (diag == nullptr) return 0;
  std::size_t size = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    size += perItem + item->identifier.size() + 6 * 4 * depth + messageFactor * (item->message.size() + 2);
    if (item->cause != nullptr) size += 40 + 8 * depth + estimatedSize(item->cause, perItem, messageFactor, depth + 1);
  }
  return size;
}

void writeMessageItems(std::string& out, qvsvDiagnosticImpl* diag, const std::string& indent) {
  if (diag == nullptr) return;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += indent;
    out += "<diag id=\"";
    out += item->identifier;
    out += "\">\n";
    out += indent;
    out += "<msg encoded=\"yes\">\n";
    out += indent;
    out += "    <![CDATA[";
    out += EncodeBase64FromUChars(item->message);
    out += "]]>\n";
    out += indent;
    out += "</msg>\n";
    if (item->cause != nullptr && !item->cause->isEmpty()) {
      out += indent;
      out += "<causes>\n";
      writeMessageItems(out, item->cause, indent + kStep);
      out += indent;
      out += "</causes>\n";
    }
    out += indent;
    out += "</diag>\n";
  }
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
      } else {
        records_.push_back({2, 0, hostCopy(std::get<std::string>(argument))});
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
          out += record.text;
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
void writeArgumentItems(std::string& out, qvsvDiagnosticImpl* diag, const std::string& indent,
                        const ArgumentRecords& records) {
  if (diag == nullptr) return;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += indent;
    out += "<diag id=\"";
    out += item->identifier;
    out += "\">";
    records.write(out, indent);
    if (item->cause != nullptr && !item->cause->isEmpty()) {
      out += indent;
      out += "<causes>\n";
      writeArgumentItems(out, item->cause, indent + kStep, records);
      out += indent;
      out += "</causes>\n";
    }
    out += indent;
    out += "</diag>\n";
  }
}

}  // namespace

std::string qvsvSerializeDiagnosticAsXMLString(qvsvDiagnosticImpl*& diag) {
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  std::string out;
  out.reserve(32 + estimatedSize(diag, 80, 3, 0));
  out += "<diag_root>\n";
  writeMessageItems(out, diag, std::string());
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
  out.reserve(32 + estimatedSize(diag, 60 + records.size(), 0, 0));
  out += "<diag_root>";
  writeArgumentItems(out, diag, std::string(), records);
  out += "</diag_root>";
  return out;
}

std::string qvsvCreateSerializedMessageIDForDiagnostic(const resource_core::BaseMsgID& id) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(id, "");
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  return qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
}
