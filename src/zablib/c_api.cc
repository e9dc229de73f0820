// The C ABI of libzabcclib64 (include/zabcclib.h): a thin layer that turns
// short strings and out parameters into calls of ZabReader and ZabWriter.
// Only the entry points of the header are visible outside the library.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "zabcclib.h"
#include "zablib/c_api_signatures.h"
#include "zablib/zab_reader.h"
#include "zablib/zab_writer.h"

namespace {

using zablib::ZabError;

constexpr double kDefaultSpecials[ZAB_SPECIALS] = {1e300, 2e300, 3e300, 4e300, 5e300, 1e301, 0.0};

struct ZabObject {
  zablib::ZabReader reader;
  zablib::ZabWriter writer;
  zablib::RecordCursor cursor;
  bool reading = false;  // a ...Start call began a read that has not ended
  double specials[ZAB_SPECIALS];
  int lastError = 0;  // cleared by zabGetLastError
  int textError = 0;  // the error lastText describes; zabGetLastError keeps it
  std::string lastText;
  int errorCount = 0;
  std::string loadDir;

  ZabObject() { std::memcpy(specials, kDefaultSpecials, sizeof specials); }

  int fail(const ZabError& e) {
    lastError = e.code;
    textError = e.code;
    lastText = e.text;
    ++errorCount;
    return 0;
  }
  int fail(int code, std::string text) {
    ZabError e;
    e.set(code, std::move(text));
    return fail(e);
  }
};

ZabObject* obj(zabHandle_t h) { return static_cast<ZabObject*>(h); }

// The end of a read: 0, and an error when the read ended because the file
// changed under it, in size or in place (the read is over then; a further
// call is a misuse).
int endOfRead(ZabObject* o) {
  if (!o->cursor.lostFile()) return 0;  // no record left; further calls keep answering 0
  o->reading = false;
  return o->fail(zablib::kErrFileChanged, o->cursor.lostText());
}

std::string_view inStr(const unsigned char* s) {
  if (!s) return {};
  return std::string_view(reinterpret_cast<const char*>(s + 1), s[0]);
}

void outStr(unsigned char* s, std::string_view v) {
  if (!s) return;
  size_t n = v.size() > 255 ? 255 : v.size();
  s[0] = static_cast<unsigned char>(n);
  std::memcpy(s + 1, v.data(), n);
}

template <typename T>
void put(T* p, T v) {
  if (p) *p = v;
}

unsigned char gLoadPath[256] = {0};

// The error of a required pointer argument that is null. Kept out of line:
// inlined into the record reads it slows them by a fifth.
[[gnu::noinline, gnu::cold]] void missing(ZabObject* o, const char* what) {
  o->fail(zablib::kErrBadArgument, std::string("no ") + what + " given");
}

// A required pointer argument; false (with the error) when it is null.
inline bool given(ZabObject* o, const void* p, const char* what) {
  if (p) return true;
  missing(o, what);
  return false;
}

// The error of a record read called without a read in progress or without
// its arrays. Out of line, like missing().
[[gnu::noinline, gnu::cold]] int readMisuse(ZabObject* o, const void* keys) {
  if (!o->reading) return o->fail(zablib::kErrNoRead, "no record read in progress");
  missing(o, keys ? "value array" : "key array");
  return 0;
}

// Neither a file open for reading nor one open for writing.
int noFile(ZabObject* o) { return o->fail(zablib::kErrNoFile, "no file open"); }

bool needRead(ZabObject* o) {
  if (o->reader.isOpen()) return true;
  o->fail(zablib::kErrNoFile, "no file open for reading");
  return false;
}

bool needWrite(ZabObject* o) {
  if (o->writer.isOpen()) return true;
  o->fail(zablib::kErrNoFile, "no file open for writing");
  return false;
}

bool validSymbol(ZabObject* o, int symNr) {
  if (symNr >= 1 && static_cast<uint32_t>(symNr) <= o->reader.symbolCount()) return true;
  o->fail(zablib::kErrSymbolNumber, "symbol number " + std::to_string(symNr) + " not in 1.." +
                                        std::to_string(o->reader.symbolCount()));
  return false;
}

int startRead(ZabObject* o, int symNr, int* recordCount) {
  put(recordCount, 0);
  o->reading = false;
  if (!needRead(o) || !validSymbol(o, symNr)) return 0;
  uint64_t n = o->cursor.start(o->reader, static_cast<uint32_t>(symNr));
  if (o->cursor.lostFile()) return o->fail(zablib::kErrFileChanged, o->reader.changedText());
  o->reading = true;
  put(recordCount, static_cast<int>(n));
  return 1;
}

int startWrite(ZabObject* o, const unsigned char* name, const unsigned char* text, int dim,
               int type, int userInfo) {
  if (!needWrite(o)) return 0;
  ZabError e;
  if (!o->writer.startSymbol(inStr(name), inStr(text), dim, type, userInfo, e)) return o->fail(e);
  return 1;
}

// Runs an entry point's body; an exception (only out of memory can occur)
// becomes an error result instead of crossing the C boundary.
template <typename F>
int guarded(zabHandle_t h, F&& body) noexcept {
  try {
    return body();
  } catch (...) {
    if (ZabObject* o = obj(h)) {
      o->lastError = zablib::kErrNoMemory;
      o->textError = zablib::kErrNoMemory;
      ++o->errorCount;
      o->lastText.clear();  // zabErrorStr gives the generic text
    }
    return 0;
  }
}

// ---- bulk calls ---------------------------------------------------------

// The shape of a bulk call's record arrays: where key i and value j of
// record r are (see "bulk reads and writes" in zabcclib.h).
struct BulkShape {
  size_t keyRow = 0, keyCol = 0;  // key i of record r at r * keyRow + i * keyCol
  size_t valRow = 0, valCol = 0;
};

// Checks a bulk call's arguments; false with error 207 when they are bad.
bool bulkShape(ZabObject* o, int count, int layout, int stride, int dim, const void* keys,
               const void* values, int valueCount, BulkShape& sh) {
  if (count < 0)
    return o->fail(zablib::kErrBadArgument,
                   "record count " + std::to_string(count) + " is negative");
  if (valueCount < 0 || valueCount > ZAB_VALUES)
    return o->fail(zablib::kErrBadArgument,
                   "value count " + std::to_string(valueCount) + " not in 0..5");
  if (layout == ZAB_ROW_MAJOR) {
    if (stride != 0)
      return o->fail(zablib::kErrBadArgument, "stride " + std::to_string(stride) +
                                                  " given for row-major arrays (must be 0)");
    sh = {static_cast<size_t>(dim), 1, static_cast<size_t>(valueCount), 1};
  } else if (layout == ZAB_COLUMN_MAJOR) {
    if (stride == 0) stride = count;
    if (stride < count)
      return o->fail(zablib::kErrBadArgument, "stride " + std::to_string(stride) +
                                                  " is less than the record count " +
                                                  std::to_string(count));
    sh = {1, static_cast<size_t>(stride), 1, static_cast<size_t>(stride)};
  } else {
    return o->fail(zablib::kErrBadArgument, "layout " + std::to_string(layout) +
                                                " is neither row-major (0) nor column-major (1)");
  }
  if (count > 0 && dim > 0 && !given(o, keys, "key array")) return false;
  if (count > 0 && valueCount > 0 && !given(o, values, "value array")) return false;
  return true;
}

// Checks a list of `count` strings with their lengths.
bool stringList(ZabObject* o, int count, const char* data, const int* lengths) {
  if (count < 0)
    return o->fail(zablib::kErrBadArgument, "count " + std::to_string(count) + " is negative");
  if (count == 0) return true;
  if (!given(o, lengths, "length array")) return false;
  for (int i = 0; i < count; ++i) {
    if (lengths[i] < 0)
      return o->fail(zablib::kErrBadArgument,
                     "length of string " + std::to_string(i + 1) + " is negative");
    if (lengths[i] > 0 && !data) return given(o, data, "string data");
  }
  return true;
}

// Copies strings first..first+count-1 of a table of `total` (1-based, get(nr)
// gives one) into buffer while they fit.
template <typename Get>
int copyStrings(ZabObject* o, uint32_t total, int first, int count, char* buffer, int bufferSize,
                int* lengths, int* got, const char* what, Get get) {
  if (first < 1 || static_cast<uint64_t>(first) > uint64_t{total} + 1)
    return o->fail(zablib::kErrBadArgument, std::string("first ") + what + " number " +
                                                std::to_string(first) + " not in 1.." +
                                                std::to_string(uint64_t{total} + 1));
  if (count < 0 || bufferSize < 0)
    return o->fail(zablib::kErrBadArgument, std::string(count < 0 ? "count " : "buffer size ") +
                                                std::to_string(count < 0 ? count : bufferSize) +
                                                " is negative");
  const uint32_t last = static_cast<uint32_t>(
      std::min<uint64_t>(uint64_t{total}, static_cast<uint64_t>(first) + count - 1));
  if (static_cast<uint32_t>(first) <= last &&
      (!given(o, lengths, "length array") || !given(o, buffer, "buffer")))
    return 0;
  size_t used = 0;
  int n = 0;
  for (uint32_t nr = static_cast<uint32_t>(first); nr <= last; ++nr, ++n) {
    std::string_view v = get(nr);
    if (used + v.size() > static_cast<size_t>(bufferSize)) break;
    std::memcpy(buffer + used, v.data(), v.size());
    used += v.size();
    lengths[n] = static_cast<int>(v.size());
  }
  if (n == 0 && static_cast<uint32_t>(first) <= last)
    return o->fail(zablib::kErrBadArgument, "a buffer of " + std::to_string(bufferSize) +
                                                " bytes cannot take " + what + " " +
                                                std::to_string(first) + " (" +
                                                std::to_string(get(first).size()) + " bytes)");
  put(got, n);
  return 1;
}

// Registers labels or adds texts from a list, one by one through `add`.
template <typename Add>
int addStrings(zabHandle_t pzab, int count, const char* data, const int* lengths, int* nrs,
               int* done, const char* what, Add add) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(done, 0);
    if (!o || !needWrite(o) || !stringList(o, count, data, lengths)) return 0;
    ZabError e;
    size_t at = 0;
    for (int i = 0; i < count; ++i) {
      uint32_t nr = 0;
      if (!add(o, std::string_view(data + at, static_cast<size_t>(lengths[i])), nr, e)) {
        put(done, i);
        e.text = std::string(what) + " " + std::to_string(i + 1) + " of the list: " + e.text;
        return o->fail(e);
      }
      at += static_cast<size_t>(lengths[i]);
      if (nrs) nrs[i] = static_cast<int>(nr);
    }
    put(done, count);
    return 1;
  });
}

}  // namespace

