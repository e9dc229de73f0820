#include "core/file_names.h"

namespace core {

namespace {

// Position of the extension's dot: the last "." after the last "/", or npos.
size_t extDot(std::string_view name) {
  size_t p = name.find_last_of("/.");
  if (p == std::string_view::npos || name[p] != '.') return std::string_view::npos;
  return p;
}

}  // namespace

rt::ShortStr extractFileExtEx(std::string_view name) {
  size_t dot = extDot(name);
  if (dot == std::string_view::npos) return {};
  return rt::ShortStr(name.substr(dot));
}

rt::ShortStr extractFileNameEx(std::string_view name) {
  size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) return rt::ShortStr(name);
  return rt::ShortStr(name.substr(slash + 1));
}

rt::ShortStr extractFilePathEx(std::string_view name) {
  size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) return {};
  return rt::ShortStr(name.substr(0, slash + 1));
}

rt::ShortStr changeFileExtEx(std::string_view name, std::string_view ext) {
  size_t dot = extDot(name);
  rt::ShortStr r(dot == std::string_view::npos ? name : name.substr(0, dot));
  r.append(ext);
  return r;
}

rt::ShortStr completeFileExtEx(std::string_view name, std::string_view ext) {
  if (extDot(name) != std::string_view::npos) return rt::ShortStr(name);
  rt::ShortStr r(name);
  r.append(ext);
  return r;
}

}  // namespace core
