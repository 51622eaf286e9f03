// libFuzzer target: message identifiers, arguments and locales through the
// catalogue, the library's message lookups and diagnostic creation.
#include <stdexcept>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"

// Real keys, so that argument placement is reached, besides made-up ones.
constexpr const char* kKeys[] = {"TooManyErrorsErr", "TLStyleMsgId", "Concatenate", "HotlinkTemplate",
                                 "HotlinkTemplateArg", "InvalidHookName", "InjectedException", "CAUSED_BY",
                                 "MultipleErrorsMessagePreamble", "NoSuchKey"};
constexpr const char* kLocales[] = {"en", "de", "de_DE", "en_US", "fr", "", "root", "de@collation=phonebook"};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using qvsv::fuzz::Throws;
  using resource_core::CatalogError;
  qvsv::fuzz::InitializeLibraryOnce();
  FuzzedDataProvider in(data, size);
  const bool madeUp = in.ConsumeIntegral<std::uint8_t>() < 64;
  const std::string identifier = madeUp ? in.ConsumeRandomLengthString(48)
                                        : std::string("QV_SERVICES:utils:") + in.PickValueInArray(kKeys);
  const std::string locale = in.ConsumeBool() ? in.ConsumeRandomLengthString(24) : in.PickValueInArray(kLocales);
  qvsvArgumentVector args;
  for (int n = in.ConsumeIntegralInRange(0, 5); n > 0; --n) {
    switch (in.ConsumeIntegralInRange(0, 2)) {
      case 0: args.emplace_back(in.ConsumeIntegral<std::int64_t>()); break;
      case 1: args.emplace_back(in.ConsumeRandomLengthString(64)); break;
      default: args.emplace_back(qvsv::fuzz::WideText(in, 64)); break;
    }
  }

  const std::size_t colon = identifier.rfind(':');
  const std::string catalog = colon == std::string::npos ? std::string() : identifier.substr(0, colon);
  const resource_core::BaseMsgID id(catalog, identifier.substr(colon + 1), args);  // npos + 1 is 0
  Throws<CatalogError>([&] { (void)resource_core::GetMessageText(id, locale); });
  const bool flag = in.ConsumeBool();
  Throws<CatalogError, std::invalid_argument>([&] { (void)MutableBaseMsgID::getMessageFromCatalog(identifier, args, flag); });
  // The no-throw form answers every identifier with some text.
  (void)MutableBaseMsgID::getMessageFromCatalog_NoThrow(identifier, args);

  const tessel::ScopedGlobalLocale scoped(locale);
  Throws<CatalogError, std::invalid_argument>([&] {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(id);
    qvsv::fuzz::Check(diag != nullptr, "creation gave no diagnostic");
    (void)qvsvSerializeToHTMLCreate(diag, true);
    (void)qvsvSerializeDiagnosticAsPlainString(diag);
  });
  return 0;
}
