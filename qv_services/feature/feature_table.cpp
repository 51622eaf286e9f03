// Features and their registry.
#include "qv_services/feature.hpp"

#include <cstdio>
#include <memory>
#include <unordered_map>

#include "tessel/ut.hpp"

struct QvFeatureTable::Map {
  std::unordered_map<std::string, QvFeature*> features;
};

namespace {

// Null until first use and again after release.
QvFeatureTable*& singleton() {
  static QvFeatureTable* qvSingletonFeatureTable = nullptr;
  return qvSingletonFeatureTable;
}

}  // namespace

QvFeature::QvFeature(const char* name, const char* description, const char* fileRegistered, const char* owner,
                     int trackingNumber, int defaultState, Callback callback)
    : name_(name),
      description_(description),
      fileRegistered_(fileRegistered),
      owner_(owner),
      trackingNumber_(trackingNumber),
      state_(defaultState),
      defaultState_(defaultState),
      callback_(callback) {
  QvFeatureTable::regFeature(std::string(name_ == nullptr ? "" : name_), this);
}

QvFeature::~QvFeature() {
  // Static destruction may come after the table's release.
  if (singleton() != nullptr) QvFeatureTable::deregFeature(std::string(name_ == nullptr ? "" : name_));
}

QvFeature& QvFeature::operator=(const QvFeature& other) {
  name_ = other.name_;
  description_ = other.description_;
  fileRegistered_ = other.fileRegistered_;
  owner_ = other.owner_;
  trackingNumber_ = other.trackingNumber_;
  state_ = other.state_;
  defaultState_ = other.defaultState_;
  callback_ = other.callback_;
  getsFromC_ = other.getsFromC_;
  getsFromT_ = other.getsFromT_;
  setsFromT_ = other.setsFromT_;
  return *this;
}

int QvFeature::getFeatValFromC() {
  ++getsFromC_;
  return state_;
}

int QvFeature::getFeatValFromT() {
  ++getsFromT_;
  return state_;
}

void QvFeature::setFeatValFromC(int value) {
  state_ = value;
  if (callback_ != nullptr) callback_(value);
}

void QvFeature::setFeatValFromT(int value) {
  ++setsFromT_;
  state_ = value;
  if (callback_ != nullptr) callback_(value);
}

QvFeatureTable::QvFeatureTable() : map_(new Map) {
  map_->features.rehash(11);
  map_->features.max_load_factor(1.0f);
}

QvFeatureTable::~QvFeatureTable() { delete map_; }

QvFeatureTable* QvFeatureTable::getFeatureTable() {
  if (singleton() == nullptr) singleton() = new QvFeatureTable;
  return singleton();
}

void QvFeatureTable::regFeature(const std::string& name, QvFeature* feature) {
  getFeatureTable()->map_->features.emplace(name, feature);
}

void QvFeatureTable::deregFeature(const std::string& name) { getFeatureTable()->map_->features.erase(name); }

QvFeature* QvFeatureTable::lookupFeature(const std::string& name) {
  const auto& features = getFeatureTable()->map_->features;
  const auto it = features.find(name);
  return it == features.end() ? nullptr : it->second;
}

txArray* QvFeatureTable::getFeatureReport() {
  const auto& features = getFeatureTable()->map_->features;
  // Owned until returned: a field that cannot be made must not lose the report.
  std::unique_ptr<txArray, void (*)(txArray*)> owned(
      txCreateStructMatrix(1, features.size(),
                           {"Name", "Description", "Owner", "FileRegistered", "Ticket", "State", "DefaultState",
                            "HasCallback", "nGetsFromC", "nGetsFromT", "nSetsFromT"}),
      txDestroyArray);
  txArray* report = owned.get();
  txIndex i = 0;
  auto text = [](const char* s) { return txCreateStringFromUTF8(s == nullptr ? "" : s); };
  for (const auto& [name, f] : features) {
    txSetFieldByNumber(report, i, 0, txCreateStringFromUTF8(name));
    txSetFieldByNumber(report, i, 1, text(f->description_));
    txSetFieldByNumber(report, i, 2, text(f->owner_));
    txSetFieldByNumber(report, i, 3, text(f->fileRegistered_));
    txSetFieldByNumber(report, i, 4, txCreateDoubleScalar(f->trackingNumber_));
    txSetFieldByNumber(report, i, 5, txCreateDoubleScalar(f->state_));
    txSetFieldByNumber(report, i, 6, txCreateDoubleScalar(f->defaultState_));
    txSetFieldByNumber(report, i, 7, txCreateLogicalScalar(f->callback_ != nullptr));
    txSetFieldByNumber(report, i, 8, txCreateDoubleScalar(f->getsFromC_));
    txSetFieldByNumber(report, i, 9, txCreateDoubleScalar(f->getsFromT_));
    txSetFieldByNumber(report, i, 10, txCreateDoubleScalar(f->setsFromT_));
    ++i;
  }
  return owned.release();
}

void QvFeatureTable::printStats() {
  const std::string rule(76, '-');
  utPrintf("%s\n", rule.c_str());
  utPrintf("FEATURE   \tNCALLS[C code]\tNGETS[T code]\tNSETS[T code]\n");
  utPrintf("%s\n", rule.c_str());
  for (const auto& [name, f] : getFeatureTable()->map_->features) {
    utPrintf("%40s\t%10d\t%10d\t%10d\n", name.c_str(), static_cast<int>(f->getsFromC_),
             static_cast<int>(f->getsFromT_), static_cast<int>(f->setsFromT_));
  }
  utPrintf("%s\n", rule.c_str());
}

void QvFeatureTable::resetUsageCounters() {
  for (const auto& [name, f] : getFeatureTable()->map_->features) {
    f->getsFromC_ = 0;
    f->getsFromT_ = 0;
    f->setsFromT_ = 0;
  }
}

void QvFeatureTable::releaseFeatureTable() {
  delete singleton();
  singleton() = nullptr;
}
