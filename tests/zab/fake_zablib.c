/* A stand-in ZAB library for the binding tests. One source, built in several
 * variants (each a libzabcclib64.so in its own directory) by compile
 * definitions:
 *   FAKE_ID=n              zabSystemInfo answers n symbols: tells variants apart
 *   FAKE_NO_APIVERSION     D__XAPIVersion is not exported
 *   FAKE_REFUSE_VERSION    XAPIVersion refuses with a message
 *   FAKE_CHECK_MODE=n      check mode handed out by XAPIVersion (default 0)
 *   FAKE_REFUSE=name       XCheck refuses that operation
 *   FAKE_UPPER_CLOSE       zabClose is exported only as C__ZABCLOSE
 *   FAKE_NO_UMFINDUEL      D__zabUMFindUEL is not exported
 *   FAKE_NO_READDONE       C__zabDataReadDone is not exported (and XCheck
 *                          does not know it)
 *   FAKE_MODEL             holds the small file of the model below instead of
 *                          one empty scalar, with two switches read from the
 *                          environment at every read start:
 *                            FAKE_SHORT=name      reads of that symbol end one
 *                                                 record before the count the
 *                                                 start call announced
 *                            FAKE_ANNOUNCE=zero   start calls announce 0
 *                            FAKE_ANNOUNCE=none   start calls leave the count
 *                            FAKE_NOSTART=name    read starts of that symbol
 *                                                 fail (0, count 0), and its
 *                                                 reads deliver nothing
 *                            FAKE_STRICT=1        a start while a read is open
 *                                                 (started, not yet done) fails
 *                            FAKE_READ_LOG=file   every start and done appends
 *                                                 a line "start <symbol>",
 *                                                 "refused <symbol>" or "done"
 * XCheck compares every signature it is asked about with the table below,
 * written from the library's documentation, and counts the calls. Most
 * entries ignore some of their parameters (built with -Wno-unused-parameter). */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))
#define STRINGIFY2(x) #x
#define STRINGIFY(x) STRINGIFY2(x)

#ifndef FAKE_ID
#define FAKE_ID 1
#endif
#ifndef FAKE_CHECK_MODE
#define FAKE_CHECK_MODE 0
#endif

EXPORT int fakeXCheckCalls = 0;
EXPORT int fakeXCheckMismatches = 0;
EXPORT int fakeInitCalls = 0;
EXPORT int fakeFinalizeCalls = 0;

static unsigned char loadPath[256] = {5, 'u', 'n', 's', 'e', 't'};
static int object;

static void setStr(unsigned char* dst, const char* s) {
  size_t n = strlen(s);
  if (n > 255) n = 255;
  dst[0] = (unsigned char)n;
  memcpy(dst + 1, s, n);
}

static int sameStr(const unsigned char* a, const char* s) {
  size_t n = strlen(s);
  return a[0] == n && memcmp(a + 1, s, n) == 0;
}

static const struct {
  const char* name;
  int count;
  int codes[6];
} signatures[] = {
    {"zabOpenRead", 2, {3, 11, 4}},          {"zabErrorStr", 2, {3, 3, 12}},
    {"zabResetSpecialValues", 0, {3}},       {"zabGetSpecialValues", 1, {3, 58}},
    {"zabSystemInfo", 2, {3, 4, 4}},         {"zabSymbolInfo", 4, {3, 3, 12, 4, 4}},
    {"zabSymbolInfoX", 4, {3, 3, 4, 4, 12}}, {"zabFindSymbol", 2, {3, 11, 4}},
    {"zabDataReadStrStart", 2, {3, 3, 4}},   {"zabDataReadStr", 3, {3, 56, 54, 4}},
    {"zabDataReadRawStart", 2, {3, 3, 4}},   {"zabDataReadRaw", 3, {3, 52, 54, 4}},
    {"zabGetElemText", 3, {3, 3, 12, 4}},    {"zabUMUelGet", 3, {3, 3, 12, 4}},
    {"zabUMFindUEL", 3, {3, 11, 4, 4}},      {"zabClose", 0, {3}},
#ifndef FAKE_NO_READDONE
    {"zabDataReadDone", 0, {3}},
#endif
};

