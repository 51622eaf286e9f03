// Restoring a diagnostic from its XML form with Expat.
#include <expat.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iostream>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/xml_restore.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/xml_form.hpp"

namespace {

constexpr std::string_view kRootTag = "<diag_root>";
constexpr const char* kSystemId = "http://www.quiver.example/dtd/qvsvdiagnostic.dtd";
constexpr const char* kDocumentType =
    "<!ELEMENT diag_root (diag+) ><!ELEMENT diag ((msg | arguments),causes?)><!--'msg' must be CDATA --> "
    "<!ELEMENT msg (#PCDATA)><!ELEMENT causes (diag+) ><!ELEMENT arguments (arg+) ><!ELEMENT arg (#PCDATA)>"
    "<!ATTLIST diag id CDATA #REQUIRED ><!ATTLIST msg encoded (yes|no) \"no\" >"
    "<!ATTLIST arg  type (numeric|encoded|string) \"string\" >";
constexpr const char* kCreation = "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:";

// One "diag" element being read.
struct PendingItem {
  std::string id;
  std::string text;
  bool encoded = false;
  bool hasMessage = false;
  bool hasArguments = false;
  qvsvArgumentVector arguments;
  qvsvDiagnosticImpl* causes = nullptr;
};

// Builds the diagnostic while Expat walks the document. Element names and
// the identifier attribute can be configured; they default to the form's own.
class RestoreHandler {
 public:
  RestoreHandler(XML_Parser parser) : parser_(parser) {}
  ~RestoreHandler() {
    for (PendingItem& item : items_) qvsvDiscardDiagnostic(item.causes);
    for (qvsvDiagnosticImpl*& list : lists_) qvsvDiscardDiagnostic(list);
    qvsvDiscardDiagnostic(result_);
    qvsvDiscardDiagnostic(error_);
  }
  RestoreHandler(const RestoreHandler&) = delete;
  RestoreHandler& operator=(const RestoreHandler&) = delete;

  qvsvDiagnosticImpl* takeResult() { return std::exchange(result_, nullptr); }
  qvsvDiagnosticImpl*& error() { return error_; }
  bool outOfMemory() const { return outOfMemory_; }

  // Expat is C: nothing may unwind through it. A handler that runs short of
  // memory stops the parser and the restore ends with the out-of-memory
  // diagnostic.
  template <typename Step>
  void guarded(const Step& step) {
    try {
      step();
    } catch (const std::bad_alloc&) {
      outOfMemory_ = true;
      XML_StopParser(parser_, XML_FALSE);
    }
  }

  void start(const char* name, const char** attributes) {
    ++depth_;
    if (error_ != nullptr || outOfMemory_) return;
    const std::string_view element(name);
    if (element == rootName_) {
      if (seenRoot_ || !lists_.empty()) {
        return fail("ROOT_ELEMENT", "Root element inconsistency (" + std::string(element) + ")");
      }
      seenRoot_ = true;
      lists_.push_back(nullptr);
    } else if (element == "diag") {
      if (!expectParent(collecting_ == Collect::None && !lists_.empty() && lists_.size() == items_.size() + 1, name)) {
        return;
      }
      const char* id = attribute(attributes, idName_.c_str());
      if (id == nullptr) return fail("WRONGID", "attribute \"" + idName_ + "\" wasn't found");
      PendingItem item;
      item.id = id;
      items_.push_back(std::move(item));
    } else if (element == "msg") {
      if (!expectParent(!items_.empty() && lists_.size() == items_.size() && collecting_ == Collect::None &&
                            !items_.back().hasMessage && !items_.back().hasArguments,
                        name)) {
        return;
      }
      const char* encoded = attribute(attributes, "encoded");
      const std::string_view value = encoded == nullptr ? "no" : encoded;
      if (value != "yes" && value != "no") return fail("WRONGATTVALUE", std::string(value) + "\" isn't allowed");
      items_.back().encoded = value == "yes";
      items_.back().text.clear();
      collecting_ = Collect::Message;
    } else if (element == "arguments") {
      if (!expectParent(!items_.empty() && lists_.size() == items_.size() && collecting_ == Collect::None &&
                            !items_.back().hasMessage && !items_.back().hasArguments,
                        name)) {
        return;
      }
      collecting_ = Collect::Arguments;
    } else if (element == "arg") {
      if (!expectParent(collecting_ == Collect::Arguments, name)) return;
      const char* type = attribute(attributes, "type");
      const std::string_view value = type == nullptr ? "string" : type;
      if (value == "numeric") {
        argType_ = ArgType::Numeric;
      } else if (value == "encoded") {
        argType_ = ArgType::Encoded;
      } else if (value == "string") {
        argType_ = ArgType::String;
      } else {
        return fail("WRONGATTVALUE", std::string(value) + "\" isn't allowed");
      }
      argText_.clear();
      collecting_ = Collect::Argument;
    } else if (element == "causes") {
      if (!expectParent(!items_.empty() && lists_.size() == items_.size() && collecting_ == Collect::None &&
                            (items_.back().hasMessage || items_.back().hasArguments),
                        name)) {
        return;
      }
      if (lists_.size() > static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth)) {
        return fail("DTD_ERROR", "causes nested deeper than " + std::to_string(kQvsvMaxRestoredCauseDepth) + " levels");
      }
      lists_.push_back(nullptr);
    } else {
      fail("DTD_ERROR", "element <" + std::string(element) + "> is not part of the document type");
    }
  }

