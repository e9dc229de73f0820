// The binding's module state (one instance per process) and the entry table
// operations that the loader calls. Internal to src/zab.
#pragma once

#include <cstdint>
#include <mutex>

#include "runtime/short_string.h"
#include "zab/zab_api.h"

namespace zab::detail {

// The API operations this binding binds, in binding order.
enum EntryId : int {
  kOpenRead,
  kErrorStr,
  kResetSpecialValues,
  kGetSpecialValues,
  kSystemInfo,
  kSymbolInfo,
  kSymbolInfoX,
  kFindSymbol,
  kDataReadStrStart,
  kDataReadStr,
  kDataReadRawStart,
  kDataReadRaw,
  kDataReadDone,
  kGetElemText,
  kUMUelGet,
  kUMFindUEL,
  kClose,
  kEntryCount
};

struct BindingState {
  void* libHandle = nullptr;
  rt::ShortStr libFileName;  // path of the library last tried
  rt::ShortStr exeDir;       // directory of argument 0
  int32_t objectCount = 0;
  int32_t apiErrorCount = 0;
  bool screenIndicator = true;
  bool exceptionIndicator = false;
  bool exitIndicator = true;
  ErrorCallback errorCallback = nullptr;
  int32_t checkMode = -1;      // from XAPIVersion; negative: no XCheck calls
  int32_t checkedEntries = 0;  // entries passed through XCheck
  bool entryLoaded[kEntryCount] = {};
  std::mutex libMutex;
  std::mutex objMutex;
  std::mutex exceptMutex;
};

BindingState& state();

// Looks an entry up under its lower-case name, as written, then upper case;
// null when all three fail (dlerror reports after each).
void* lookupSymbol(void* lib, std::string_view name);

// Binds every API entry (XCheck first when checkMode >= 0, then the lookup);
// an entry that is refused or missing gets its fallback and msg says why.
void bindApiEntries(rt::ShortStr& msg);
// Sets every pointer of the table to null and every entry to not loaded.
void clearTable();

}  // namespace zab::detail
