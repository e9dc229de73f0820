// The table of ZAB library operations bound at run time, and the binding.
//
// Every pointer is null until zabGetReadyX has loaded a library; an operation
// that the library lacks (or refuses through XCheck) is bound to a fallback
// that reports "<name> could not be loaded from <path>: <reason>" through
// zabErrorHandling and ends the run with exit code 123. Callers use the
// pointers directly: zab::api.zabSymbolInfo(pgx, nr, name.asBuffer(), &dim, &type).
// Short strings are rt::ShortStr (same 256-byte layout).
//
// Library file: "lib" + "zabcclib" + "64" + the platform's extension, looked
// for first in the directory of the running program (setExecutableDirectory),
// then by bare name through the dynamic loader's search path. A library that
// was opened but refused (mandatory entry missing, API version refused) stays
// open on purpose: a later zabGetReadyX answers true because a handle exists.
// The binding is safe for several threads: one lock serialises loading,
// unloading and zabLibraryLoaded, one guards the object count and one the
// error callback (the loading lock is always taken before the object lock).
#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/short_string.h"

namespace zab {

using Handle = void*;

// The API version this binding asks XAPIVersion for.
constexpr int kApiVersion = 11;

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
  int (*zabDataReadDone)(Handle);
  int (*zabGetElemText)(Handle, int, unsigned char*, int*);
  int (*zabUMUelGet)(Handle, int, unsigned char*, int*);
  int (*zabUMFindUEL)(Handle, const unsigned char*, int*, int*);
  int (*zabClose)(Handle);
};

// The bound table.
extern ZabApi api;

// The library's file name: "lib" + base + "64" + ".so" (".dylib" on macOS),
// cut at 255 bytes.
rt::ShortStr libraryFileName(std::string_view base = "zabcclib");

// The directory the library is first looked for in: the directory part of
// argv0 (empty when argv0 has no "/").
void setExecutableDirectory(const char* argv0);

// zabGetReadyX: makes sure the library is loaded; msg gets the reason when not.
bool zabGetReadyX(rt::ShortStr& msg);
// zabCreateX: loads if needed, then creates one ZAB object (pgx null on failure).
bool zabCreateX(Handle& pgx, rt::ShortStr& msg);
// zabFree: frees the object and sets pgx to null.
void zabFree(Handle& pgx);
bool zabLibraryLoaded();
// Unloads the library unless an object is still alive ("Could not unload
// library, object not freed." on standard output then).
void zabLibraryUnload();
// Ends the use of the binding's locks (std::mutex needs no explicit
// destruction; kept so that the life cycle reads as the library's users expect).
void zabCloseDown();

// Ends the read that a zabDataReadStrStart or zabDataReadRawStart began:
// zabDataReadDone when the library has it. A library without the entry (or
// that refused it) ends a read at the next start; then nothing is called.
void dataReadDone(Handle pgx);

// Path of the library last tried (full path or bare file name).
rt::ShortStr zabLibraryPath();
// Whether the named operation (without prefix, e.g. "zabSymbolInfoX") is bound
// to the library's own entry; false when it is bound to its fallback or unknown.
bool zabEntryLoaded(std::string_view name);

// Error handling of the binding: the indicators, the error count and the hook.
using ErrorCallback = int32_t (*)(int32_t errorCount, const rt::ShortStr& msg);
bool zabGetScreenIndicator();
void zabSetScreenIndicator(bool v);
bool zabGetExceptionIndicator();
void zabSetExceptionIndicator(bool v);
bool zabGetExitIndicator();
void zabSetExitIndicator(bool v);
int32_t zabGetErrorCount();
void zabSetErrorCount(int32_t n);
ErrorCallback zabGetErrorCallBack();
void zabSetErrorCallBack(ErrorCallback cb);
// Counts the error; prints msg (screen indicator, flushed); raises a fatal
// assertion (exception indicator: "*** Internal error: " + msg, exit code 1);
// calls the hook and ends the run with exit code 123 when it returns non-zero;
// then ends the run with exit code 123 when the exit indicator is set.
void zabErrorHandling(const rt::ShortStr& msg);

}  // namespace zab
