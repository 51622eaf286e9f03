// Interned, reference-counted UTF-16 strings.
//
// qvsvString is an immutable UTF-16 text that lives exactly once in the
// process-wide qvsvStringTable. A qvsvString is one pointer to a
// reference-counted entry of that table, so equal texts share one entry,
// equality and hash_value are pointer operations and a copy is one atomic
// increment. Any thread may create, copy, compare and drop qvsvStrings.
//
//   qvsvString a(u"Gain");
//   qvsvString b = qvsvString(u"Ga") + u"in";
//   assert(a.equals(b) && a.c_str() == b.c_str());   // one entry for one text
//
// Texts. A text ends at its first NUL: a null pointer, an empty text and a
// text that starts with NUL all give the one empty-string entry, and text
// after an embedded NUL is not kept. A qvsvString is never null; a default,
// released or moved-from string is the empty string.
//
// Lifetime. A new entry is freed when its last qvsvString goes, but not before
// the table's next garbage collection (on the ten-millionth release since the
// last one, counting every release on every thread, or on
// qvsvStringTableCollectGarbageNow()): a text that is dropped and built again
// soon is not allocated twice. Persistent entries (qvsvString::persistent)
// live as long as the table. The table is created on first use and lives until
// qvsvStringTable::destroyInstance(); no qvsvString may outlive that call, and
// creating or destroying the table must not race with other users.
//
// Failures. Running out of memory while interning throws the allocator's
// exception (a std::bad_alloc) and leaves the table consistent: every text
// still has at most one entry, and no entry that a string holds is freed.
// When the map fails to grow after the new entry went in, another thread may
// already have found and taken that entry, so the entry stays in the table for
// as long as someone holds it (a persistent one for good); only the failed
// call's own reference is given back. Positions past the end of a text throw
// std::out_of_range("invalid string position"). Nothing else here reports
// errors.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "qv_services/export.hpp"

struct txArray;
class qvsvString;
namespace qvsvStringTableDebug {
QVSV_API void printStats();
}

// One entry of the table: a reference-counted text. Callers see entries only
// through qvsvString or through qvsvStringTable::getString/releaseString; the
// table creates and frees them.
class QVSV_API qvsvStringTableEntry {
 public:
  // The count of a persistent entry; such an entry is never counted or freed.
  static constexpr std::uint32_t kPersistentReferenceCount = 0xFFFFFFFFu;

  // Adds a reference, or marks the entry persistent. False when the entry is
  // already dying (its count reached 0) and must not be handed out again.
  virtual bool incrementReferenceCount(bool makePersistent) = 0;
  // Drops a reference; true exactly when this call dropped the last one.
  virtual bool decrementReferenceCount() = 0;
  virtual std::uint32_t getReferenceCount() const = 0;
  // The text, NUL-terminated; valid while the entry lives.
  virtual const char16_t* c_str() const = 0;
  // Length in UTF-16 code units, without the terminator.
  virtual std::uint32_t getLength() const = 0;
  // The text as printable ASCII (other characters escaped as \uXXXX), made on
  // first use and kept with the entry; valid while the entry lives.
  virtual const char* lcp_str() const = 0;

 protected:
  virtual ~qvsvStringTableEntry();
};

// The process-wide table: a concurrent hash map from text to entry, the list
// of new entries that the table itself keeps alive until the next collection,
// and the statistics used for leak hunting. All members may be called from any
// thread except getInstance()'s first call, destroyInstance(), getStats() and
// printStats(), which must not run while other threads use the table.
class QVSV_API qvsvStringTable {
 public:
  // The table, created on first use.
  static qvsvStringTable* getInstance();
  // Frees every entry, persistent ones included, and the table. Nothing for
  // no table; a later use makes a fresh one.
  static void destroyInstance();
  // Releases the table's own references to new entries now; nothing when the
  // table does not exist (it is not created for this).
  static void forceGarbageCollectionNow();

