// The C interface of libzabcclib64 as a fuzzed sequence of calls on two
// objects: every entry point of include/zabcclib.h, the write side included,
// with fuzzed arguments (numbers at and past their limits, strings of 0 to
// 255 bytes, label and name repeats, special values, NaN and infinities),
// special values set before reads, and files written, rewritten under an
// open reader (the writer renames its new file over the old name), read back,
// damaged, and rewritten in place under a reader; null pointers.
//
// Checks beyond "no crash, no sanitizer report":
//   - every error number has a non-empty text;
//   - special values set are the special values got back;
//   - a read gives exactly the record count its start announced, each
//     record's first changed position lies in 1..dim (1 for a scalar), and
//     raw keys are label numbers of the file;
//   - a file whose writing closed successfully opens for reading, with at
//     least the symbols whose writing ended well and at most those started;
//   - a failing write-side call, and any call given null pointers, leaves
//     an error number (zabGetLastError);
//   - reading a file rewritten in place under its reader gives valid data or
//     ends with error 123.
// Input: a stream of operations, one byte each, followed by its arguments
// (see Ops); a short stream reads as zeros.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "work_dir.h"
#include "zabcclib.h"

namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "fuzz_c_api: %s\n", what);
  std::abort();
}

class Input {
 public:
  Input(const uint8_t* d, size_t n) : d_(d), n_(n) {}
  bool more() const { return i_ < n_; }
  uint8_t byte() { return i_ < n_ ? d_[i_++] : 0; }
  int32_t integer() {
    static const int32_t kEdges[] = {std::numeric_limits<int32_t>::min(),
                                     std::numeric_limits<int32_t>::max(),
                                     -1,
                                     20,
                                     21,
                                     255,
                                     256,
                                     65536,
                                     1 << 20,
                                     1 << 30};
    uint8_t b = byte();
    if (b < 240) return static_cast<int32_t>(b) - 2;
    return kEdges[(b - 240) % (sizeof kEdges / sizeof kEdges[0])];
  }
  double value() {
    static const double kValues[] = {0.0,
                                     -0.0,
                                     1.0,
                                     -1.0,
                                     0.5,
                                     1e300,
                                     2e300,
                                     3e300,
                                     4e300,
                                     5e300,
                                     1e301,
                                     2.5,
                                     9007199254740993.0,
                                     std::numeric_limits<double>::quiet_NaN(),
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity()};
    uint8_t b = byte();
    if (b < 16) return kValues[b];
    if (b < 64) return static_cast<double>(b - 16);  // small whole numbers (text numbers)
    double v;
    uint8_t raw[8];
    for (uint8_t& r : raw) r = byte();
    std::memcpy(&v, raw, 8);
    return v;
  }
  // A short string (length byte, then bytes): mostly from a small set of
  // names so that repeats and case variants meet; else fuzzed bytes.
  void shortString(unsigned char* s) {
    static const char* const kNames[] = {"i", "j", "I",     "p",     "x", "s", "S",  "a",
                                         "b", "A", "seoul", "SEOUL", "t", "",  "x1", "tx"};
    uint8_t b = byte();
    if (b < 192) {
      const char* n = kNames[b % (sizeof kNames / sizeof kNames[0])];
      s[0] = static_cast<unsigned char>(std::strlen(n));
      std::memcpy(s + 1, n, s[0]);
      return;
    }
    int len = b >= 250 ? 255 - (b - 250) % 2 * 192 : byte() % 70;  // 255, 63 or short
    s[0] = static_cast<unsigned char>(len);
    for (int k = 1; k <= len; ++k)
      s[k] = more() ? byte() : static_cast<unsigned char>('a' + k % 26);
  }

 private:
  const uint8_t* d_;
  size_t n_;
  size_t i_ = 0;
};

std::string workDir;

void setShort(unsigned char* s, std::string_view v) {
  s[0] = static_cast<unsigned char>(v.size());
  std::memcpy(s + 1, v.data(), v.size());
}

