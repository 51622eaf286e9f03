// Helpers shared by the libFuzzer targets (with the headers that every one of
// them needs): reading texts from the input and stopping at a broken property.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/module.hpp"

namespace qvsv::fuzz {

// A broken property is a finding like a crash: abort, so libFuzzer keeps the
// input.
inline void Check(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "fuzz property broken: %s\n", what);
    std::abort();
  }
}

// Loads the library (its catalogues) on the first input.
inline void InitializeLibraryOnce() { [[maybe_unused]] static const bool initialized = (TLInitialize_qv_services(), true); }

// Runs fn and tells whether it threw one of the exceptions listed, which are
// answers rather than findings.
template <typename First, typename... Rest, typename Fn>
bool Throws(Fn fn) {
  try {
    if constexpr (sizeof...(Rest) == 0) {
      fn();
      return false;
    } else {
      return Throws<Rest...>(fn);
    }
  } catch (const First&) {
    return true;
  }
}

// A UTF-16 text of up to `max` bytes of input: usually read as UTF-8 (so the
// seeds can be written by hand), sometimes taken as raw code units so that
// unpaired surrogates and any unit at all turn up.
inline std::u16string WideText(FuzzedDataProvider& in, std::size_t max) {
  const bool raw = in.ConsumeIntegral<std::uint8_t>() < 32;
  const std::string bytes = in.ConsumeRandomLengthString(max);
  if (!raw) return ConvertStdStringToUString(bytes, true);
  std::u16string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    out.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8)));
  }
  return out;
}

}  // namespace qvsv::fuzz
