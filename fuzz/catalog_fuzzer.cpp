// libFuzzer target: message identifiers, arguments and locales through the
// catalogue, the library's message lookups and diagnostic creation.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"

namespace {

using qvsv::fuzz::Check;

// Real keys, so that argument placement is reached, besides made-up ones.
constexpr const char* kKeys[] = {"TooManyErrorsErr", "TLStyleMsgId", "Concatenate", "HotlinkTemplate",
                                 "HotlinkTemplateArg", "InvalidHookName", "InjectedException", "CAUSED_BY",
                                 "MultipleErrorsMessagePreamble", "NoSuchKey"};
constexpr const char* kLocales[] = {"en", "de", "de_DE", "en_US", "fr", "", "root", "de@collation=phonebook"};

qvsvArgumentVector arguments(FuzzedDataProvider& in) {
  qvsvArgumentVector out;
  for (int n = in.ConsumeIntegralInRange(0, 5); n > 0; --n) {
    switch (in.ConsumeIntegralInRange(0, 2)) {
      case 0: out.emplace_back(in.ConsumeIntegral<std::int64_t>()); break;
      case 1: out.emplace_back(in.ConsumeRandomLengthString(64)); break;
      default: out.emplace_back(qvsv::fuzz::WideText(in, 64)); break;
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qvsv::fuzz::InitializeLibraryOnce();

  FuzzedDataProvider in(data, size);
  const bool madeUp = in.ConsumeIntegral<std::uint8_t>() < 64;
  const std::string identifier = madeUp ? in.ConsumeRandomLengthString(48)
                                        : std::string("QV_SERVICES:utils:") + in.PickValueInArray(kKeys);
  const std::string locale = in.ConsumeBool() ? in.ConsumeRandomLengthString(24) : in.PickValueInArray(kLocales);
  qvsvArgumentVector args = arguments(in);

  const std::size_t colon = identifier.rfind(':');
  const std::string catalog = colon == std::string::npos ? std::string() : identifier.substr(0, colon);
  const std::string key = colon == std::string::npos ? identifier : identifier.substr(colon + 1);
  const resource_core::BaseMsgID id(catalog, key, args);
  using resource_core::CatalogError;
  qvsv::fuzz::Tolerating<CatalogError>([&] { (void)resource_core::GetMessageText(id, locale); });
  const bool flag = in.ConsumeBool();
  qvsv::fuzz::Tolerating<CatalogError, std::invalid_argument>(
      [&] { (void)MutableBaseMsgID::getMessageFromCatalog(identifier, args, flag); });
  // The no-throw form answers every identifier with some text.
  (void)MutableBaseMsgID::getMessageFromCatalog_NoThrow(identifier, args);

  const tessel::ScopedGlobalLocale scoped(locale);
  qvsv::fuzz::Tolerating<CatalogError, std::invalid_argument>([&] {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(id);
    Check(diag != nullptr, "creation gave no diagnostic");
    (void)qvsvSerializeToHTMLCreate(diag, true);
    (void)qvsvSerializeDiagnosticAsPlainString(diag);
  });
  return 0;
}