// File names the sequence can use: three files in the work folder, a folder,
// a missing file and an empty name.
void fileName(Input& in, unsigned char* s) {
  static const char* const kFiles[] = {"f0.zab", "f1.zab", "f2.zab", "", "missing/x.zab", "."};
  std::string name = workDir + "/" + kFiles[in.byte() % 6];
  if (name.back() == '/') name.clear();
  setShort(s, name);
}

struct Object {
  zabHandle_t h = nullptr;
  bool writing = false;  // a successful zabOpenWrite not yet closed
  int started = 0;       // symbols whose write start succeeded, aliases added
  int finished = 0;      // symbols whose write ended successfully, aliases added
  unsigned char file[256] = {};
  int readDim = -1;  // dimension of the symbol being read, -1: no read
  int readLeft = 0;  // records the read start announced, still to come
  bool readRaw = false;
  unsigned char reading[256] = {};  // the file open for reading
  bool rewritten = false;           // that file was rewritten in place since
};

// Z2V_FUZZ_C_API_NO_MISUSE set: no null pointers and no rewriting of a file
// in place under its reader (for runs that look past those two faults).
const bool kMisuse = std::getenv("Z2V_FUZZ_C_API_NO_MISUSE") == nullptr;

// The object's last error is cleared on reading it; it must be set after a
// failing call.
void expectError(Object& o, int result) {
  if (result == 0 && C__zabGetLastError(o.h) == 0) fail("a failing call left no error number");
}

void checkErrorText(zabHandle_t h, int err) {
  unsigned char msg[256];
  msg[0] = 0;
  D__zabErrorStr(h, err, msg);
  if (err != 0 && msg[0] == 0) fail("an error number without text");
}

// Z2V_FUZZ_TRACE set: every call's operation, object and result on stderr.
const bool kTrace = std::getenv("Z2V_FUZZ_TRACE") != nullptr;

void trace(int op, int obj, int result, int errors) {
  if (kTrace)
    std::fprintf(stderr, "op %d object %d: result %d, error count %d\n", op, obj, result, errors);
}

void openWritten(const Object& o) {
  zabHandle_t r = nullptr;
  XCreate(&r);
  if (!r) return;
  int err = 0;
  if (!D__zabOpenRead(r, o.file, &err)) {
    checkErrorText(r, err);
    fail("a file written and closed successfully does not open");
  }
  int syms = -1, uels = -1;
  C__zabSystemInfo(r, &syms, &uels);
  if (syms < o.finished || syms > o.started) fail("the file does not hold the symbols written");
  XFree(&r);
}

void readOne(Object& o) {
  if (o.readDim < 0) return;
  static unsigned char keys[256 * ZAB_MAXDIM];
  int raw[ZAB_MAXDIM];
  double v[ZAB_VALUES];
  int f = -7;
  int got = o.readRaw ? C__zabDataReadRaw(o.h, raw, v, &f) : D__zabDataReadStr(o.h, keys, v, &f);
  if (!got) {
    // a file rewritten in place under its reader may end the read early, with error 123
    if (o.readLeft != 0 && !(o.rewritten && C__zabGetLastError(o.h) == 123))
      fail("a read ended before the count its start announced");
    o.readDim = -1;
    return;
  }
  if (o.readLeft-- <= 0) fail("a read gave more records than its start announced");
  if (f < 1 || f > (o.readDim == 0 ? 1 : o.readDim)) fail("first changed position out of range");
  if (o.readRaw) {
    int syms = 0, uels = 0;
    C__zabSystemInfo(o.h, &syms, &uels);
    for (int k = 0; k < o.readDim; ++k)
      if (raw[k] < 1 || raw[k] > uels) fail("a raw key that is not a label number");
  }
}

