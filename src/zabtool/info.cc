#include "zabtool/info.h"

#include <string>

#include "zablib/format.h"

namespace zabtool {
namespace {

std::string typeText(uint32_t t) {
  static const char* kNames[5] = {"set", "parameter", "variable", "equation", "alias"};
  return t < 5 ? kNames[t] : "type " + std::to_string(t);
}

}  // namespace

void printInfo(const zablib::ZabReader& r, const char* fileName, FILE* out) {
  std::fprintf(out, "%s: %u symbols, %u labels, %u element texts, %llu bytes\n", fileName,
               r.symbolCount(), r.labelCount(), r.textCount(),
               static_cast<unsigned long long>(r.size()));
  std::fprintf(out, "producer: %.*s\n", static_cast<int>(r.producer().size()), r.producer().data());
  std::fprintf(out, "%6s  %-20s %-10s %3s %12s  %s\n", "nr", "name", "type", "dim", "records",
               "text");
  for (uint32_t i = 1; i <= r.symbolCount(); ++i) {
    const zablib::SymbolEntry& s = r.symbol(i);
    std::string type = typeText(s.type);
    if (s.aliasOf) type += " of " + std::string(r.symbol(s.aliasOf).name);
    std::fprintf(out, "%6u  %-20.*s %-10s %3u %12llu  %.*s\n", i, static_cast<int>(s.name.size()),
                 s.name.data(), type.c_str(), s.dim, static_cast<unsigned long long>(s.recordCount),
                 static_cast<int>(s.text.size()), s.text.data());
  }
}

}  // namespace zabtool
