#include "core/text_case.h"