void startRead(Object& o, Input& in, bool raw) {
  int nr = in.integer(), count = -1, dim = 0, type = 0;
  unsigned char name[256];
  int ok = raw ? C__zabDataReadRawStart(o.h, nr, &count) : C__zabDataReadStrStart(o.h, nr, &count);
  o.readDim = -1;
  if (!ok) return;
  if (!D__zabSymbolInfo(o.h, nr, name, &dim, &type))
    fail("a read started on a symbol without info");
  o.readDim = dim;
  o.readLeft = count;
  o.readRaw = raw;
}

// One entry point called with null pointers for some of its arguments (or a
// null object): no crash, and a failure on a live object leaves an error number.
void nullArguments(Object& o, Input& in) {
  unsigned char s[256] = {1, 'i'};
  static unsigned char keys[256 * ZAB_MAXDIM];
  int raw[ZAB_MAXDIM] = {};
  double v[ZAB_SPECIALS] = {};
  int n = 0, m = 0;
  zabHandle_t h = (in.byte() & 7) == 0 ? nullptr : o.h;
  int r = 1;
  bool lookup = false;  // a lookup that finds nothing answers 0 without an error
  switch (in.byte() % 24) {
    case 0:
      r = D__zabDataWriteStr(h, keys, nullptr);
      break;
    case 1:
      r = D__zabDataWriteStr(h, nullptr, v);
      break;
    case 2:
      r = C__zabDataWriteRaw(h, raw, nullptr);
      break;
    case 3:
      r = C__zabDataWriteRaw(h, nullptr, v);
      break;
    case 4:
      r = D__zabOpenRead(h, nullptr, &n);
      break;
    case 5:
      r = D__zabOpenRead(h, s, nullptr);
      break;
    case 6:
      r = D__zabOpenWrite(h, nullptr, s, &n);
      break;
    case 7:
      r = D__zabUELRegisterStr(h, nullptr, &n);
      break;
    case 8:
      r = D__zabUELRegisterStr(h, s, nullptr);
      break;
    case 9:
      r = D__zabAddSetText(h, nullptr, &n);
      break;
    case 10:
      r = C__zabSystemInfo(h, nullptr, nullptr);
      break;
    case 11:
      r = D__zabSymbolInfo(h, 1, nullptr, nullptr, nullptr);
      break;
    case 12:
      r = D__zabSymbolInfoX(h, 1, nullptr, nullptr, nullptr);
      break;
    case 13:
      r = C__zabGetSpecialValues(h, nullptr);
      break;
    case 14:
      r = C__zabSetSpecialValues(h, nullptr);
      break;
    case 15:
      r = D__zabDataReadStr(h, nullptr, nullptr, nullptr);
      break;
    case 16:
      r = C__zabDataReadRaw(h, nullptr, nullptr, nullptr);
      break;
    case 17:
      r = D__zabErrorStr(h, 101, nullptr);
      break;
    case 18:
      r = D__zabFindSymbol(h, nullptr, &n);
      break;
    case 19:
      r = D__zabUMFindUEL(h, nullptr, &n, &m);
      break;
    case 20:  // outputs may be null; a number without a label answers 0 without an error
      r = D__zabUMUelGet(h, 1, nullptr, nullptr);
      lookup = true;
      break;
    case 21:  // likewise for a number without an element text
      r = D__zabGetElemText(h, 1, nullptr, nullptr);
      lookup = true;
      break;
    case 22:
      r = D__zabDataWriteStrStart(h, nullptr, nullptr, 1, 1, 0);
      break;
    default:
      r = D__zabAddAlias(h, nullptr, s, nullptr);
      break;
  }
  if (h) {
    o.readDim = -1;  // a read may have been ended by the call
    if (!lookup) expectError(o, r);
  }
}

