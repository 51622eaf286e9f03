// Native readers of features inside the library.
#pragma once

#include "qv_services/feature.hpp"

class QvFeatureNativeAccess {
 public:
  static int get(QvFeature* feature) { return feature->getFeatValFromC(); }
  static void set(QvFeature* feature, int value) { feature->setFeatValFromC(value); }
};