extern "C" {

// ---- administration ---------------------------------------------------

ZAB_API void XCreate(zabHandle_t* pzab) {
  if (!pzab) return;
  *pzab = new (std::nothrow) ZabObject();
}

ZAB_API void D__XCreateD(zabHandle_t* pzab, const unsigned char* dirName) {
  XCreate(pzab);
  if (pzab && *pzab) obj(*pzab)->loadDir = std::string(inStr(dirName));
}

ZAB_API void XFree(zabHandle_t* pzab) {
  if (!pzab || !*pzab) return;
  ZabObject* o = obj(*pzab);
  o->writer.abandon();  // an unfinished file never reaches its name
  delete o;
  *pzab = nullptr;
}

ZAB_API int D__XCheck(const unsigned char* name, int nargs, const int* argTypes,
                      unsigned char* msg) {
  std::string why;
  bool ok = zablib::checkApiSignature(inStr(name), nargs, argTypes, why);
  outStr(msg, why);
  return ok ? 1 : 0;
}

ZAB_API int D__XAPIVersion(int api, unsigned char* msg, int* checkMode) {
  put(checkMode, 0);
  if (api != ZAB_APIVERSION) {
    outStr(msg, "API version " + std::to_string(api) +
                    " is not supported by libzabcclib64, which implements version " +
                    std::to_string(ZAB_APIVERSION));
    return 0;
  }
  outStr(msg, "");
  return 1;
}

ZAB_API int C__zabInitialize(void) { return 1; }
ZAB_API int C__zabFinalize(void) { return 1; }

ZAB_API void zabSetLoadPath(const unsigned char* path) { outStr(gLoadPath, inStr(path)); }

ZAB_API void zabGetLoadPath(unsigned char* path) { outStr(path, inStr(gLoadPath)); }

// ---- read side --------------------------------------------------------

ZAB_API int D__zabOpenRead(zabHandle_t pzab, const unsigned char* fileName, int* errNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(errNr, static_cast<int>(zablib::kErrNoMemory));  // until the outcome is known
    if (!o) {
      put(errNr, static_cast<int>(zablib::kErrBadArgument));
      return 0;
    }
    if (o->writer.isOpen()) {
      o->fail(zablib::kErrFileOpen, "a file is open for writing; close it first");
      put(errNr, o->lastError);
      return 0;
    }
    o->reading = false;
    o->errorCount = 0;
    ZabError e;
    if (!o->reader.open(std::string(inStr(fileName)), e)) {
      o->fail(e);
      put(errNr, e.code);
      return 0;
    }
    put(errNr, 0);
    return 1;
  });
}

