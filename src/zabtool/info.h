// zabtool info: a short listing of a ZAB file's symbols and counts.
#pragma once

#include <cstdio>

#include "zablib/zab_reader.h"

namespace zabtool {

void printInfo(const zablib::ZabReader& r, const char* fileName, FILE* out);

}  // namespace zabtool
