#include "core/number_text.h"
