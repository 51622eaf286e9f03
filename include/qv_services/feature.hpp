// Features: named integer switches that turn unfinished or optional behaviour
// on or off across the product.
//
// Each feature is a static QvFeature object in the module that owns the
// behaviour; constructing it registers it by name in the process-wide
// QvFeatureTable and destroying it removes it. A second feature of a name
// already registered is not entered (its destruction still erases the name).
// Native code reads through friends of QvFeature; the host language reads and
// sets by name through the host command (QvFeatureHostCommand below). Every
// read from either side and every host set is counted. No locks: features
// register during static initialisation and are used on the main thread.
#pragma once

#include <stdexcept>
#include <string>

#include "qv_services/export.hpp"
#include "tessel/array.hpp"

class QvFeatureTable;

class QVSV_API QvFeature {
 public:
  using Callback = void (*)(int state);

  // The strings are not copied: pass literals. The feature registers itself.
  QvFeature(const char* name, const char* description, const char* fileRegistered, const char* owner,
            int trackingNumber, int defaultState, Callback callback = nullptr);
  ~QvFeature();
  QvFeature(const QvFeature&) = delete;
  QvFeature& operator=(const QvFeature& other);

  const char* name() const { return name_; }
  const char* description() const { return description_; }
  const char* fileRegistered() const { return fileRegistered_; }
  const char* owner() const { return owner_; }
  int trackingNumber() const { return trackingNumber_; }
  int defaultState() const { return defaultState_; }
  bool hasCallback() const { return callback_ != nullptr; }
  unsigned getsFromC() const { return getsFromC_; }
  unsigned getsFromT() const { return getsFromT_; }
  unsigned setsFromT() const { return setsFromT_; }

 private:
  friend class QvFeatureTable;
  friend class QvFeatureNativeAccess;
  friend class QvFeatureHostCommand;

  // Counted native read.
  int getFeatValFromC();
  // Counted host read.
  int getFeatValFromT();
  // Native set: calls the callback, counts nothing.
  void setFeatValFromC(int value);
  // Counted host set; calls the callback.
  void setFeatValFromT(int value);

  const char* name_;
  const char* description_;
  const char* fileRegistered_;
  const char* owner_;
  int trackingNumber_;
  int state_;
  int defaultState_;
  Callback callback_;
  unsigned getsFromC_ = 0;
  unsigned getsFromT_ = 0;
  unsigned setsFromT_ = 0;
};

// The registry of features, one per process, created on first use.
class QVSV_API QvFeatureTable {
 public:
  static QvFeatureTable* getFeatureTable();
  static void regFeature(const std::string& name, QvFeature* feature);
  static void deregFeature(const std::string& name);
  // Null for an unknown name.
  static QvFeature* lookupFeature(const std::string& name);
  // A 1 x N struct array with the fields "Name", "Description", "Owner",
  // "FileRegistered", "Ticket", "State", "DefaultState", "HasCallback",
  // "nGetsFromC", "nGetsFromT", "nSetsFromT" (1 x 0 with the fields when empty).
  static txArray* getFeatureReport();
  // The usage counts as a table on the host console.
  static void printStats();
  static void resetUsageCounters();
  // Destroys the table: the library's last act on its terminate path
  // (TLTerminate_qv_services). A feature destroyed afterwards finds no table
  // and does nothing; any other use makes a new, empty table. The instance
  // pointer is cleared with it, so that nothing can reach the freed table.
  static void releaseFeatureTable();

  QvFeatureTable(const QvFeatureTable&) = delete;
  QvFeatureTable& operator=(const QvFeatureTable&) = delete;

 private:
  QvFeatureTable();
  ~QvFeatureTable();
  struct Map;
  Map* map_;
};

// The host command's access to features by name (the host language's side:
// every read and set is counted as coming from the host).
class QvFeatureHostCommand {
 public:
  // Throws std::invalid_argument naming the feature when it is unknown.
  static int get(const std::string& name) { return find(name)->getFeatValFromT(); }
  static void set(const std::string& name, int value) { find(name)->setFeatValFromT(value); }

 private:
  static QvFeature* find(const std::string& name) {
    QvFeature* feature = QvFeatureTable::lookupFeature(name);
    if (feature == nullptr) throw std::invalid_argument("'" + name + "' is not the name of a feature");
    return feature;
  }
};

// The library's features.
extern QVSV_API QvFeature* QVFEAT_MessageViewer;
extern QVSV_API QvFeature* QVFEAT_AllowConstantRootOutportForAUTOSAR;
extern QVSV_API QvFeature* QVFEAT_DimensionVariants;
extern QVSV_API QvFeature* QVFEAT_MultiSolver;
extern QVSV_API QvFeature* QVFEAT_QVUnit;
extern QVSV_API QvFeature* QVFEAT_SimHarnessSameStudio;
extern QVSV_API QvFeature* QVFEAT_SkipContentCheckInTaskDiagram;
extern QVSV_API QvFeature* QVFEAT_QvInterfacePort;
extern QVSV_API QvFeature* QVFEAT_QvInterfaceViewMenu;
extern QVSV_API QvFeature* QVFEAT_QvInterfaceView;
extern QVSV_API QvFeature* QVFEAT_QvTLSysBlkInConcurrentExecution;
extern QVSV_API QvFeature* QVFEAT_DiagnosticSuppressor;
