// zabtool's JSON reader, checked by dump-then-build equality: the fuzzed
// text is built into a ZAB file; when that succeeds, the file is dumped to
// JSON, the dump is built again and dumped again, and the two dumps must be
// the same text. A dump of a file built from JSON must succeed, and so must
// building that dump. A refused text must come with a message.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "work_dir.h"
#include "zablib/zab_error.h"
#include "zablib/zab_reader.h"
#include "zabtool/json_build.h"
#include "zabtool/json_dump.h"

namespace {

std::string zabPath;

[[noreturn]] void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_zabtool_json: %s\n%s\n", what, detail.c_str());
  std::abort();
}

// The JSON dump of the file at zabPath; false when it cannot be made.
bool dump(std::string& text, std::string& error) {
  zablib::ZabReader r;
  zablib::ZabError e;
  if (!r.open(zabPath, e)) {
    error = "open: " + e.text;
    return false;
  }
  char* buf = nullptr;
  size_t len = 0;
  FILE* out = open_memstream(&buf, &len);
  if (!out) std::abort();
  bool ok = zabtool::dumpJson(r, out, error);
  std::fclose(out);
  text.assign(buf, len);
  std::free(buf);
  return ok;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zabPath = fuzzdir::make("z2v_json_") + "/built.zab";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string json(reinterpret_cast<const char*>(data), size), error;
  if (!zabtool::buildFromJsonText(json, zabPath, error)) {
    if (error.empty()) fail("a refused document without a message", json);
    return 0;
  }
  std::string first, second;
  if (!dump(first, error)) fail("the dump of a file built from JSON fails", error + "\n" + json);
  error.clear();
  if (!zabtool::buildFromJsonText(first, zabPath, error))
    fail("building a dump fails", error + "\n" + first);
  if (!dump(second, error)) fail("the dump of a rebuilt dump fails", error);
  if (first != second) fail("dump, build, dump differs", first + "\n---\n" + second);
  unlink(zabPath.c_str());
  return 0;
}
