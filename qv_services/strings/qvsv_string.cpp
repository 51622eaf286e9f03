// qvsvString: a handle on one entry of the string table.
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qv_services/string_table.hpp"
#include "qv_services/strings/string_table_entry.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/array.hpp"

namespace {

using Entry = qvsvStringTableEntryImpl;

// qvsvString only ever holds entries of the table, so the cast is exact and
// spares a virtual call on every access.
Entry* asImpl(qvsvStringTableEntry* e) { return static_cast<Entry*>(e); }

[[noreturn]] void throwInvalidPosition() { throw std::out_of_range("invalid string position"); }

std::u16string concatenate(std::u16string_view a, std::u16string_view b) {
  std::u16string text;
  text.reserve(a.size() + b.size());
  text.append(a).append(b);
  return text;
}

void splitInto(std::vector<qvsvString>& out, std::u16string_view text, char16_t sep,
               qvsvString (*intern)(std::u16string_view)) {
  if (text.empty()) return;
  for (;;) {
    const std::size_t cut = text.find(sep);
    out.push_back(intern(text.substr(0, cut)));
    if (cut == std::u16string_view::npos) return;
    text.remove_prefix(cut + 1);
  }
}

}  // namespace

qvsvString qvsvString::intern(std::u16string_view text) {
  return qvsvString(qvsvStringTable::getInstance()->getStringInternal(text.data(), text.size(), false));
}

qvsvString::qvsvString() : entry_(qvsvStringTable::getInstance()->empty_) {}

qvsvString::qvsvString(const std::u16string& text)
    : entry_(qvsvStringTable::getInstance()->getStringInternal(text.data(), text.size(), false)) {}

qvsvString::qvsvString(const char16_t* text)
    : entry_(qvsvStringTable::getInstance()->getStringInternal(text, qvsvStrlen(text), false)) {}

// The source holds a reference, so the entry cannot be dying here.
qvsvString::qvsvString(const qvsvString& other) : entry_(other.entry_) {
  asImpl(entry_)->incrementReferenceCount(false);
}

qvsvString::qvsvString(qvsvString&& other) noexcept
    : entry_(std::exchange(other.entry_, qvsvStringTable::sInstance.load(std::memory_order_relaxed)->empty_)) {}

qvsvString::~qvsvString() {
  if (!asImpl(entry_)->isPersistent()) {
    qvsvStringTable::sInstance.load(std::memory_order_relaxed)->releaseStringInternal(entry_);
  }
}

void qvsvString::release() {
  qvsvStringTable* table = qvsvStringTable::sInstance.load(std::memory_order_relaxed);
  if (!asImpl(entry_)->isPersistent()) table->releaseStringInternal(entry_);
  entry_ = table->empty_;
}

qvsvString& qvsvString::operator=(const qvsvString& other) {
  if (entry_ == other.entry_) return *this;
  qvsvStringTableEntry* next = other.entry_;
  asImpl(next)->incrementReferenceCount(false);
  release();
  entry_ = next;
  return *this;
}

qvsvString& qvsvString::operator=(qvsvString&& other) noexcept {
  if (this == &other) return *this;
  release();
  std::swap(entry_, other.entry_);
  return *this;
}

qvsvString& qvsvString::operator=(const std::u16string& text) { return *this = qvsvString(text); }

qvsvString& qvsvString::operator=(const char16_t* text) { return *this = qvsvString(text); }

qvsvString qvsvString::persistent(const std::u16string& text) {
  return qvsvString(qvsvStringTable::getInstance()->getStringInternal(text.data(), text.size(), true));
}

qvsvString qvsvString::persistent(const char16_t* text) {
  return qvsvString(qvsvStringTable::getInstance()->getStringInternal(text, qvsvStrlen(text), true));
}

const char16_t* qvsvString::c_str() const { return asImpl(entry_)->chars(); }

std::uint32_t qvsvString::length() const { return asImpl(entry_)->length(); }