  // Interns chars and returns its entry holding one reference for the
  // caller, who gives it back with releaseString. chars must end with a NUL:
  // the text is found by what lies before it, and `length` plays no part in
  // finding or comparing it. Only a text that is absent is shaped by length:
  // it is interned as its first min(length, text length) code units. So a
  // length that stops short of the NUL gives the whole text's entry when that
  // is present, and the entry of the shorter text otherwise; a length past
  // the NUL never puts a NUL into an entry. Null or empty text gives
  // getEmptyString().
  [[nodiscard]] qvsvStringTableEntry* getString(const char16_t* chars, std::uint32_t length, bool persistent);
  // Gives back the caller's reference (nothing for a persistent entry) and
  // sets e to the empty-string entry. A null e is set to it as well.
  void releaseString(qvsvStringTableEntry*& e);
  // The persistent entry of the empty text.
  qvsvStringTableEntry* getEmptyString() const;

  // Distinct non-empty texts in the table.
  std::size_t getNumStrings() const;
  // References held by qvsvStrings and callers: 0 for the empty string,
  // kPersistentReferenceCount for a persistent entry; the table's own
  // reference to a new entry is not counted.
  std::uint32_t getRefCount(const qvsvString& s) const;
  bool isPersistent(const qvsvString& s) const;

  // An N x 2 cell array, one row per non-empty text sorted by code units: the
  // text and its raw reference count (the table's own reference included;
  // 999999 for a persistent entry). The caller owns the array.
  [[nodiscard]] txArray* getStats() const;
  // The table's address and size, then one line per text (sorted by code
  // units) with its reference count as getStats reports it, to the host console.
  void printStats() const;

  qvsvStringTable(const qvsvStringTable&) = delete;
  qvsvStringTable& operator=(const qvsvStringTable&) = delete;

 private:
  friend class qvsvString;
  friend void qvsvStringTableDebug::printStats();
  struct State;  // the map, the pending-release list and the release counter

  qvsvStringTable();
  ~qvsvStringTable();

  qvsvStringTableEntry* getStringInternal(const char16_t* chars, std::size_t length, bool persistent);
  void releaseStringInternal(qvsvStringTableEntry* e);
  void doCollectGarbage(bool forced);

  State* state_;  // owned
  qvsvStringTableEntry* empty_;  // owned through the map, like every entry

  // Written only when the table is created or destroyed.
  static std::atomic<qvsvStringTable*> sInstance;
};

// qvsvStringTable::forceGarbageCollectionNow().
QVSV_API void qvsvStringTableCollectGarbageNow();

// An interned text. See the top of this file for the rules on texts, lifetime
// and failures. Operations that make a new text (operator+, append, substr,
// join, split) intern their results.
class QVSV_API qvsvString {
 public:
  // The empty string.
  qvsvString();
  qvsvString(const std::u16string& text);  // NOLINT: implicit on purpose, like std::u16string
  qvsvString(const char16_t* text);        // NOLINT: null gives the empty string
  qvsvString(const qvsvString& other);
  // Leaves other as the empty string; no reference count changes.
  qvsvString(qvsvString&& other) noexcept;
  ~qvsvString();

  qvsvString& operator=(const qvsvString& other);
  qvsvString& operator=(qvsvString&& other) noexcept;
  qvsvString& operator=(const std::u16string& text);
  qvsvString& operator=(const char16_t* text);

  // Drops this string's reference; the string becomes the empty string.
  void release();

  // Interns text as a persistent entry (an existing entry of that text becomes
  // persistent): it is never freed while the table lives. One-way.
  static qvsvString persistent(const std::u16string& text);
  static qvsvString persistent(const char16_t* text);

  // The text; the pointer is valid while this string (or any string of the
  // same text) lives.
  const char16_t* c_str() const;
  std::uint32_t length() const;
  std::uint32_t size() const { return length(); }
  bool empty() const { return length() == 0; }
  // No bounds check: i == length() reads the terminator, beyond is undefined.
  char16_t operator[](std::uint32_t i) const { return c_str()[i]; }

  std::u16string str() const;
  operator std::u16string() const { return str(); }  // NOLINT: implicit on purpose
  // The text as escaped ASCII, kept with the entry (see qvsvStringTableEntry::lcp_str).
  const char* get_converted_lcp_str() const;
  // A new 1 x N host character array of the text; the caller owns it.
  [[nodiscard]] txArray* getTxArray() const;

  // Same entry: constant time whatever the length.
  bool equals(const qvsvString& other) const { return entry_ == other.entry_; }
  // Code-unit comparison with a plain text (null counts as empty).
  bool equals(const std::u16string& text) const;
  bool equals(const char16_t* text) const;

