// Host arrays: storage, copy-on-write sharing and host call scopes.
#include "tessel/array.hpp"

#include <atomic>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "host/text.hpp"

namespace {

struct ArrayData;

}  // namespace

struct tessel::HostCallScope::State {
  std::unordered_set<txArray*> temporaries;
};

namespace {

// The element data of an array. Shared between an array and its shared-data
// copies; owns the element arrays of cells and structs.
struct ArrayData {
  std::vector<double> doubles;
  std::unique_ptr<bool[]> logicals;
  std::vector<char16_t> chars;
  // Cells: one slot per element. Structs: element-major, index * nfields + field.
  std::vector<txArray*> slots;
  std::vector<std::string> fields;
  std::string className;

  ArrayData() = default;
  ArrayData(const ArrayData&) = delete;
  ArrayData& operator=(const ArrayData&) = delete;
  ~ArrayData();
};

std::atomic<std::size_t> g_live_arrays{0};

// Scopes are per thread: a host call runs on one thread.
std::vector<tessel::HostCallScope::State*>& scopeStack() {
  thread_local std::vector<tessel::HostCallScope::State*> stack;
  return stack;
}

}  // namespace

struct txArray {
  txClassID cls = txClassID::Unknown;
  txIndex m = 0;
  txIndex n = 0;
  std::shared_ptr<ArrayData> data;
  tessel::HostCallScope::State* scope = nullptr;
  bool inContainer = false;
};

namespace {

void leaveScope(txArray* a) {
  if (a->scope != nullptr) {
    a->scope->temporaries.erase(a);
    a->scope = nullptr;
  }
}

void deleteArray(txArray* a) {
  leaveScope(a);
  delete a;
  g_live_arrays.fetch_sub(1, std::memory_order_relaxed);
}

ArrayData::~ArrayData() {
  for (txArray* slot : slots) {
    if (slot != nullptr) deleteArray(slot);
  }
}

// An array being built: destroyed if building it fails half-way.
struct ArrayDeleter {
  void operator()(txArray* a) const { deleteArray(a); }
};
using BuildingArray = std::unique_ptr<txArray, ArrayDeleter>;

txIndex checkedCount(txIndex m, txIndex n) {
  if (m != 0 && n > SIZE_MAX / m) {
    throw std::length_error("host array of " + std::to_string(m) + " x " + std::to_string(n) +
                            " elements is too large");
  }
  return m * n;
}

txArray* newArray(txClassID cls, txIndex m, txIndex n) {
  const txIndex count = checkedCount(m, n);
  auto a = std::make_unique<txArray>();
  a->cls = cls;
  a->m = m;
  a->n = n;
  a->data = std::make_shared<ArrayData>();
  switch (cls) {
    case txClassID::Double: a->data->doubles.assign(count, 0.0); break;
    case txClassID::Logical: a->data->logicals = std::make_unique<bool[]>(count); break;
    case txClassID::Char: a->data->chars.assign(count, u'\0'); break;
    case txClassID::Cell: a->data->slots.assign(count, nullptr); break;
    default: break;
  }
  auto& stack = scopeStack();
  if (!stack.empty()) {
    a->scope = stack.back();
    a->scope->temporaries.insert(a.get());
  }
  g_live_arrays.fetch_add(1, std::memory_order_relaxed);
  return a.release();
}

const char* className(txClassID cls) {
  switch (cls) {
    case txClassID::Double: return "double";
    case txClassID::Logical: return "logical";
    case txClassID::Char: return "char";
    case txClassID::Cell: return "cell";
    case txClassID::Struct: return "struct";
    case txClassID::Object: return "object";
    case txClassID::Unknown: break;
  }
  return "unknown";
}

[[noreturn]] void wrongClass(const char* function, const txArray* a, const char* wanted) {
  throw std::invalid_argument(std::string(function) + ": expected a " + wanted + " array, got " +
                              (a == nullptr ? std::string("null") : std::string(txGetClassName(a))));
}

void requireClass(const char* function, const txArray* a, txClassID cls) {
  if (a == nullptr || a->cls != cls) wrongClass(function, a, className(cls));
}

void requireStruct(const char* function, const txArray* a) {
  if (a == nullptr || (a->cls != txClassID::Struct && a->cls != txClassID::Object)) {
    wrongClass(function, a, "struct");
  }
}

void requireIndex(const char* function, txIndex index, txIndex count) {
  if (index >= count) {
    throw std::out_of_range(std::string(function) + ": index " + std::to_string(index) +
                            " is out of range for " + std::to_string(count) + " elements");
  }
}

std::shared_ptr<ArrayData> cloneData(const ArrayData& src, txClassID cls, txIndex count) {
  auto copy = std::make_shared<ArrayData>();
  copy->doubles = src.doubles;
  if (cls == txClassID::Logical) {
    copy->logicals = std::make_unique<bool[]>(count);
    std::copy(src.logicals.get(), src.logicals.get() + count, copy->logicals.get());
  }
  copy->chars = src.chars;
  copy->fields = src.fields;
  copy->className = src.className;
  copy->slots.reserve(src.slots.size());
  for (const txArray* slot : src.slots) {
    txArray* child = nullptr;
    if (slot != nullptr) {
      child = txCreateSharedDataCopy(slot);
      leaveScope(child);
      child->inContainer = true;
    }
    copy->slots.push_back(child);
  }
  return copy;
}

// Gives the array data of its own before it is written.
ArrayData& writable(txArray* a) {
  if (a->data.use_count() > 1) {
    a->data = cloneData(*a->data, a->cls, checkedCount(a->m, a->n));
  }
  return *a->data;
}

void adopt(const char* function, txArray* value) {
  if (value == nullptr) return;
  if (value->inContainer) {
    throw std::invalid_argument(std::string(function) + ": the value already belongs to another container");
  }
  leaveScope(value);
  value->inContainer = true;
}

void storeSlot(const char* function, txArray* owner, txIndex slot, txArray* value) {
  ArrayData* unshared = nullptr;
  try {
    unshared = &writable(owner);
  } catch (const std::bad_alloc&) {
    // The value was handed over: without memory to store it, it goes.
    if (value != nullptr && value != owner && !value->inContainer) deleteArray(value);
    throw;
  }
  ArrayData& data = *unshared;
  txArray*& place = data.slots[slot];
  if (place == value) return;
  adopt(function, value);
  if (place != nullptr) deleteArray(place);
  place = value;
}

txIndex fieldCount(const txArray* s) { return s->data->fields.size(); }

}  // namespace