std::u16string qvsvString::str() const { return std::u16string(asImpl(entry_)->view()); }

const char* qvsvString::get_converted_lcp_str() const { return asImpl(entry_)->lcp_str(); }

txArray* qvsvString::getTxArray() const { return txCreateString(asImpl(entry_)->view()); }

bool qvsvString::equals(const std::u16string& text) const { return qvsvStrcmp(c_str(), text.c_str()) == 0; }

bool qvsvString::equals(const char16_t* text) const { return qvsvStrcmp(c_str(), text) == 0; }

qvsvString qvsvString::operator+(const qvsvString& other) const {
  return intern(concatenate(asImpl(entry_)->view(), asImpl(other.entry_)->view()));
}

qvsvString qvsvString::operator+(const std::u16string& other) const {
  return intern(concatenate(asImpl(entry_)->view(), other));
}

qvsvString qvsvString::operator+(const char16_t* other) const {
  return intern(concatenate(asImpl(entry_)->view(), other == nullptr ? std::u16string_view() : other));
}

qvsvString qvsvString::append(const qvsvString& other) { return *this = *this + other; }

qvsvString qvsvString::append(const std::u16string& text) { return *this = *this + text; }

qvsvString qvsvString::append(const char16_t* text) { return *this = *this + text; }

qvsvString qvsvString::append(const std::u16string& text, std::uint32_t pos, std::uint32_t count) {
  if (pos > text.size()) throwInvalidPosition();
  return *this = intern(concatenate(asImpl(entry_)->view(), std::u16string_view(text).substr(pos, count)));
}

qvsvString qvsvString::append(char16_t c) {
  return *this = intern(concatenate(asImpl(entry_)->view(), std::u16string_view(&c, 1)));
}

qvsvString qvsvString::substr(std::uint32_t pos) const { return substr(pos, length()); }

qvsvString qvsvString::substr(std::uint32_t pos, std::uint32_t count) const {
  if (pos > length()) throwInvalidPosition();
  return intern(asImpl(entry_)->view().substr(pos, count));
}

qvsvString qvsvString::join(const std::vector<qvsvString>& parts, char16_t sep) {
  if (parts.empty()) return qvsvString();
  std::size_t total = parts.size() - 1;
  for (const qvsvString& part : parts) total += part.length();
  std::u16string text;
  text.reserve(total);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i != 0) text.push_back(sep);
    text.append(asImpl(parts[i].entry_)->view());
  }
  return intern(text);
}

void qvsvString::split(std::vector<qvsvString>& out, const std::u16string& text, char16_t sep) {
  out.clear();
  splitInto(out, text, sep, &qvsvString::intern);
}

void qvsvString::split(std::vector<qvsvString>& out, const qvsvString& text, char16_t sep) {
  // text may be an element of out, which is cleared first.
  const qvsvString kept(text);
  out.clear();
  splitInto(out, asImpl(kept.entry_)->view(), sep, &qvsvString::intern);
}

std::size_t hash_value(const qvsvString& s) {
  const auto x = reinterpret_cast<std::uintptr_t>(s.c_str());
  return x + (x >> 3);
}

int qvsvStrcmp(const qvsvString& a, const qvsvString& b) { return qvsvStrcmp(a.c_str(), b.c_str()); }
int qvsvStrcmpWS(const qvsvString& a, const qvsvString& b) { return qvsvStrcmpWS(a.c_str(), b.c_str()); }
int qvsvStrcmpi(const qvsvString& a, const qvsvString& b) { return qvsvStrcmpi(a.c_str(), b.c_str()); }
int qvsvStrncmp(const qvsvString& a, const qvsvString& b, unsigned n) { return qvsvStrncmp(a.c_str(), b.c_str(), n); }
int qvsvStrncmpi(const qvsvString& a, const qvsvString& b, unsigned n) {
  return qvsvStrncmpi(a.c_str(), b.c_str(), n);
}

std::string qvsvToStdString(const qvsvString& s) { return std::string(s.get_converted_lcp_str()); }
