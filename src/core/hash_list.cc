#include "core/hash_list.h"