txArray* txCreateDoubleScalar(double value) {
  txArray* a = newArray(txClassID::Double, 1, 1);
  a->data->doubles[0] = value;
  return a;
}

txArray* txCreateLogicalScalar(bool value) {
  txArray* a = newArray(txClassID::Logical, 1, 1);
  a->data->logicals[0] = value;
  return a;
}

txArray* txCreateDoubleMatrix(txIndex m, txIndex n) { return newArray(txClassID::Double, m, n); }
txArray* txCreateLogicalMatrix(txIndex m, txIndex n) { return newArray(txClassID::Logical, m, n); }
txArray* txCreateCharMatrix(txIndex m, txIndex n) { return newArray(txClassID::Char, m, n); }

txArray* txCreateString(std::u16string_view text) {
  BuildingArray a(text.empty() ? newArray(txClassID::Char, 0, 0) : newArray(txClassID::Char, 1, text.size()));
  a->data->chars.assign(text.begin(), text.end());
  return a.release();
}

txArray* txCreateStringFromUTF8(std::string_view text) { return txCreateString(tessel::detail::Utf8ToUtf16(text)); }

txArray* txCreateCellMatrix(txIndex m, txIndex n) { return newArray(txClassID::Cell, m, n); }

txArray* txCreateStructMatrix(txIndex m, txIndex n, const std::vector<std::string>& fieldNames) {
  for (std::size_t i = 0; i < fieldNames.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (fieldNames[i] == fieldNames[j]) {
        throw std::invalid_argument("txCreateStructMatrix: duplicate field name '" + fieldNames[i] + "'");
      }
    }
  }
  BuildingArray a(newArray(txClassID::Struct, m, n));
  a->data->fields = fieldNames;
  a->data->slots.assign(checkedCount(checkedCount(m, n), fieldNames.size()), nullptr);
  return a.release();
}

txArray* txCreateObjectMatrix(txIndex m, txIndex n, std::string_view className,
                              const std::vector<std::string>& fieldNames) {
  if (className.empty()) throw std::invalid_argument("txCreateObjectMatrix: empty class name");
  BuildingArray a(txCreateStructMatrix(m, n, fieldNames));
  a->cls = txClassID::Object;
  a->data->className = std::string(className);
  return a.release();
}

txClassID txGetClassID(const txArray* a) { return a == nullptr ? txClassID::Unknown : a->cls; }