ZAB_API int D__zabErrorStr(zabHandle_t pzab, int errNr, unsigned char* msg) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (o && errNr != 0 && errNr == o->textError && !o->lastText.empty()) {
      outStr(msg, o->lastText);
    } else {
      outStr(msg, zablib::errorText(errNr));
    }
    return 1;
  });
}

ZAB_API int C__zabClose(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    o->reading = false;
    if (o->reader.isOpen()) {
      o->reader.close();
      return 1;
    }
    if (o->writer.isOpen()) {
      ZabError e;
      if (!o->writer.close(e)) return o->fail(e);
      return 1;
    }
    return noFile(o);
  });
}

ZAB_API int C__zabResetSpecialValues(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    std::memcpy(o->specials, kDefaultSpecials, sizeof o->specials);
    o->writer.setSpecials(o->specials);
    return 1;
  });
}

ZAB_API int C__zabGetSpecialValues(zabHandle_t pzab, double* specials) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o || !given(o, specials, "special-value array")) return 0;
    std::memcpy(specials, o->specials, sizeof o->specials);
    return 1;
  });
}

ZAB_API int C__zabSetSpecialValues(zabHandle_t pzab, const double* specials) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o || !given(o, specials, "special-value array")) return 0;
    // The five must stay distinguishable: distinct and not NaN.
    for (int i = 0; i < 5; ++i) {
      if (std::isnan(specials[i]))
        return o->fail(zablib::kErrBadArgument, "special value " + std::to_string(i) + " is NaN");
      for (int j = 0; j < i; ++j) {
        if (specials[i] == specials[j])
          return o->fail(zablib::kErrBadArgument, "special values " + std::to_string(j) + " and " +
                                                      std::to_string(i) + " are equal");
      }
    }
    std::memcpy(o->specials, specials, sizeof o->specials);
    o->writer.setSpecials(o->specials);
    return 1;
  });
}

