#include "core/file_names.h"