EXPORT void XCreate(void** p) { *p = &object; }
EXPORT void D__XCreateD(void** p, const unsigned char* dir) { *p = &object; }
EXPORT void XFree(void** p) { *p = 0; }

EXPORT int D__XCheck(const unsigned char* name, int count, const int* codes, unsigned char* msg) {
  fakeXCheckCalls++;
#ifdef FAKE_REFUSE
  if (sameStr(name, STRINGIFY(FAKE_REFUSE))) {
    setStr(msg, "refused by the test library");
    return 0;
  }
#endif
#ifdef FAKE_NO_UMFINDUEL
  if (count == 0 && sameStr(name, "zabUMFindUEL")) {
    setStr(msg, "not in this build");
    return 0;
  }
#endif
  for (size_t i = 0; i < sizeof signatures / sizeof signatures[0]; i++) {
    if (!sameStr(name, signatures[i].name)) continue;
    if (count == 0) {
      setStr(msg, "");
      return 1;
    }
    int same = count == signatures[i].count;
    for (int k = 0; same && k <= count; k++) same = codes[k] == signatures[i].codes[k];
    if (!same) {
      fakeXCheckMismatches++;
      setStr(msg, "signature mismatch");
      return 0;
    }
    setStr(msg, "");
    return 1;
  }
  setStr(msg, "unknown operation");
  return 0;
}

#ifndef FAKE_NO_APIVERSION
EXPORT int D__XAPIVersion(int api, unsigned char* msg, int* checkMode) {
#ifdef FAKE_REFUSE_VERSION
  setStr(msg, "fake library speaks API version 99 only");
  return 0;
#else
  if (api != 11) {
    setStr(msg, "wrong API version");
    return 0;
  }
  *checkMode = FAKE_CHECK_MODE;
  return 1;
#endif
}
#endif

EXPORT int C__zabInitialize(void) { return ++fakeInitCalls; }
EXPORT int C__zabFinalize(void) {
  fputs("finalize\n", stdout);
  return ++fakeFinalizeCalls;
}
EXPORT void zabSetLoadPath(const unsigned char* path) { memcpy(loadPath, path, 1u + path[0]); }
EXPORT void zabGetLoadPath(unsigned char* path) { memcpy(path, loadPath, 1u + loadPath[0]); }

EXPORT int D__zabOpenRead(void* h, const unsigned char* name, int* err) {
  *err = sameStr(name, "good.zab") ? 0 : 7;
  return *err == 0;
}
EXPORT int D__zabErrorStr(void* h, int nr, unsigned char* msg) {
  setStr(msg, nr == 7 ? "no such file" : "no error");
  return 1;
}
EXPORT int C__zabResetSpecialValues(void* h) { return h != 0; }
EXPORT int C__zabGetSpecialValues(void* h, double* v) {
  for (int i = 0; i < 7; i++) v[i] = (i + 1) * 1e300;
  return 1;
}
#ifdef FAKE_MODEL
/* The model: labels 1..7, element texts 1..2, six symbols of three records
 * each (a set record's level is its text number). */
static const char* const labels[] = {"", "north", "south", "east", "coal", "gas", "elc", "EU"};
static const char* const texts[] = {"", "Northern region", "Hard coal"};
enum { kLabels = 7, kTexts = 2, kRecords = 3 };
static const struct {
  const char* name;
  int dim, type;
  const char* text;
  int keys[kRecords][2];
  double level[kRecords];
} symbols[] = {
    {"p", 1, 1, "price", {{1}, {2}, {3}}, {1.5, 2, 3}},
    {"reg", 1, 0, "regions", {{1}, {2}, {3}}, {1, 0, 0}},
    {"com", 1, 0, "commodities", {{4}, {5}, {6}}, {2, 0, 0}},
    {"regmap", 2, 0, "regions of countries", {{7, 1}, {7, 2}, {7, 3}}, {0, 0, 0}},
    {"fossil", 1, 0, "fossil fuels", {{4}, {5}, {6}}, {0, 0, 0}},
    {"v", 1, 2, "use", {{4}, {5}, {6}}, {10, 20, 30}},
};
enum { kSymbols = sizeof symbols / sizeof symbols[0] };