ZAB_API int C__zabSystemInfo(zabHandle_t pzab, int* symbolCount, int* uelCount) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(symbolCount, 0);
    put(uelCount, 0);
    if (!o) return 0;
    if (o->reader.isOpen()) {
      put(symbolCount, static_cast<int>(o->reader.symbolCount()));
      put(uelCount, static_cast<int>(o->reader.labelCount()));
      return 1;
    }
    if (o->writer.isOpen()) {
      put(symbolCount, static_cast<int>(o->writer.symbolCount()));
      put(uelCount, static_cast<int>(o->writer.labelCount()));
      return 1;
    }
    return noFile(o);
  });
}

ZAB_API int D__zabSymbolInfo(zabHandle_t pzab, int symNr, unsigned char* name, int* dim,
                             int* type) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    outStr(name, "");
    put(dim, 0);
    put(type, 0);
    if (!o || !needRead(o) || !validSymbol(o, symNr)) return 0;
    const zablib::SymbolEntry& s = o->reader.symbol(static_cast<uint32_t>(symNr));
    outStr(name, s.name);
    put(dim, static_cast<int>(s.dim));
    put(type, static_cast<int>(s.type));
    return 1;
  });
}

ZAB_API int D__zabSymbolInfoX(zabHandle_t pzab, int symNr, int* recordCount, int* userInfo,
                              unsigned char* text) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(recordCount, 0);
    put(userInfo, 0);
    outStr(text, "");
    if (!o || !needRead(o) || !validSymbol(o, symNr)) return 0;
    const zablib::SymbolEntry& s = o->reader.symbol(static_cast<uint32_t>(symNr));
    put(recordCount, static_cast<int>(s.recordCount));
    put(userInfo, static_cast<int>(s.userInfo));
    outStr(text, s.text);
    return 1;
  });
}

