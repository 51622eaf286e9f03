// Native readers of hooks inside the library read and set them without a
// registry lookup.
#pragma once

#include "qv_services/testing_hook.hpp"

class QvTestingHookAccess {
 public:
  static int get(QvTestingHook* hook) { return hook->getHookValFromC(); }
  static int set(QvTestingHook* hook, int value) { return hook->setHookValFromC(value); }
};