static int readSym = -1; /* index of the symbol being read, -1 none */
static int readPos, readEnd;
static int readOpen; /* a start has had no done yet */

static void logRead(const char* what, const char* name) {
  const char* path = getenv("FAKE_READ_LOG");
  if (!path) return;
  FILE* f = fopen(path, "a");
  if (!f) return;
  fprintf(f, "%s%s%s\n", what, name[0] ? " " : "", name);
  fclose(f);
}

static int sameName(const unsigned char* a, const char* s) {
  size_t n = strlen(s);
  if (a[0] != n) return 0;
  for (size_t i = 0; i < n; i++) {
    unsigned char x = a[i + 1], y = (unsigned char)s[i];
    if (x >= 'A' && x <= 'Z') x = (unsigned char)(x - 'A' + 'a');
    if (x != y) return 0;
  }
  return 1;
}

static int startRead(int nr, int* count) {
  if (nr < 1 || nr > (int)kSymbols) return 0;
  const char* strict = getenv("FAKE_STRICT");
  if (strict && strcmp(strict, "1") == 0 && readOpen) {
    logRead("refused", symbols[nr - 1].name);
    readSym = -1;
    *count = 0;
    return 0;
  }
  logRead("start", symbols[nr - 1].name);
  readOpen = 1;
  const char* shortName = getenv("FAKE_SHORT");
  const char* announce = getenv("FAKE_ANNOUNCE");
  const char* noStart = getenv("FAKE_NOSTART");
  readSym = nr - 1;
  readPos = 0;
  readEnd = kRecords;
  if (noStart && strcmp(noStart, symbols[readSym].name) == 0) {
    readSym = -1;
    *count = 0;
    return 0;
  }
  if (shortName && strcmp(shortName, symbols[readSym].name) == 0) readEnd = kRecords - 1;
  if (announce && strcmp(announce, "none") == 0) return 1;
  *count = announce && strcmp(announce, "zero") == 0 ? 0 : kRecords;
  return 1;
}

/* The next record's keys (label numbers) and values; 0 when none is left. */
static int nextRecord(const int** keys, double* values, int* first) {
  if (readSym < 0 || readPos >= readEnd) return 0;
  int i = readPos++;
  *keys = symbols[readSym].keys[i];
  for (int v = 0; v < 5; v++) values[v] = 0;
  values[0] = symbols[readSym].level[i];
  *first = 1;
  return 1;
}

