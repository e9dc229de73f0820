#include "core/sys_error.h"