ZAB_API int D__zabFindSymbol(zabHandle_t pzab, const unsigned char* name, int* symNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(symNr, -1);
    if (!o || !needRead(o) || !given(o, name, "symbol name")) return 0;
    uint32_t n = o->reader.findSymbol(inStr(name));
    if (n == 0) return 0;  // not found: an answer, not a failure
    put(symNr, static_cast<int>(n));
    return 1;
  });
}

ZAB_API int C__zabDataReadStrStart(zabHandle_t pzab, int symNr, int* recordCount) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    return startRead(o, symNr, recordCount);
  });
}

ZAB_API int C__zabDataReadRawStart(zabHandle_t pzab, int symNr, int* recordCount) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    return startRead(o, symNr, recordCount);
  });
}

ZAB_API int D__zabDataReadStr(zabHandle_t pzab, unsigned char* keys, double* values,
                              int* firstChanged) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    if (!o->reading || !keys || !values) return readMisuse(o, keys);
    int f = o->cursor.next(values, o->specials);
    if (f == 0) return endOfRead(o);
    const uint32_t* k = o->cursor.keys();
    const uint32_t d = o->cursor.dim();
    // Every key is written, not only those from the first changed position on:
    // a caller may hand a different buffer each time.
    for (uint32_t i = 0; i < d; ++i) {
      std::string_view l = o->reader.label(k[i]);
      unsigned char* s = keys + 256 * i;
      s[0] = static_cast<unsigned char>(l.size());
      std::memcpy(s + 1, l.data(), l.size());
    }
    put(firstChanged, f);
    return 1;
  });
}

ZAB_API int C__zabDataReadRaw(zabHandle_t pzab, int* keys, double* values, int* firstChanged) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    if (!o->reading || !keys || !values) return readMisuse(o, keys);
    int f = o->cursor.next(values, o->specials);
    if (f == 0) return endOfRead(o);
    const uint32_t* k = o->cursor.keys();
    const uint32_t d = o->cursor.dim();
    for (uint32_t i = 0; i < d; ++i) keys[i] = static_cast<int>(k[i]);
    put(firstChanged, f);
    return 1;
  });
}

ZAB_API int C__zabDataReadDone(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    o->cursor.stop();
    o->reading = false;
    return 1;
  });
}

ZAB_API int D__zabGetElemText(zabHandle_t pzab, int textNr, unsigned char* text, int* node) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    outStr(text, "");
    put(node, 0);
    if (!o || !needRead(o)) return 0;
    // A number without a text is an answer, not a failure (0: no text).
    if (textNr < 1 || static_cast<uint32_t>(textNr) > o->reader.textCount()) return 0;
    outStr(text, o->reader.text(static_cast<uint32_t>(textNr)));
    return 1;
  });
}

