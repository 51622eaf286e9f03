// Narrow views of wide text: the transitional cache and the debugger aids.
#include <mutex>
#include <string>
#include <unordered_map>

#include "qv_services/conversions.hpp"
#include "qv_services/wide_string.hpp"

namespace {

// Wide text -> its UTF-8 form, for the life of the process. Entries are never
// removed, and unordered_map nodes never move, so the returned characters stay
// valid until exit.
class TransitionalCache {
 public:
  static TransitionalCache& instance() {
    static TransitionalCache cache;
    return cache;
  }

  const char* narrow(const char16_t* s) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::u16string key(s);
    auto it = map_.find(key);
    if (it == map_.end()) {
      std::string narrowed = ConvertUStringToStdString(key, true);
      it = map_.emplace(std::move(key), std::move(narrowed)).first;
    }
    return it->second.c_str();
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::u16string, std::string> map_;
};

// The one buffer of the debugger aids.
std::string& debugBuffer() {
  static std::string buffer;
  return buffer;
}

}  // namespace

const char* qvsvGetTransitonalConstCharPtr(const char16_t* s) {
  return s == nullptr ? nullptr : TransitionalCache::instance().narrow(s);
}

const char* dbg_flstring_str(std::u16string& s) {
  debugBuffer() = ConvertUStringToStdString(s, true);
  return debugBuffer().c_str();
}

const char* dbg_ucharptr_str(char16_t* p) {
  static const char kEmpty[] = "";
  if (p == nullptr) return kEmpty;
  debugBuffer() = ConvertUStringToStdString(p, true);
  return debugBuffer().c_str();
}

const char* dbg_get_unknown_exception() { return "SHOULD NOT BE CALLED FOR NON-DEBUG BUILD!"; }