EXPORT int C__zabSystemInfo(void* h, int* nsym, int* uels) {
  *nsym = kSymbols;
  *uels = kLabels;
  return 1;
}
EXPORT int D__zabSymbolInfo(void* h, int nr, unsigned char* name, int* dim, int* type) {
  if (nr < 1 || nr > (int)kSymbols) return 0;
  setStr(name, symbols[nr - 1].name);
  *dim = symbols[nr - 1].dim;
  *type = symbols[nr - 1].type;
  return 1;
}
EXPORT int D__zabSymbolInfoX(void* h, int nr, int* count, int* userInfo, unsigned char* text) {
  if (nr < 1 || nr > (int)kSymbols) return 0;
  *count = kRecords;
  *userInfo = 0;
  setStr(text, symbols[nr - 1].text);
  return 1;
}
EXPORT int D__zabFindSymbol(void* h, const unsigned char* name, int* nr) {
  for (int i = 0; i < (int)kSymbols; i++) {
    if (sameName(name, symbols[i].name)) {
      *nr = i + 1;
      return 1;
    }
  }
  *nr = -1;
  return 0;
}
EXPORT int C__zabDataReadStrStart(void* h, int nr, int* count) { return startRead(nr, count); }
EXPORT int D__zabDataReadStr(void* h, unsigned char* keys, double* values, int* first) {
  const int* k;
  if (!nextRecord(&k, values, first)) return 0;
  for (int d = 0; d < symbols[readSym].dim; d++) setStr(keys + 256 * d, labels[k[d]]);
  return 1;
}
EXPORT int C__zabDataReadRawStart(void* h, int nr, int* count) { return startRead(nr, count); }
EXPORT int C__zabDataReadRaw(void* h, int* keys, double* values, int* first) {
  const int* k;
  if (!nextRecord(&k, values, first)) return 0;
  for (int d = 0; d < symbols[readSym].dim; d++) keys[d] = k[d];
  return 1;
}
#ifndef FAKE_NO_READDONE
EXPORT int C__zabDataReadDone(void* h) {
  logRead("done", "");
  readOpen = 0;
  readSym = -1;
  return 1;
}
#endif
EXPORT int D__zabGetElemText(void* h, int nr, unsigned char* text, int* node) {
  *node = 0;
  setStr(text, nr >= 1 && nr <= kTexts ? texts[nr] : "");
  return nr >= 1 && nr <= kTexts;
}
EXPORT int D__zabUMUelGet(void* h, int nr, unsigned char* uel, int* map) {
  *map = -1;
  setStr(uel, nr >= 1 && nr <= kLabels ? labels[nr] : "");
  return nr >= 1 && nr <= kLabels;
}
EXPORT int D__zabUMFindUEL(void* h, const unsigned char* uel, int* nr, int* map) {
  *map = -1;
  for (int i = 1; i <= kLabels; i++) {
    if (sameName(uel, labels[i])) {
      *nr = i;
      return 1;
    }
  }
  *nr = -1;
  return 0;
}
#else
EXPORT int C__zabSystemInfo(void* h, int* symbols, int* uels) {
  *symbols = FAKE_ID;
  *uels = 0;
  return 1;
}
EXPORT int D__zabSymbolInfo(void* h, int nr, unsigned char* name, int* dim, int* type) {
  setStr(name, "x");
  *dim = 0;
  *type = 1;
  return 1;
}
EXPORT int D__zabSymbolInfoX(void* h, int nr, int* count, int* userInfo, unsigned char* text) {
  *count = 0;
  *userInfo = 0;
  setStr(text, "");
  return 1;
}
EXPORT int D__zabFindSymbol(void* h, const unsigned char* name, int* nr) {
  *nr = -1;
  return 0;
}
EXPORT int C__zabDataReadStrStart(void* h, int nr, int* count) {
  *count = 0;
  return 1;
}
EXPORT int D__zabDataReadStr(void* h, unsigned char* keys, double* values, int* first) { return 0; }
EXPORT int C__zabDataReadRawStart(void* h, int nr, int* count) {
  *count = 0;
  return 1;
}
EXPORT int C__zabDataReadRaw(void* h, int* keys, double* values, int* first) { return 0; }
#ifndef FAKE_NO_READDONE
EXPORT int C__zabDataReadDone(void* h) { return 1; }
#endif
EXPORT int D__zabGetElemText(void* h, int nr, unsigned char* text, int* node) {
  setStr(text, "");
  *node = 0;
  return 0;
}
EXPORT int D__zabUMUelGet(void* h, int nr, unsigned char* uel, int* map) {
  setStr(uel, "");
  *map = -1;
  return 0;
}
#ifndef FAKE_NO_UMFINDUEL
EXPORT int D__zabUMFindUEL(void* h, const unsigned char* uel, int* nr, int* map) {
  *nr = -1;
  *map = -1;
  return 0;
}
#endif
#endif /* FAKE_MODEL */
#ifdef FAKE_UPPER_CLOSE
EXPORT int C__ZABCLOSE(void* h) { return 42; }
#else
EXPORT int C__zabClose(void* h) { return 1; }
#endif