ZAB_API int D__zabUMUelGet(zabHandle_t pzab, int uelNr, unsigned char* uel, int* userMap) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    outStr(uel, "");
    put(userMap, -1);
    if (!o) return 0;
    // A number without a label is an answer, not a failure.
    if (o->reader.isOpen()) {
      if (uelNr < 1 || static_cast<uint32_t>(uelNr) > o->reader.labelCount()) return 0;
      outStr(uel, o->reader.label(static_cast<uint32_t>(uelNr)));
      return 1;
    }
    if (o->writer.isOpen()) {
      if (uelNr < 1 || static_cast<uint32_t>(uelNr) > o->writer.labelCount()) return 0;
      outStr(uel, o->writer.label(static_cast<uint32_t>(uelNr)));
      return 1;
    }
    return noFile(o);
  });
}

ZAB_API int D__zabUMFindUEL(zabHandle_t pzab, const unsigned char* uel, int* uelNr, int* userMap) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(uelNr, -1);
    put(userMap, -1);
    if (!o || !given(o, uel, "label")) return 0;
    uint32_t n = 0;
    if (o->reader.isOpen()) {
      n = o->reader.findLabel(inStr(uel));
    } else if (o->writer.isOpen()) {
      n = o->writer.findLabel(inStr(uel));
    } else {
      return noFile(o);
    }
    if (n == 0) return 0;  // not found: an answer, not a failure
    put(uelNr, static_cast<int>(n));
    return 1;
  });
}

ZAB_API int C__zabGetLastError(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    int e = o->lastError;
    o->lastError = 0;
    return e;
  });
}

ZAB_API int C__zabErrorCount(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    return o ? o->errorCount : 0;
  });
}

// ---- write side -------------------------------------------------------

ZAB_API int D__zabOpenWrite(zabHandle_t pzab, const unsigned char* fileName,
                            const unsigned char* producer, int* errNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(errNr, static_cast<int>(zablib::kErrNoMemory));  // until the outcome is known
    if (!o) {
      put(errNr, static_cast<int>(zablib::kErrBadArgument));
      return 0;
    }
    if (o->reader.isOpen() || o->writer.isOpen()) {
      o->fail(zablib::kErrFileOpen, "a file is open already; close it first");
      put(errNr, o->lastError);
      return 0;
    }
    o->errorCount = 0;
    ZabError e;
    o->writer.setSpecials(o->specials);
    if (!o->writer.open(std::string(inStr(fileName)), inStr(producer), e)) {
      o->fail(e);
      put(errNr, e.code);
      return 0;
    }
    put(errNr, 0);
    return 1;
  });
}

// The label registration brackets only confirm that a file is open for writing.
static int writerReady(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    return o && needWrite(o) ? 1 : 0;
  });
}

ZAB_API int C__zabUELRegisterStrStart(zabHandle_t pzab) { return writerReady(pzab); }

ZAB_API int D__zabUELRegisterStr(zabHandle_t pzab, const unsigned char* uel, int* uelNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(uelNr, -1);
    if (!o || !needWrite(o)) return 0;
    ZabError e;
    uint32_t n = 0;
    if (!o->writer.registerLabel(inStr(uel), n, e)) return o->fail(e);
    put(uelNr, static_cast<int>(n));
    return 1;
  });
}

ZAB_API int C__zabUELRegisterDone(zabHandle_t pzab) { return writerReady(pzab); }

ZAB_API int D__zabAddSetText(zabHandle_t pzab, const unsigned char* text, int* textNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(textNr, 0);
    if (!o || !needWrite(o)) return 0;
    ZabError e;
    uint32_t n = 0;
    if (!o->writer.addText(inStr(text), n, e)) return o->fail(e);
    put(textNr, static_cast<int>(n));
    return 1;
  });
}

// A symbol started for string keys or for label numbers is the same symbol.
static int startSymbol(zabHandle_t pzab, const unsigned char* name, const unsigned char* text,
                       int dim, int type, int userInfo) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    return o ? startWrite(o, name, text, dim, type, userInfo) : 0;
  });
}