  // A new string of the concatenation; this one is unchanged. (The
  // const char16_t* forms settle what would otherwise be ambiguous for a
  // literal; null counts as empty.)
  qvsvString operator+(const qvsvString& other) const;
  qvsvString operator+(const std::u16string& other) const;
  qvsvString operator+(const char16_t* other) const;

  // Unlike operator+, append changes this string into the concatenation and
  // returns a copy of the new value as well. append(text, pos, count) takes
  // up to count units of text from pos (pos past the end: out_of_range).
  qvsvString append(const qvsvString& other);
  qvsvString append(const std::u16string& text);
  qvsvString append(const char16_t* text);
  qvsvString append(const std::u16string& text, std::uint32_t pos, std::uint32_t count);
  qvsvString append(char16_t c);

  // std::u16string::substr rules: pos past the end throws
  // std::out_of_range("invalid string position"); count is clipped.
  qvsvString substr(std::uint32_t pos) const;
  qvsvString substr(std::uint32_t pos, std::uint32_t count) const;

  // The texts in order with one sep between neighbours; {} gives the empty string.
  static qvsvString join(const std::vector<qvsvString>& parts, char16_t sep);
  // Clears out, then appends the pieces between the occurrences of sep, in
  // order. Every occurrence cuts, so adjacent separators and separators at the
  // ends give empty pieces; an empty text gives no pieces. Thus
  // join(split(text, sep), sep) == text.
  static void split(std::vector<qvsvString>& out, const std::u16string& text, char16_t sep);
  static void split(std::vector<qvsvString>& out, const qvsvString& text, char16_t sep);

  friend bool operator==(const qvsvString& a, const qvsvString& b) { return a.entry_ == b.entry_; }

 private:
  friend class qvsvStringTable;
  explicit qvsvString(qvsvStringTableEntry* adopted) : entry_(adopted) {}
  // A new non-persistent string of text (which need not end with a NUL).
  static qvsvString intern(std::u16string_view text);

  qvsvStringTableEntry* entry_;  // never null; this string holds one reference unless persistent
};

// Identity hash: the address x of the entry's characters, x + (x >> 3).
// Equal texts share an entry, so this agrees with equality; it is
// deliberately not a hash of the characters.
QVSV_API std::size_t hash_value(const qvsvString& s);

// The wide-string comparisons applied to the two texts, first argument first.
QVSV_API int qvsvStrcmp(const qvsvString& a, const qvsvString& b);
QVSV_API int qvsvStrcmpWS(const qvsvString& a, const qvsvString& b);
QVSV_API int qvsvStrcmpi(const qvsvString& a, const qvsvString& b);
QVSV_API int qvsvStrncmp(const qvsvString& a, const qvsvString& b, unsigned n);
QVSV_API int qvsvStrncmpi(const qvsvString& a, const qvsvString& b, unsigned n);

// The text as escaped ASCII (see qvsvStringTableEntry::lcp_str).
QVSV_API std::string qvsvToStdString(const qvsvString& s);

namespace std {
template <>
struct hash<qvsvString> {
  std::size_t operator()(const qvsvString& s) const noexcept { return hash_value(s); }
};
}  // namespace std

// Leak hunting and inspection of the table.
namespace qvsvStringTableDebug {

// Both create the table when there is none.
QVSV_API std::size_t getNumStrings();
[[nodiscard]] QVSV_API txArray* getStats();
// Prints the header line with address 0x0 and 0 entries when there is no table.
QVSV_API void printStats();
QVSV_API void destroyTable();

// No-leak mode: while it is on, every release also collects garbage, so an
// entry is freed as soon as its last qvsvString goes. One signed counter
// holds enters minus exits and the mode is on while it is not 0, so the mode
// nests, and an exit without a matching enter is not ignored: it turns the
// mode on until an enter balances it.
QVSV_API void enterTableNoLeakMode();
QVSV_API void exitTableNoLeakMode();

class QVSV_API ScopedTableNoLeakModeToggle {
 public:
  ScopedTableNoLeakModeToggle() { enterTableNoLeakMode(); }
  ~ScopedTableNoLeakModeToggle() { exitTableNoLeakMode(); }
  ScopedTableNoLeakModeToggle(const ScopedTableNoLeakModeToggle&) = delete;
  ScopedTableNoLeakModeToggle& operator=(const ScopedTableNoLeakModeToggle&) = delete;
};

}  // namespace qvsvStringTableDebug