  void end(const char* name) {
    --depth_;
    if (error_ != nullptr || outOfMemory_) return;
    const std::string_view element(name);
    if (qvsvGetXMLRestoreEcho()) std::cout << std::string(static_cast<std::size_t>(depth_), '\t') << element << '\n';
    if (element == "msg") {
      PendingItem& item = items_.back();
      item.hasMessage = true;
      collecting_ = Collect::None;
    } else if (element == "arg") {
      endArgument();
      collecting_ = Collect::Arguments;
    } else if (element == "arguments") {
      items_.back().hasArguments = true;
      collecting_ = Collect::None;
    } else if (element == "causes") {
      qvsvDiagnosticImpl* causes = lists_.back();
      lists_.pop_back();
      if (causes == nullptr) return fail("NODIAGNOSTICS", "expatParserHandler->diagnostics is empty (diag)");
      if (items_.back().causes != nullptr) {
        qvsvDiscardDiagnostic(causes);
        return fail("INTERNALERROR_0", "last queue in causes should be NULL");
      }
      items_.back().causes = causes;
    } else if (element == "diag") {
      endItem();
    } else if (element == rootName_) {
      if (lists_.size() != 1 || lists_.back() == nullptr) {
        return fail("INTERNALERROR_1", "expatParserHandler->diagnostics is empty (diag_root)");
      }
      if (result_ != nullptr) return fail("INTERNALERROR_1", "last queue in diag_root should be NULL");
      result_ = lists_.back();
      lists_.pop_back();
    }
  }

  void characters(const char* data, int length) {
    if (error_ != nullptr || outOfMemory_) return;
    if (collecting_ == Collect::Message) {
      items_.back().text.append(data, static_cast<std::size_t>(length));
    } else if (collecting_ == Collect::Argument) {
      argText_.append(data, static_cast<std::size_t>(length));
    }
  }

 private:
  enum class Collect { None, Message, Arguments, Argument };
  enum class ArgType { Numeric, Encoded, String };

  static const char* attribute(const char** attributes, const char* name) {
    for (const char** a = attributes; a != nullptr && *a != nullptr; a += 2) {
      if (std::strcmp(a[0], name) == 0) return a[1];
    }
    return nullptr;
  }

  bool expectParent(bool ok, const char* name) {
    if (!ok) fail("DTD_ERROR", "element <" + std::string(name) + "> is not allowed here");
    return ok;
  }

  void endArgument() {
    PendingItem& item = items_.back();
    switch (argType_) {
      case ArgType::Numeric: {
        std::int64_t value = 0;
        const char* first = argText_.data();
        const char* last = first + argText_.size();
        const auto [ptr, ec] = std::from_chars(first, last, value);
        if (argText_.empty() || ec != std::errc() || ptr != last) {
          return fail("WRONGATTVALUE", argText_ + "\" isn't allowed");
        }
        item.arguments.emplace_back(value);
        break;
      }
      case ArgType::Encoded: item.arguments.emplace_back(DecodeBase64FromChars(argText_)); break;
      case ArgType::String: item.arguments.emplace_back(argText_); break;
    }
  }