ZAB_API int D__zabDataWriteStrStart(zabHandle_t pzab, const unsigned char* name,
                                    const unsigned char* text, int dim, int type, int userInfo) {
  return startSymbol(pzab, name, text, dim, type, userInfo);
}

ZAB_API int D__zabDataWriteRawStart(zabHandle_t pzab, const unsigned char* name,
                                    const unsigned char* text, int dim, int type, int userInfo) {
  return startSymbol(pzab, name, text, dim, type, userInfo);
}

ZAB_API int D__zabDataWriteStr(zabHandle_t pzab, const unsigned char* keys, const double* values) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    if (!o->writer.inSymbol()) return o->fail(zablib::kErrNoWrite, "no symbol write in progress");
    const int dim = o->writer.currentDim();
    if ((dim > 0 && !given(o, keys, "key array")) || !given(o, values, "value array")) return 0;
    std::string_view ks[ZAB_MAXDIM];
    for (int i = 0; i < dim; ++i) ks[i] = inStr(keys + 256 * i);
    ZabError e;
    if (!o->writer.addRecordStr(ks, values, e)) return o->fail(e);
    return 1;
  });
}

ZAB_API int C__zabDataWriteRaw(zabHandle_t pzab, const int* keys, const double* values) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    if (!o->writer.inSymbol()) return o->fail(zablib::kErrNoWrite, "no symbol write in progress");
    static const int kNoKeys[ZAB_MAXDIM] = {};
    if (o->writer.currentDim() == 0 && !keys) keys = kNoKeys;  // a scalar has no keys
    if (!given(o, keys, "key array") || !given(o, values, "value array")) return 0;
    ZabError e;
    if (!o->writer.addRecord(reinterpret_cast<const uint32_t*>(keys), values, e)) return o->fail(e);
    return 1;
  });
}

ZAB_API int C__zabDataWriteDone(zabHandle_t pzab) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o) return 0;
    ZabError e;
    if (!o->writer.endSymbol(e)) return o->fail(e);
    return 1;
  });
}

ZAB_API int D__zabAddAlias(zabHandle_t pzab, const unsigned char* setName,
                           const unsigned char* aliasName, const unsigned char* text) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o || !needWrite(o)) return 0;
    ZabError e;
    if (!o->writer.addAlias(inStr(setName), inStr(aliasName), inStr(text), 0, e)) return o->fail(e);
    return 1;
  });
}

// ---- bulk reads and writes --------------------------------------------

ZAB_API int C__zabDataReadRawBulk(zabHandle_t pzab, int count, int layout, int stride, int* keys,
                                  double* values, int valueCount, int* got) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(got, 0);
    if (!o) return 0;
    if (!o->reading) return o->fail(zablib::kErrNoRead, "no record read in progress");
    const uint32_t d = o->cursor.dim();
    BulkShape sh;
    if (!bulkShape(o, count, layout, stride, static_cast<int>(d), keys, values, valueCount, sh))
      return 0;
    const size_t nv = static_cast<size_t>(valueCount);
    double v[ZAB_VALUES];
    int n = 0;
    for (; n < count; ++n) {
      if (o->cursor.next(v, o->specials) == 0) break;
      const uint32_t* k = o->cursor.keys();
      const size_t r = static_cast<size_t>(n);
      int* kp = keys + r * sh.keyRow;
      for (uint32_t i = 0; i < d; ++i) kp[i * sh.keyCol] = static_cast<int>(k[i]);
      double* vp = values + r * sh.valRow;
      for (size_t j = 0; j < nv; ++j) vp[j * sh.valCol] = v[j];
    }
    put(got, n);
    if (n < count && o->cursor.lostFile()) {
      o->reading = false;
      return o->fail(zablib::kErrFileChanged, o->cursor.lostText());
    }
    return 1;
  });
}

