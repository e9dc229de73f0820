// The C ABI of libzabcclib64 (include/zabcclib.h): a thin layer that turns
// short strings and out parameters into calls of ZabReader and ZabWriter.
// Only the entry points of the header are visible outside the library.
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
    if (!o || !needRead(o)) return 0;
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
    if (!o) return 0;
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

}  // extern "C"
