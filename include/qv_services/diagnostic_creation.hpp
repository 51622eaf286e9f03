// Message identifiers and the creation of diagnostics.
//
// A caller names a catalogued message ("QV_SERVICES:utils:TooManyErrorsErr":
// catalogue "QV_SERVICES:utils", key "TooManyErrorsErr") with arguments, or
// hands over an identifier with a ready message, and receives a new
// one-item diagnostic that it owns (release it with qvsvDiscardDiagnostic, or
// hand it to a merging or reporting function). Catalogue errors
// (resource_core::CatalogError) and identifiers without a catalogue
// (std::invalid_argument) propagate from the lookups; the _NoThrow form
// returns the error text instead. Main thread only.
//
// Out of memory, every creator returns the out-of-memory diagnostic (one
// shared item "QV_SERVICES:utils:MemoryAllocationError") instead of a
// partial one, having leaked nothing; only when not even that diagnostic can
// be obtained does std::bad_alloc propagate.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "qv_services/diagnostic.hpp"
#include "qv_services/error_queue.hpp"

// This library's message identifier with arguments.
class QVSV_API MutableBaseMsgID : public resource_core::BaseMsgID {
 public:
  // Visits each argument by kind and may rewrite it in place.
  class QVSV_API MsgArgVisitor {
   public:
    virtual void visit(std::u16string& argument) = 0;
    virtual void visit(std::int64_t& argument) = 0;
    virtual void visit(std::string& argument) = 0;
    virtual ~MsgArgVisitor();
  };

  MutableBaseMsgID(std::string catalog, std::string key, qvsvArgumentVector arguments = {});
  explicit MutableBaseMsgID(const resource_core::BaseMsgID& other);

  // Passes every argument, in order, to the visitor.
  void setArguments(MsgArgVisitor& visitor);
  void setArguments(qvsvArgumentVector arguments) { arguments_ = std::move(arguments); }

  // The text of "catalogue:key" (split at the last colon; none:
  // std::invalid_argument "Message ID does not contain catalog name."), in the
  // global locale when translate is true, else in the catalogue's default.
  static std::u16string getMessageFromCatalog(const std::string& identifier, const qvsvArgumentVector& arguments,
                                              bool translate);
  // The same as UTF-8; any standard exception's text replaces the message.
  static std::string getMessageFromCatalog_NoThrow(const std::string& identifier, qvsvArgumentVector& arguments);
  static std::shared_ptr<resource_core::BaseMsgID> getBaseMsgIDPtr(const std::string& identifier,
                                                                   const qvsvArgumentVector& arguments);
};

QVSV_API std::u16string qvsvGetMessageFromMessageIDAsUString(const resource_core::BaseMsgID& id, bool translate);
QVSV_API std::string qvsvGetMessageFromMessageIDAsStdString(const resource_core::BaseMsgID& id, bool translate);

// --- Creation from an identifier and a ready message. A null identifier
// becomes "QV_SERVICES:utils:TLStyleMsgId", an empty one
// "QV_SERVICES:utils:UNDEFINED_ID"; a null narrow message is empty. The
// handle overloads copy count handles (and use callback for them). ---
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const char* id, const char* msg);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const char* id, const std::u16string& msg);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, const char* id,
                                                              const char* msg);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, const char* id,
                                                              const std::u16string& msg);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count,
                                                              qvsvProcessCallback callback, const char* id,
                                                              const char* msg);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count,
                                                              qvsvProcessCallback callback, const char* id,
                                                              const std::u16string& msg);

// --- Creation from a catalogued message. The item keeps the identifier's
// arguments. objects is a comma-separated list of object indices that the
// object-discovery callback turns into handles (without a callback it is not
// used; a piece that is not a number throws std::invalid_argument). ---
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticFromMessageID(const resource_core::BaseMsgID& id);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnostic(const resource_core::BaseMsgID& id, const std::string& objects);
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnostic(double* handles, int count, const resource_core::BaseMsgID& id,
                                                  const std::string& objects);
// The new item takes causes as its cause diagnostic (causes becomes null).
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticWithArguments(const resource_core::BaseMsgID& id,
                                                               qvsvDiagnosticImpl*& causes);
// With an extra message shown after the message.
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(const std::u16string& extraMessage,
                                                    const resource_core::BaseMsgID& id,
                                                    const std::string& objects = std::string());
// With metadata on the new item (and one object handle).
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(const resource_core::BaseMsgID& id,
                                                    const qvsvMetaDataMap& metadata,
                                                    const std::string& objects = std::string());
QVSV_API qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(double handle, const resource_core::BaseMsgID& id,
                                                    const qvsvMetaDataMap& metadata,
                                                    const std::string& objects = std::string());

// "QV_SERVICES:utils:CNTRL_C_INTERRUPTION" for a user break, else
// "QV_SERVICES:utils:PROGRAM_INTERRUPTION".
QVSV_API qvsvDiagnosticImpl* qvsvCreateInterruptError(bool userBreak);
// One shared, static out-of-memory item in a fresh diagnostic; allocates
// nothing else, so it works when memory is exhausted.
QVSV_API qvsvDiagnosticImpl* qvsvCreateMemoryAllocationDiagnostic();

// "component:mnemonic" in a library-owned buffer that the next call
// overwrites; a null part counts as empty, and with either part empty the
// other is returned alone. Throws tessel::OutOfMemory when the buffer cannot grow.
QVSV_API const char* qvsvGetTLStyleMessageIdentifier(const char* component, const char* mnemonic);
