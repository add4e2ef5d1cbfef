// See log_empty.cpp.
#pragma once

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN
void benchEmptyRecord(int level, const char* funcName, const char* fileName, uint32_t line, const char* format, ...);
TARN_EXTERN_C_END
