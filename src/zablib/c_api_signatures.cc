#include "zablib/c_api_signatures.h"

#include "zablib/text_fold.h"

namespace zablib {
namespace {

const ApiSignature kSignatures[] = {
    // read side
    {"zabOpenRead", 2, {3, 11, 4}},
    {"zabErrorStr", 2, {3, 3, 12}},
    {"zabClose", 0, {3}},
    {"zabResetSpecialValues", 0, {3}},
    {"zabGetSpecialValues", 1, {3, 58}},
    {"zabSetSpecialValues", 1, {3, 57}},
    {"zabSystemInfo", 2, {3, 4, 4}},
    {"zabSymbolInfo", 4, {3, 3, 12, 4, 4}},
    {"zabSymbolInfoX", 4, {3, 3, 4, 4, 12}},
    {"zabFindSymbol", 2, {3, 11, 4}},
    {"zabDataReadStrStart", 2, {3, 3, 4}},
    {"zabDataReadStr", 3, {3, 56, 54, 4}},
    {"zabDataReadRawStart", 2, {3, 3, 4}},
    {"zabDataReadRaw", 3, {3, 52, 54, 4}},
    {"zabDataReadDone", 0, {3}},
    {"zabGetElemText", 3, {3, 3, 12, 4}},
    {"zabUMUelGet", 3, {3, 3, 12, 4}},
    {"zabUMFindUEL", 3, {3, 11, 4, 4}},
    {"zabGetLastError", 0, {3}},
    {"zabErrorCount", 0, {3}},
    // write side
    {"zabOpenWrite", 3, {3, 11, 11, 4}},
    {"zabUELRegisterStrStart", 0, {3}},
    {"zabUELRegisterStr", 2, {3, 11, 4}},
    {"zabUELRegisterDone", 0, {3}},
    {"zabAddSetText", 2, {3, 11, 4}},
    {"zabDataWriteStrStart", 5, {3, 11, 11, 3, 3, 3}},
    {"zabDataWriteStr", 2, {3, 55, 53}},
    {"zabDataWriteRawStart", 5, {3, 11, 11, 3, 3, 3}},
    {"zabDataWriteRaw", 2, {3, 51, 53}},
    {"zabDataWriteDone", 0, {3}},
    {"zabAddAlias", 3, {3, 11, 11, 11}},
    // bulk entries
    {"zabDataReadRawBulk", 7, {3, 3, 3, 3, 61, 63, 3, 4}},
    {"zabDataWriteRawBulk", 7, {3, 3, 3, 3, 60, 62, 3, 4}},
    {"zabUELRegisterBulk", 5, {3, 3, 64, 60, 61, 4}},
    {"zabAddSetTextBulk", 5, {3, 3, 64, 60, 61, 4}},
    {"zabUMUelGetBulk", 6, {3, 3, 3, 65, 3, 61, 4}},
    {"zabGetElemTextBulk", 6, {3, 3, 3, 65, 3, 61, 4}},
    {"zabAliasOf", 2, {3, 3, 4}},
    {"zabAddAliasX", 4, {3, 11, 11, 11, 3}},
};

std::string codeList(int nargs, const int* codes) {
  std::string r = "(";
  for (int i = 0; i <= nargs; ++i) {
    if (i) r += ", ";
    r += std::to_string(codes[i]);
  }
  return r + ")";
}

}  // namespace

const ApiSignature* findApiSignature(std::string_view name) {
  for (const ApiSignature& s : kSignatures) {
    if (equalFolded(name, s.name)) return &s;
  }
  return nullptr;
}

bool checkApiSignature(std::string_view name, int nargs, const int* codes, std::string& why) {
  why.clear();
  const ApiSignature* s = findApiSignature(name);
  if (!s) {
    why = std::string(name) + " is not provided by libzabcclib64";
    return false;
  }
  // nargs 0 asks about existence, except that an operation without
  // parameters still has its result code compared when codes are given.
  if (nargs == 0 && (s->nargs != 0 || !codes)) return true;
  const std::string own = std::to_string(s->nargs) + " parameters " + codeList(s->nargs, s->codes);
  if (nargs != s->nargs) {
    why = std::string(s->name) + ": the library has " + own + ", the caller expects " +
          std::to_string(nargs) + " parameters";
    return false;
  }
  if (!codes) {
    why = std::string(s->name) + ": no type codes given";
    return false;
  }
  for (int i = 0; i <= nargs; ++i) {
    if (codes[i] != s->codes[i]) {
      why = std::string(s->name) + ": the library has " + own + ", the caller expects " +
            codeList(nargs, codes);
      return false;
    }
  }
  return true;
}

}  // namespace zablib
