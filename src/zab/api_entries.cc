// The API entries of the table: their exported names, the signatures passed
// to XCheck, the fallbacks of entries the library lacks, and their binding.
#include <dlfcn.h>

#include <cstring>

#include "runtime/short_string.h"
#include "zab/binding_state.h"
#include "zab/zab_api.h"

namespace zab {

ZabApi api = {};

namespace detail {
namespace {

// Type codes: 0 no result, 3 int by value (as result: int result), 4 int out,
// 11 string in, 12 string out, 15 boolean, 23 int64 result, 52 int key array
// out, 54 double array out, 56 string key array out, 58 special values out.
struct EntrySignature {
  const char* exportName;  // with its "C__" or "D__" prefix
  int paramCount;          // parameters after the object handle
  int codes[6];            // result first, then one per parameter
};

constexpr EntrySignature kSignatures[kEntryCount] = {
    {"D__zabOpenRead", 2, {3, 11, 4}},
    {"D__zabErrorStr", 2, {3, 3, 12}},
    {"C__zabResetSpecialValues", 0, {3}},
    {"C__zabGetSpecialValues", 1, {3, 58}},
    {"C__zabSystemInfo", 2, {3, 4, 4}},
    {"D__zabSymbolInfo", 4, {3, 3, 12, 4, 4}},
    {"D__zabSymbolInfoX", 4, {3, 3, 4, 4, 12}},
    {"D__zabFindSymbol", 2, {3, 11, 4}},
    {"C__zabDataReadStrStart", 2, {3, 3, 4}},
    {"D__zabDataReadStr", 3, {3, 56, 54, 4}},
    {"C__zabDataReadRawStart", 2, {3, 3, 4}},
    {"C__zabDataReadRaw", 3, {3, 52, 54, 4}},
    {"C__zabDataReadDone", 0, {3}},
    {"D__zabGetElemText", 3, {3, 3, 12, 4}},
    {"D__zabUMUelGet", 3, {3, 3, 12, 4}},
    {"D__zabUMFindUEL", 3, {3, 11, 4, 4}},
    {"C__zabClose", 0, {3}},
};

// The operation's name without its three-character prefix.
std::string_view plainName(EntryId id) { return std::string_view(kSignatures[id].exportName + 3); }

// What every fallback does: ask the library why, report, return zero.
void reportNotLoaded(EntryId id) {
  rt::ShortStr name(plainName(id));
  rt::ShortStr reason;
  if (api.XCheck) {
    const int none[1] = {0};
    api.XCheck(name.asBuffer(), 0, none, reason.asBuffer());
  }
  zabErrorHandling(name + " could not be loaded from " + state().libFileName + ": " + reason);
}

template <EntryId Id, typename F>
struct Fallback;

template <EntryId Id, typename R, typename... A>
struct Fallback<Id, R (*)(A...)> {
  static R call(A...) {
    reportNotLoaded(Id);
    return R{};
  }
};

// Binding one entry: XCheck decides first (when the check mode asks for
// it), then the three-way lookup; either failure binds the fallback.
template <EntryId Id, typename R, typename... A>
void bindEntry(R (*&slot)(A...), rt::ShortStr& msg) {
  static_assert(sizeof...(A) == static_cast<size_t>(kSignatures[Id].paramCount) + 1,
                "signature table and pointer type disagree");
  BindingState& s = state();
  const EntrySignature& sig = kSignatures[Id];
  slot = &Fallback<Id, R (*)(A...)>::call;
  s.entryLoaded[Id] = false;
  if (s.checkMode >= 0) {
    s.checkedEntries++;
    rt::ShortStr name(plainName(Id));
    if (!api.XCheck || api.XCheck(name.asBuffer(), sig.paramCount, sig.codes, msg.asBuffer()) < 1)
      return;
  }
  void* p = lookupSymbol(s.libHandle, sig.exportName);
  if (!p) {
    msg = rt::ShortStr("Entry not found: ") + sig.exportName + " in " + s.libFileName;
    return;
  }
  slot = reinterpret_cast<R (*)(A...)>(p);
  s.entryLoaded[Id] = true;
}

}  // namespace

void bindApiEntries(rt::ShortStr& msg) {
  bindEntry<kOpenRead>(api.zabOpenRead, msg);
  bindEntry<kErrorStr>(api.zabErrorStr, msg);
  bindEntry<kResetSpecialValues>(api.zabResetSpecialValues, msg);
  bindEntry<kGetSpecialValues>(api.zabGetSpecialValues, msg);
  bindEntry<kSystemInfo>(api.zabSystemInfo, msg);
  bindEntry<kSymbolInfo>(api.zabSymbolInfo, msg);
  bindEntry<kSymbolInfoX>(api.zabSymbolInfoX, msg);
  bindEntry<kFindSymbol>(api.zabFindSymbol, msg);
  bindEntry<kDataReadStrStart>(api.zabDataReadStrStart, msg);
  bindEntry<kDataReadStr>(api.zabDataReadStr, msg);
  bindEntry<kDataReadRawStart>(api.zabDataReadRawStart, msg);
  bindEntry<kDataReadRaw>(api.zabDataReadRaw, msg);
  bindEntry<kDataReadDone>(api.zabDataReadDone, msg);
  bindEntry<kGetElemText>(api.zabGetElemText, msg);
  bindEntry<kUMUelGet>(api.zabUMUelGet, msg);
  bindEntry<kUMFindUEL>(api.zabUMFindUEL, msg);
  bindEntry<kClose>(api.zabClose, msg);
}

void clearTable() {
  api = ZabApi{};
  for (bool& loaded : state().entryLoaded) loaded = false;
}

}  // namespace detail

void dataReadDone(Handle pgx) {
  if (detail::state().entryLoaded[detail::kDataReadDone]) api.zabDataReadDone(pgx);
}

bool zabEntryLoaded(std::string_view name) {
  for (int i = 0; i < detail::kEntryCount; i++)
    if (detail::plainName(static_cast<detail::EntryId>(i)) == name)
      return detail::state().entryLoaded[i];
  return false;
}

}  // namespace zab
