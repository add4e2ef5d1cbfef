// Hands libFuzzer's inputs to the one target of the program.
#include <cstddef>

#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tarn::fuzz::Target::first()->run({data, size});
    return 0;
}
