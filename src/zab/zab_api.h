// The table of ZAB library operations bound at run time, and the binding.
//
// Every pointer is null until zabGetReadyX has loaded a library; an operation
// that the library lacks (or refuses through XCheck) is bound to a fallback
// that reports "<name> could not be loaded from <path>: <reason>" through
// zabErrorHandling and ends the run with exit code 123. Callers use the
// pointers directly: zab::api.zabSymbolInfo(pgx, nr, name.asBuffer(), &dim, &type).
// Short strings are rt::ShortStr (same 256-byte layout).
#pragma once

#include <cstdint>

#include "runtime/short_string.h"

namespace zab {

using Handle = void*;

struct ZabApi {
  // fixed entries
  void (*XCreate)(Handle*);
  void (*XCreateD)(Handle*, const unsigned char*);
  void (*XFree)(Handle*);
  int (*XCheck)(const unsigned char*, int, const int*, unsigned char*);
  int (*XAPIVersion)(int, unsigned char*, int*);
  int (*zabInitialize)();
  int (*zabFinalize)();
  void (*zabSetLoadPath)(const unsigned char*);
  void (*zabGetLoadPath)(unsigned char*);
  // operations the program calls
  int (*zabOpenRead)(Handle, const unsigned char*, int*);
  int (*zabErrorStr)(Handle, int, unsigned char*);
  int (*zabResetSpecialValues)(Handle);
  int (*zabGetSpecialValues)(Handle, double*);
  int (*zabSystemInfo)(Handle, int*, int*);
  int (*zabSymbolInfo)(Handle, int, unsigned char*, int*, int*);
  int (*zabSymbolInfoX)(Handle, int, int*, int*, unsigned char*);
  int (*zabFindSymbol)(Handle, const unsigned char*, int*);
  int (*zabDataReadStrStart)(Handle, int, int*);
  int (*zabDataReadStr)(Handle, unsigned char*, double*, int*);
  int (*zabDataReadRawStart)(Handle, int, int*);
  int (*zabDataReadRaw)(Handle, int*, double*, int*);
  int (*zabGetElemText)(Handle, int, unsigned char*, int*);
  int (*zabUMUelGet)(Handle, int, unsigned char*, int*);
  int (*zabUMFindUEL)(Handle, const unsigned char*, int*, int*);
  int (*zabClose)(Handle);
};

// The bound table (module state of the binding).
extern ZabApi api;

// zabGetReadyX: makes sure the library is loaded; msg gets the reason when not.
bool zabGetReadyX(rt::ShortStr& msg);
// zabCreateX: loads if needed, then creates one ZAB object.
bool zabCreateX(Handle& pgx, rt::ShortStr& msg);
void zabFree(Handle& pgx);
bool zabLibraryLoaded();
void zabLibraryUnload();
void zabCloseDown();
void zabErrorHandling(const rt::ShortStr& msg);

// The directory the library is first looked for in (directory of argv[0]).
void setExecutableDirectory(const char* argv0);

}  // namespace zab
