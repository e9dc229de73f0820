// The operating system's text for an error number (strerror), cut at 255
// bytes; "Unknown error " + number when the system has none.
#pragma once

#include "runtime/short_string.h"

namespace core {

rt::ShortStr sysErrorMessage(int errnum);

}  // namespace core