void step(Object* objs, Input& in) {
  uint8_t op = in.byte();
  Object& o = objs[op & 1];
  op >>= 1;
  unsigned char s1[256], s2[256], s3[256], msg[256];
  static unsigned char keys[256 * ZAB_MAXDIM];
  int a = 0, b = 0, c = 0, r = -1;
  double v[ZAB_SPECIALS];
  if (!o.h && op != 0) {
    XCreate(&o.h);
    if (!o.h) fail("XCreate failed");
  }
  switch (op % 34) {
    case 0:  // free (closing whatever is open) and create again
      if (o.h) XFree(&o.h);
      o = Object();
      if (in.byte() & 1) {
        fileName(in, s1);
        D__XCreateD(&o.h, s1);
      } else {
        XCreate(&o.h);
      }
      break;
    case 1: {
      fileName(in, s1);
      r = D__zabOpenRead(o.h, s1, &a);
      if (!r) checkErrorText(o.h, a);
      if (r && a != 0) fail("a successful open with an error number");
      o.readDim = -1;
      if (r) std::memcpy(o.reading, s1, 256);
      o.rewritten = false;
      break;
    }
    case 2:
      fileName(in, s1);
      in.shortString(s2);
      r = D__zabOpenWrite(o.h, s1, s2, &a);
      if (r) {
        o.writing = true;
        o.started = o.finished = 0;
        std::memcpy(o.file, s1, 256);
      } else {
        checkErrorText(o.h, a);
        if (a == 0) fail("a failing open for writing without an error number");
      }
      break;
    case 3: {
      bool wasWriting = o.writing;
      r = C__zabClose(o.h);
      o.writing = false;
      o.readDim = -1;
      if (r && wasWriting) openWritten(o);
      break;
    }
    case 4:
      C__zabSystemInfo(o.h, &a, &b);
      break;
    case 5:
      a = in.integer();
      D__zabSymbolInfo(o.h, a, s1, &b, &c);
      D__zabSymbolInfoX(o.h, a, &b, &c, s2);
      break;
    case 6:
      in.shortString(s1);
      D__zabFindSymbol(o.h, s1, &a);
      break;
    case 7:
    case 8:
      startRead(o, in, op % 34 == 8);
      for (int n = in.byte() % 8; n > 0; --n) readOne(o);
      break;
    case 9:
      C__zabDataReadDone(o.h);
      o.readDim = -1;
      break;
    case 10:
      D__zabGetElemText(o.h, in.integer(), s1, &a);
      break;
    case 11:
      D__zabUMUelGet(o.h, in.integer(), s1, &a);
      break;
    case 12:
      in.shortString(s1);
      D__zabUMFindUEL(o.h, s1, &a, &b);
      break;
    case 13: {  // special values set, then got back
      for (double& x : v) x = in.value();
      if (C__zabSetSpecialValues(o.h, v)) {
        double back[ZAB_SPECIALS];
        C__zabGetSpecialValues(o.h, back);
        for (int k = 0; k < 5; ++k)
          if (std::memcmp(&back[k], &v[k], sizeof(double)) != 0 && !(back[k] == v[k]))
            fail("special values set differ from those got back");
      }
      break;
    }
    case 14:
      C__zabResetSpecialValues(o.h);
      C__zabGetSpecialValues(o.h, v);
      break;
    case 15:
      expectError(o, r = C__zabUELRegisterStrStart(o.h));
      break;
    case 16:
      in.shortString(s1);
      expectError(o, r = D__zabUELRegisterStr(o.h, s1, &a));
      break;
    case 17:
      expectError(o, r = C__zabUELRegisterDone(o.h));
      break;
    case 18:
      in.shortString(s1);
      expectError(o, r = D__zabAddSetText(o.h, s1, &a));
      break;
    case 19:
    case 20: {
      in.shortString(s1);
      in.shortString(s2);
      a = in.byte() % 24 - 1;  // dimension -1..22
      b = in.integer() % 8;    // type, mostly 0..5
      c = in.integer();
      r = op % 34 == 19 ? D__zabDataWriteStrStart(o.h, s1, s2, a, b, c)
                        : D__zabDataWriteRawStart(o.h, s1, s2, a, b, c);
      if (r) ++o.started;
      expectError(o, r);
      break;
    }
    case 21: {
      int n = in.byte() % 4 + 1;
      for (int k = 0; k < n; ++k) {
        for (int d = 0; d < ZAB_MAXDIM; ++d) in.shortString(keys + 256 * d);
        for (int d = 0; d < ZAB_VALUES; ++d) v[d] = in.value();
        expectError(o, r = D__zabDataWriteStr(o.h, keys, v));
      }
      break;
    }
    case 22: {
      int raw[ZAB_MAXDIM];
      int n = in.byte() % 4 + 1;
      for (int k = 0; k < n; ++k) {
        for (int d = 0; d < ZAB_MAXDIM; ++d) raw[d] = in.integer();
        for (int d = 0; d < ZAB_VALUES; ++d) v[d] = in.value();
        expectError(o, r = C__zabDataWriteRaw(o.h, raw, v));
      }
      break;
    }
    case 23:
      expectError(o, r = C__zabDataWriteDone(o.h));
      if (r) ++o.finished;
      break;
    case 24:
      in.shortString(s1);
      in.shortString(s2);
      in.shortString(s3);
      r = D__zabAddAlias(o.h, s1, s2, s3);
      if (r) ++o.started, ++o.finished;
      expectError(o, r);
      break;
    case 25:
      checkErrorText(o.h, in.integer());
      break;
    case 26:
      a = C__zabGetLastError(o.h);
      checkErrorText(o.h, a);
      C__zabErrorCount(o.h);
      break;
    case 27: {
      int types[8];
      in.shortString(s1);
      a = in.byte() % 9;
      for (int& t : types) t = in.integer();
      D__XCheck(s1, a, types, msg);
      break;
    }
    case 28:
      D__XAPIVersion(in.integer(), msg, &a);
      break;
    case 29:
      in.shortString(s1);
      zabSetLoadPath(s1);
      zabGetLoadPath(s2);
      break;
    case 30:
      readOne(o);
      break;
    case 32:  // null pointers
      if (kMisuse) nullArguments(o, in);
      break;
    case 33:  // bytes of the file being read rewritten in place, the size kept
      if (kMisuse && o.reading[0] > 0) {
        std::string path(reinterpret_cast<char*>(o.reading) + 1, o.reading[0]);
        int fd = open(path.c_str(), O_RDWR);
        if (fd >= 0) {
          uint8_t bytes[8];
          for (uint8_t& x : bytes) x = in.byte();
          int n = in.byte() % 8 + 1;
          if (pwrite(fd, bytes, static_cast<size_t>(n), 88 + (in.integer() & 0x3ff)) > 0)
            o.rewritten = true;
          close(fd);
        }
        for (int k = in.byte() % 16; k > 0; --k) readOne(o);
      }
      break;
    case 31:  // damage a byte of a file on disk that no object has open
      if (objs[0].h) C__zabClose(objs[0].h);
      if (objs[1].h) C__zabClose(objs[1].h);
      objs[0].writing = objs[1].writing = false;
      objs[0].readDim = objs[1].readDim = -1;
      fileName(in, s1);
      if (s1[0] > 0) {
        std::string path(reinterpret_cast<char*>(s1) + 1, s1[0]);
        int fd = open(path.c_str(), O_RDWR);
        if (fd >= 0) {
          unsigned char x = in.byte();
          if (pwrite(fd, &x, 1, in.integer() & 0xfff) < 0) x = 0;
          close(fd);
        }
      }
      break;
  }
  if (kTrace) trace(op % 34, static_cast<int>(&o - objs), r, o.h ? C__zabErrorCount(o.h) : 0);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  workDir = fuzzdir::make("z2v_capi_");
  C__zabInitialize();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  Object objs[2];
  for (int n = 0; in.more() && n < 400; ++n) step(objs, in);
  for (Object& o : objs)
    if (o.h) XFree(&o.h);
  for (const char* f : {"/f0.zab", "/f1.zab", "/f2.zab"}) unlink((workDir + f).c_str());
  return 0;
}