  void endItem() {
    if (items_.empty()) return fail("INTERNALERROR_NOIDS", "expatParserHandler->ids  is empty");
    PendingItem pending = std::move(items_.back());
    items_.pop_back();
    struct Guard {
      qvsvDiagnosticImpl*& causes;
      ~Guard() { qvsvDiscardDiagnostic(causes); }
    } guard{pending.causes};
    if (!pending.hasMessage && !pending.hasArguments) {
      return fail("INTERNALERROR_NOMSGS", "expatParserHandler->msgs and expatParserHandler->arguments is empty");
    }
    // Items are built directly: a restored diagnostic holds exactly what
    // was written, whatever the queue limit of this process.
    std::unique_ptr<qvsvDiagnosticItem> item(new qvsvDiagnosticItem);
    item->identifier = std::move(pending.id);
    if (pending.hasMessage) {
      item->message = pending.encoded ? DecodeBase64FromChars(pending.text) : ConvertStdStringToUString(pending.text);
    } else {
      qvsvArgumentVector arguments = pending.arguments;
      item->message = ConvertStdStringToUString(
          MutableBaseMsgID::getMessageFromCatalog_NoThrow(item->identifier, arguments));
    }
    if (pending.hasArguments) item->arguments = qvsv::detail::MakeArgumentArray(pending.arguments);
    item->cause = std::exchange(pending.causes, nullptr);
    if (item->cause != nullptr) item->cause->setCauseOf(item.get());
    qvsvDiagnosticImpl*& list = lists_.back();
    if (list == nullptr) list = qvsvObtainDiagnostic();
    list->appendWithoutLimit(item.get());
    item.release();
  }

  void fail(const char* key, const std::string& detail) {
    if (error_ != nullptr) return;
    error_ = qvsvCreateDiagnosticFromIdAndMsg((std::string(kCreation) + key).c_str(), detail.c_str());
    XML_StopParser(parser_, XML_FALSE);
  }

  XML_Parser parser_;
  std::string rootName_ = "diag_root";
  std::string idName_ = "id";
  bool seenRoot_ = false;
  int depth_ = 0;
  std::vector<qvsvDiagnosticImpl*> lists_;  // the items of the root, then of each open causes
  std::vector<PendingItem> items_;          // open diag elements
  Collect collecting_ = Collect::None;
  ArgType argType_ = ArgType::String;
  std::string argText_;
  qvsvDiagnosticImpl* result_ = nullptr;
  qvsvDiagnosticImpl* error_ = nullptr;
  bool outOfMemory_ = false;
};

}  // namespace

namespace {

bool& echoSwitch() {
  static bool echo = false;
  return echo;
}

void XMLCALL onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto* handler = static_cast<RestoreHandler*>(data);
  handler->guarded([&] { handler->start(name, attributes); });
}

void XMLCALL onEnd(void* data, const XML_Char* name) {
  auto* handler = static_cast<RestoreHandler*>(data);
  handler->guarded([&] { handler->end(name); });
}

void XMLCALL onCharacters(void* data, const XML_Char* text, int length) {
  auto* handler = static_cast<RestoreHandler*>(data);
  handler->guarded([&] { handler->characters(text, length); });
}

// The document type definition is supplied, never fetched.
int XMLCALL onExternalEntity(XML_Parser parser, const XML_Char* context, const XML_Char*, const XML_Char*,
                             const XML_Char*) {
  XML_Parser dtd = XML_ExternalEntityParserCreate(parser, context, nullptr);
  if (dtd == nullptr) return XML_STATUS_ERROR;
  const XML_Status status = XML_Parse(dtd, kDocumentType, static_cast<int>(std::strlen(kDocumentType)), XML_TRUE);
  XML_ParserFree(dtd);
  return status == XML_STATUS_OK ? XML_STATUS_OK : XML_STATUS_ERROR;
}

// The parser allocates from the host allocator like the rest of the library,
// so that tests can fail any of its allocations.
void* parserMalloc(std::size_t size) { return qvsv::detail::TestedMalloc(qvsv::fault::kXmlParser, size); }
void* parserRealloc(void* block, std::size_t size) {
  return qvsv::detail::TestedRealloc(qvsv::fault::kXmlParser, block, size);
}
void parserFree(void* block) { utFree(block); }
const XML_Memory_Handling_Suite kParserMemory = {parserMalloc, parserRealloc, parserFree};

struct ParserDeleter {
  void operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }
};

qvsvDiagnosticImpl* parserErrorDiagnostic(XML_Parser parser, qvsvDiagnosticImpl*& handlerError) {
  std::string message = "XMLParser error: ";
  const XML_LChar* text = XML_ErrorString(XML_GetErrorCode(parser));
  message += text != nullptr ? text : "Unknown expat parser error";
  message += "; at ";
  const XML_Size line = XML_GetCurrentLineNumber(parser);
  if (line > 0) {
    message += std::to_string(line) + ":" + std::to_string(XML_GetCurrentColumnNumber(parser));
  } else {
    message += "Unknown line number";
  }
  qvsvDiagnosticImpl* parserError = qvsvCreateDiagnosticFromIdAndMsg("QVSV_SERVICES:ExpatParserError", message.c_str());
  if (handlerError != nullptr) qvsvAddCauseToLastDiagnosticItem(parserError, handlerError);
  qvsvDiscardDiagnostic(handlerError);
  qvsv::detail::OwnedDiagnostic cause(parserError);
  qvsvDiagnosticImpl* error = qvsvCreateDiagnosticFromIdAndMsg(
      "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR", "QV_SERVICES WASN'T ABLE TO RESTORE qvsvDiagnostic from xml string");
  parserError = cause.release();
  qvsvAddCauseToLastDiagnosticItem(error, parserError);
  qvsvDiscardDiagnostic(parserError);
  return error;
}

