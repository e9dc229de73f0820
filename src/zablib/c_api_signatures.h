// The operations the C ABI exports, with the parameter type codes that
// D__XCheck compares a caller's expectation with.
//
// Type codes: 0 no result, 3 int32 by value (or int32 result), 4 int32
// returned, 11 short string in, 12 short string out, 15 boolean, 23 int64
// result, 51 int32 key array in, 52 int32 key array out, 53 value array in,
// 54 value array out, 55 short-string key array in, 56 short-string key
// array out, 57 special-value array in, 58 special-value array out, 60
// int32 array in, 61 int32 array out, 62 double array in, 63 double array
// out, 64 byte buffer in, 65 byte buffer out.
#pragma once

#include <string>
#include <string_view>

namespace zablib {

struct ApiSignature {
  const char* name;  // without the "C__"/"D__" prefix
  int nargs;         // parameters after the object handle
  int codes[8];      // result code, then one per parameter
};

// The signature of `name` (ASCII case ignored), or null when the library
// does not provide that operation.
const ApiSignature* findApiSignature(std::string_view name);

// XCheck's answer: true when `name` exists with exactly these codes;
// otherwise false and `why` says what differs. With nargs 0 only existence
// is answered (why is empty when it exists), except for an operation without
// parameters, whose result code is compared when codes are given.
bool checkApiSignature(std::string_view name, int nargs, const int* codes, std::string& why);

}  // namespace zablib