const char* txGetClassName(const txArray* a) {
  if (a == nullptr) return "unknown";
  if (a->cls == txClassID::Object) return a->data->className.c_str();
  return className(a->cls);
}

txIndex txGetM(const txArray* a) { return a == nullptr ? 0 : a->m; }
txIndex txGetN(const txArray* a) { return a == nullptr ? 0 : a->n; }
txIndex txGetNumberOfElements(const txArray* a) { return a == nullptr ? 0 : a->m * a->n; }
bool txIsEmpty(const txArray* a) { return txGetNumberOfElements(a) == 0; }
bool txIsChar(const txArray* a) { return txGetClassID(a) == txClassID::Char; }
bool txIsCell(const txArray* a) { return txGetClassID(a) == txClassID::Cell; }
bool txIsStruct(const txArray* a) {
  return txGetClassID(a) == txClassID::Struct || txGetClassID(a) == txClassID::Object;
}
bool txIsNumeric(const txArray* a) { return txGetClassID(a) == txClassID::Double; }
bool txIsLogical(const txArray* a) { return txGetClassID(a) == txClassID::Logical; }

const double* txGetPr(const txArray* a) {
  requireClass("txGetPr", a, txClassID::Double);
  return a->data->doubles.data();
}

double* txGetPrForWrite(txArray* a) {
  requireClass("txGetPrForWrite", a, txClassID::Double);
  return writable(a).doubles.data();
}

const bool* txGetLogicals(const txArray* a) {
  requireClass("txGetLogicals", a, txClassID::Logical);
  return a->data->logicals.get();
}

bool* txGetLogicalsForWrite(txArray* a) {
  requireClass("txGetLogicalsForWrite", a, txClassID::Logical);
  return writable(a).logicals.get();
}

const char16_t* txGetChars(const txArray* a) {
  requireClass("txGetChars", a, txClassID::Char);
  return a->data->chars.data();
}

char16_t* txGetCharsForWrite(txArray* a) {
  requireClass("txGetCharsForWrite", a, txClassID::Char);
  return writable(a).chars.data();
}

double txGetScalar(const txArray* a) {
  if (txIsEmpty(a)) throw std::invalid_argument("txGetScalar: the array is empty");
  switch (a->cls) {
    case txClassID::Double: return a->data->doubles[0];
    case txClassID::Logical: return a->data->logicals[0] ? 1.0 : 0.0;
    case txClassID::Char: return static_cast<double>(a->data->chars[0]);
    default: wrongClass("txGetScalar", a, "double, logical or char");
  }
}

std::u16string txGetString(const txArray* a) {
  requireClass("txGetString", a, txClassID::Char);
  return std::u16string(a->data->chars.begin(), a->data->chars.end());
}

std::string txGetStringUTF8(const txArray* a) { return tessel::detail::Utf16ToUtf8(txGetString(a)); }

const txArray* txGetCell(const txArray* cell, txIndex index) {
  requireClass("txGetCell", cell, txClassID::Cell);
  requireIndex("txGetCell", index, txGetNumberOfElements(cell));
  return cell->data->slots[index];
}

void txSetCell(txArray* cell, txIndex index, txArray* value) {
  requireClass("txSetCell", cell, txClassID::Cell);
  requireIndex("txSetCell", index, txGetNumberOfElements(cell));
  if (value == cell) throw std::invalid_argument("txSetCell: a cell cannot contain itself");
  storeSlot("txSetCell", cell, index, value);
}

int txGetNumberOfFields(const txArray* s) {
  requireStruct("txGetNumberOfFields", s);
  return static_cast<int>(fieldCount(s));
}

const char* txGetFieldNameByNumber(const txArray* s, int field) {
  requireStruct("txGetFieldNameByNumber", s);
  if (field < 0 || static_cast<txIndex>(field) >= fieldCount(s)) return nullptr;
  return s->data->fields[static_cast<txIndex>(field)].c_str();
}

int txGetFieldNumber(const txArray* s, std::string_view name) {
  requireStruct("txGetFieldNumber", s);
  const auto& fields = s->data->fields;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i] == name) return static_cast<int>(i);
  }
  return -1;
}

// The slot of element index's field, after checking all three.
static txIndex fieldSlot(const char* function, const txArray* s, txIndex index, int field) {
  requireStruct(function, s);
  requireIndex(function, index, txGetNumberOfElements(s));
  if (field < 0 || static_cast<txIndex>(field) >= fieldCount(s)) {
    throw std::out_of_range(std::string(function) + ": field number " + std::to_string(field) +
                            " is out of range for " + std::to_string(fieldCount(s)) + " fields");
  }
  return index * fieldCount(s) + static_cast<txIndex>(field);
}

