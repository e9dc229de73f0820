#include "veda/report.h"

#include "core/sys_error.h"
#include "runtime/console.h"
#include "runtime/short_string.h"
#include "vdd/vdd_reader.h"

namespace veda {

void report(std::string_view message) { vdd::reportError(rt::ShortStr(message)); }

void reportFileError(std::string_view what, std::string_view name, int errnum) {
  report(rt::ShortStr(what) + name);
  report(rt::ShortStr("Msg: ") + core::sysErrorMessage(errnum));
}

void failFile(std::string_view what, std::string_view name, int errnum) {
  reportFileError(what, name, errnum);
  rt::halt(1);
}

void fail(std::string_view message, int exitCode) {
  report(message);
  rt::halt(exitCode);
}

}  // namespace veda
