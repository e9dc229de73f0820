// Finding, loading and unloading the ZAB library; creating and freeing objects.
#include <dlfcn.h>

#include <cstring>

#include "runtime/console.h"
#include "runtime/short_string.h"
#include "zab/binding_state.h"
#include "zab/zab_api.h"

namespace zab {

namespace detail {

BindingState& state() {
  static BindingState s;
  return s;
}

void* lookupSymbol(void* lib, std::string_view name) {
  char lower[256], upper[256], asIs[256];
  size_t n = name.size() < 255 ? name.size() : 255;
  for (size_t i = 0; i < n; i++) {
    char c = name[i];
    asIs[i] = c;
    lower[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
    upper[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
  }
  lower[n] = upper[n] = asIs[n] = '\0';
  for (const char* candidate : {lower, asIs, upper}) {
    dlerror();
    void* p = dlsym(lib, candidate);
    if (dlerror() == nullptr) return p;
  }
  return nullptr;
}

namespace {

#if defined(__APPLE__)
constexpr std::string_view kLibExtension = ".dylib";
#else
constexpr std::string_view kLibExtension = ".so";
#endif

// Binds one administrative entry without asking XCheck; null when missing.
template <typename F>
bool bindFixed(F& slot, const char* name) {
  slot = reinterpret_cast<F>(lookupSymbol(state().libHandle, name));
  return slot != nullptr;
}

// The loader: opens dir/libName (bare name when dir is empty), binds the
// mandatory entries, checks the API version and binds the table. Called
// with libMutex held.
bool loadLibrary(std::string_view dir, std::string_view libName, rt::ShortStr& msg) {
  BindingState& s = state();
  rt::ShortStr fileName = libName.empty() ? libraryFileName() : rt::ShortStr(libName);
  rt::ShortStr path;
  if (!dir.empty()) {
    std::string_view trimmed = dir;
    while (!trimmed.empty() && trimmed.back() == '/') trimmed.remove_suffix(1);
    path = rt::ShortStr(trimmed) + "/";
  }
  path += fileName;
  s.libFileName = path;
  msg.clear();
  if (s.libHandle) {
    if (api.zabSetLoadPath) api.zabSetLoadPath(rt::ShortStr(dir).asBuffer());
    return true;
  }

  char cpath[256];
  std::memcpy(cpath, path.data(), path.length());
  cpath[path.length()] = '\0';
  s.libHandle = dlopen(cpath, RTLD_NOW | RTLD_GLOBAL);
  if (!s.libHandle) {
    const char* why = dlerror();
    msg = rt::ShortStr(why ? why : "No message available") +
          " (problem occurred when trying to load " + path + ")";
    return false;
  }

  // From here on the handle stays, even when the library is refused below.
  s.checkMode = -1;
  bindFixed(api.zabSetLoadPath, "zabSetLoadPath");
  bindFixed(api.zabGetLoadPath, "zabGetLoadPath");
  bool mandatory = true;
  const auto need = [&](auto& slot, const char* name) {
    if (mandatory && !bindFixed(slot, name)) {
      msg = rt::ShortStr("Entry not found: ") + name + " in " + s.libFileName;
      mandatory = false;
    }
  };
  need(api.XCreate, "XCreate");
  need(api.XCreateD, "D__XCreateD");
  need(api.XFree, "XFree");
  need(api.XCheck, "D__XCheck");
  need(api.XAPIVersion, "D__XAPIVersion");

  bool accepted = mandatory;
  if (accepted) {
    bindFixed(api.zabInitialize, "C__zabInitialize");
    bindFixed(api.zabFinalize, "C__zabFinalize");
    if (api.zabInitialize) api.zabInitialize();
    int checkMode = -1;
    accepted = api.XAPIVersion(kApiVersion, msg.asBuffer(), &checkMode) != 0;
    s.checkMode = checkMode;
  }
  if (!accepted) {
    if (api.zabSetLoadPath) api.zabSetLoadPath(rt::ShortStr().asBuffer());
    return false;
  }
  bindApiEntries(msg);
  return true;
}

}  // namespace
}  // namespace detail

rt::ShortStr libraryFileName(std::string_view base) {
  return rt::ShortStr("lib") + base + "64" + detail::kLibExtension;
}

void setExecutableDirectory(const char* argv0) {
  std::string_view a(argv0 ? argv0 : "");
  size_t slash = a.rfind('/');
  detail::state().exeDir =
      slash == std::string_view::npos ? std::string_view() : a.substr(0, slash);
  // "/prog" lives in the root directory; keep it as "/" rather than empty.
  if (slash == 0) detail::state().exeDir = "/";
}

bool zabGetReadyX(rt::ShortStr& msg) {
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.libMutex);
  if (s.libHandle) {
    msg.clear();
    return true;
  }
  bool ok = detail::loadLibrary(s.exeDir.view(), {}, msg);
  if (!s.libHandle) ok = detail::loadLibrary({}, {}, msg);
  return ok;
}

bool zabCreateX(Handle& pgx, rt::ShortStr& msg) {
  if (!zabGetReadyX(msg)) {
    pgx = nullptr;
    if (msg.empty()) msg = "Unknown error";
    return false;
  }
  pgx = nullptr;
  // A library that was refused but stays loaded may lack XCreate.
  if (api.XCreate) api.XCreate(&pgx);
  if (!pgx) {
    msg = "Library is loaded but error while creating object";
    return false;
  }
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.objMutex);
  s.objectCount++;
  return true;
}

void zabFree(Handle& pgx) {
  if (!api.XFree) return;
  api.XFree(&pgx);
  pgx = nullptr;
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.objMutex);
  s.objectCount--;
}

bool zabLibraryLoaded() {
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.libMutex);
  return s.libHandle != nullptr;
}

void zabLibraryUnload() {
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.libMutex);
  if (!s.libHandle) return;
  std::lock_guard<std::mutex> objLock(s.objMutex);
  if (s.objectCount != 0) {
    rt::outLn("Could not unload library, object not freed.");
    return;
  }
  if (api.zabFinalize) api.zabFinalize();
  dlclose(s.libHandle);
  s.libHandle = nullptr;
  detail::clearTable();
}

void zabCloseDown() {}

rt::ShortStr zabLibraryPath() {
  detail::BindingState& s = detail::state();
  std::lock_guard<std::mutex> lock(s.libMutex);
  return s.libFileName;
}

}  // namespace zab