qvsvDiagnosticImpl* restoreOrThrow(std::string_view fragment, qvsv::detail::RestoreOutcome& outcome) {
  using qvsv::detail::RestoreOutcome;
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreate_MM("UTF-8", &kParserMemory, nullptr));
  if (!parser) return qvsvCreateMemoryAllocationDiagnostic();
  RestoreHandler handler(parser.get());
  XML_SetUserData(parser.get(), &handler);
  XML_SetElementHandler(parser.get(), onStart, onEnd);
  XML_SetCharacterDataHandler(parser.get(), onCharacters);
  XML_SetExternalEntityRefHandler(parser.get(), onExternalEntity);
  XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_ALWAYS);

  // The document type declaration goes first, then the fragment as it is
  // (fed in pieces, without copying it: Expat takes int lengths).
  std::string declaration = "<!DOCTYPE diag_root SYSTEM '";
  declaration += kSystemId;
  declaration += "' []>\n";
  bool ok = XML_Parse(parser.get(), declaration.data(), static_cast<int>(declaration.size()), XML_FALSE) ==
            XML_STATUS_OK;
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  for (std::size_t at = 0; ok && at < fragment.size(); at += kPiece) {
    const std::size_t n = std::min(kPiece, fragment.size() - at);
    ok = XML_Parse(parser.get(), fragment.data() + at, static_cast<int>(n), XML_FALSE) == XML_STATUS_OK;
  }
  if (ok) ok = XML_Parse(parser.get(), "", 0, XML_TRUE) == XML_STATUS_OK;
  if (handler.outOfMemory()) return qvsvCreateMemoryAllocationDiagnostic();
  // A well-formed document can still lack a complete root (for example when
  // the handler stopped nothing but no diag_root ended).
  qvsvDiagnosticImpl* result = ok ? handler.takeResult() : nullptr;
  if (ok && result != nullptr) {
    outcome = RestoreOutcome::Restored;
    return result;
  }
  qvsvDiscardDiagnostic(result);
  return parserErrorDiagnostic(parser.get(), handler.error());
}

// Running short anywhere gives the out-of-memory diagnostic; only when not
// even that can be made does std::bad_alloc propagate.
qvsvDiagnosticImpl* restore(std::string_view fragment, qvsv::detail::RestoreOutcome& outcome) {
  using qvsv::detail::RestoreOutcome;
  outcome = RestoreOutcome::NotThisFormat;
  if (fragment.substr(0, kRootTag.size()) != kRootTag) return nullptr;
  outcome = RestoreOutcome::Malformed;
  try {
    return restoreOrThrow(fragment, outcome);
  } catch (const std::bad_alloc&) {
    outcome = RestoreOutcome::Malformed;
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

}  // namespace

qvsvDiagnosticImpl* qvsv::detail::RestoreXMLFragment(std::string_view text, RestoreOutcome& outcome) {
  return restore(text, outcome);
}

qvsvDiagnosticImpl* qvsv::detail::RestoreXMLFragment(std::u16string_view text, RestoreOutcome& outcome) {
  outcome = RestoreOutcome::NotThisFormat;
  if (text.substr(0, kRootTag.size()) != u"<diag_root>") return nullptr;
  std::string narrow;
  try {
    narrow = ConvertUStringToStdString(text, true);
  } catch (const std::bad_alloc&) {
    outcome = RestoreOutcome::Malformed;
    return qvsvCreateMemoryAllocationDiagnostic();
  }
  return restore(narrow, outcome);
}

void qvsvSetXMLRestoreEcho(bool echo) { echoSwitch() = echo; }
bool qvsvGetXMLRestoreEcho() { return echoSwitch(); }

qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char* text) {
  qvsv::detail::RestoreOutcome outcome;
  return qvsv::detail::RestoreXMLFragment(text == nullptr ? std::string_view() : std::string_view(text), outcome);
}

qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char16_t* text) {
  if (text == nullptr) return nullptr;
  qvsv::detail::RestoreOutcome outcome;
  return qvsv::detail::RestoreXMLFragment(std::u16string_view(text), outcome);
}