ZAB_API int C__zabDataWriteRawBulk(zabHandle_t pzab, int count, int layout, int stride,
                                   const int* keys, const double* values, int valueCount,
                                   int* done) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(done, 0);
    if (!o) return 0;
    if (!o->writer.inSymbol()) return o->fail(zablib::kErrNoWrite, "no symbol write in progress");
    const int d = o->writer.currentDim();
    BulkShape sh;
    if (!bulkShape(o, count, layout, stride, d, keys, values, valueCount, sh)) return 0;
    // Fields the caller does not give keep their defaults.
    double v[ZAB_VALUES] = {0.0, 0.0, 0.0, o->specials[2], 1.0};
    uint32_t k[ZAB_MAXDIM];
    const size_t nv = static_cast<size_t>(valueCount);
    ZabError e;
    for (int n = 0; n < count; ++n) {
      const size_t r = static_cast<size_t>(n);
      const int* kp = keys + r * sh.keyRow;
      for (int i = 0; i < d; ++i)
        k[i] = static_cast<uint32_t>(kp[static_cast<size_t>(i) * sh.keyCol]);
      const double* vp = values + r * sh.valRow;
      for (size_t j = 0; j < nv; ++j) v[j] = vp[j * sh.valCol];
      if (!o->writer.addRecord(k, v, e)) {
        put(done, n);
        return o->fail(e);
      }
    }
    put(done, count);
    return 1;
  });
}

ZAB_API int D__zabUELRegisterBulk(zabHandle_t pzab, int count, const char* data, const int* lengths,
                                  int* uelNrs, int* done) {
  return addStrings(pzab, count, data, lengths, uelNrs, done, "label",
                    [](ZabObject* o, std::string_view s, uint32_t& nr, ZabError& e) {
                      return o->writer.registerLabel(s, nr, e);
                    });
}

ZAB_API int D__zabAddSetTextBulk(zabHandle_t pzab, int count, const char* data, const int* lengths,
                                 int* textNrs, int* done) {
  return addStrings(pzab, count, data, lengths, textNrs, done, "text",
                    [](ZabObject* o, std::string_view s, uint32_t& nr, ZabError& e) {
                      return o->writer.addText(s, nr, e);
                    });
}

ZAB_API int D__zabUMUelGetBulk(zabHandle_t pzab, int firstNr, int count, char* buffer,
                               int bufferSize, int* lengths, int* got) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(got, 0);
    if (!o) return 0;
    if (o->reader.isOpen())
      return copyStrings(o, o->reader.labelCount(), firstNr, count, buffer, bufferSize, lengths,
                         got, "label", [o](uint32_t nr) { return o->reader.label(nr); });
    if (o->writer.isOpen())
      return copyStrings(o, o->writer.labelCount(), firstNr, count, buffer, bufferSize, lengths,
                         got, "label", [o](uint32_t nr) { return o->writer.label(nr); });
    return noFile(o);
  });
}

ZAB_API int D__zabGetElemTextBulk(zabHandle_t pzab, int firstNr, int count, char* buffer,
                                  int bufferSize, int* lengths, int* got) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(got, 0);
    if (!o || !needRead(o)) return 0;
    return copyStrings(o, o->reader.textCount(), firstNr, count, buffer, bufferSize, lengths, got,
                       "element text", [o](uint32_t nr) { return o->reader.text(nr); });
  });
}

ZAB_API int C__zabAliasOf(zabHandle_t pzab, int symNr, int* setNr) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    put(setNr, 0);
    if (!o || !needRead(o) || !validSymbol(o, symNr)) return 0;
    put(setNr, static_cast<int>(o->reader.symbol(static_cast<uint32_t>(symNr)).aliasOf));
    return 1;
  });
}

ZAB_API int D__zabAddAliasX(zabHandle_t pzab, const unsigned char* setName,
                            const unsigned char* aliasName, const unsigned char* text,
                            int userInfo) {
  return guarded(pzab, [&] {
    ZabObject* o = obj(pzab);
    if (!o || !needWrite(o)) return 0;
    ZabError e;
    if (!o->writer.addAlias(inStr(setName), inStr(aliasName), inStr(text), userInfo, e))
      return o->fail(e);
    return 1;
  });
}

}  // extern "C"
