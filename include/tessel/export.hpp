// Symbol visibility for the embedded host library (libtessel_host.so).
#pragma once

#if defined(TESSEL_HOST_BUILDING)
#define TESSEL_API __attribute__((visibility("default")))
#else
#define TESSEL_API __attribute__((visibility("default")))
#endif
