// An empty function with the signature of ConfLogPrintf, in a shared object of its own: the cheapest call that a record
// above the level can be compared with.
#include "log_empty.h"

void benchEmptyRecord(int, const char*, const char*, uint32_t, const char*, ...) {}
