#include "core/grow_array.h"
