// Fuzz target: the summary and the text dump of zelinfo and zel2txt (their output discarded).
#include <cstdint>

#include "FuzzInput.h"
#include "zelUtils.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* path = ZelFuzz::inputFile(data, size);
    zelinfo(path);
    zel2txt(path);
    return 0;
}