const txArray* txGetFieldByNumber(const txArray* s, txIndex index, int field) {
  return s->data->slots[fieldSlot("txGetFieldByNumber", s, index, field)];
}

const txArray* txGetField(const txArray* s, txIndex index, std::string_view name) {
  const int field = txGetFieldNumber(s, name);
  if (field < 0) return nullptr;
  return txGetFieldByNumber(s, index, field);
}

void txSetFieldByNumber(txArray* s, txIndex index, int field, txArray* value) {
  const txIndex slot = fieldSlot("txSetFieldByNumber", s, index, field);
  if (value == s) throw std::invalid_argument("txSetFieldByNumber: a struct cannot contain itself");
  storeSlot("txSetFieldByNumber", s, slot, value);
}

void txSetField(txArray* s, txIndex index, std::string_view name, txArray* value) {
  const int field = txGetFieldNumber(s, name);
  if (field < 0) {
    throw std::invalid_argument("txSetField: the struct has no field '" + std::string(name) + "'");
  }
  txSetFieldByNumber(s, index, field, value);
}

int txAddField(txArray* s, std::string_view name) {
  const int existing = txGetFieldNumber(s, name);
  if (existing >= 0) return existing;
  if (name.empty()) throw std::invalid_argument("txAddField: empty field name");
  ArrayData& data = writable(s);
  const txIndex oldFields = data.fields.size();
  const txIndex count = txGetNumberOfElements(s);
  std::vector<txArray*> slots(checkedCount(count, oldFields + 1), nullptr);
  for (txIndex i = 0; i < count; ++i) {
    for (txIndex f = 0; f < oldFields; ++f) slots[i * (oldFields + 1) + f] = data.slots[i * oldFields + f];
  }
  data.slots.swap(slots);
  data.fields.emplace_back(name);
  return static_cast<int>(oldFields);
}

txArray* txDuplicateArray(const txArray* a) {
  if (a == nullptr) return nullptr;
  BuildingArray copy(newArray(a->cls, a->m, a->n));
  const txIndex count = txGetNumberOfElements(a);
  ArrayData& dst = *copy->data;
  const ArrayData& src = *a->data;
  dst.doubles = src.doubles;
  if (a->cls == txClassID::Logical) std::copy(src.logicals.get(), src.logicals.get() + count, dst.logicals.get());
  dst.chars = src.chars;
  dst.fields = src.fields;
  dst.className = src.className;
  dst.slots.assign(src.slots.size(), nullptr);
  for (std::size_t i = 0; i < src.slots.size(); ++i) {
    if (src.slots[i] != nullptr) {
      txArray* child = txDuplicateArray(src.slots[i]);
      leaveScope(child);
      child->inContainer = true;
      dst.slots[i] = child;
    }
  }
  return copy.release();
}

txArray* txCreateSharedDataCopy(const txArray* a) {
  if (a == nullptr) return nullptr;
  txArray* copy = newArray(txClassID::Unknown, a->m, a->n);
  copy->cls = a->cls;
  copy->data = a->data;
  return copy;
}

void txMakeArrayPersistent(txArray* a) {
  if (a != nullptr) leaveScope(a);
}

bool txIsTemporary(const txArray* a) { return a != nullptr && a->scope != nullptr; }

void txDestroyArray(txArray* a) {
  if (a == nullptr) return;
  if (a->inContainer) {
    throw std::invalid_argument("txDestroyArray: the array belongs to a cell or struct and dies with it");
  }
  deleteArray(a);
}

namespace tessel {

HostCallScope::HostCallScope() : state_(new State) { scopeStack().push_back(state_); }

HostCallScope::~HostCallScope() {
  auto& stack = scopeStack();
  for (auto it = stack.end(); it != stack.begin();) {
    --it;
    if (*it == state_) {
      stack.erase(it);
      break;
    }
  }
  // Detach first: destroying one temporary never touches another's set entry.
  std::unordered_set<txArray*> temporaries;
  temporaries.swap(state_->temporaries);
  for (txArray* a : temporaries) {
    a->scope = nullptr;
    deleteArray(a);
  }
  delete state_;
}

std::size_t HostCallScope::temporaryCount() const { return state_->temporaries.size(); }

std::size_t LiveArrayCount() { return g_live_arrays.load(std::memory_order_relaxed); }

}  // namespace tessel
