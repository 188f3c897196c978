// Symbol visibility for the shared object: the library is compiled with hidden
// visibility, and ORVEL_API marks what it exports.
#pragma once

#define ORVEL_API __attribute__((visibility("default")))

#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "orvel writes its wire formats in native order and needs a little-endian target"
#endif
