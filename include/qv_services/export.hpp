// Symbol visibility for libqv_services.so: only what carries QVSV_API is exported.
#pragma once

#define QVSV_API __attribute__((visibility("default")))
