#include "FuzzInput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace ZelFuzz {

namespace {

std::string path;

void removeInput() {
    std::remove(path.c_str());
}

// Once per process: pick the input's path (in memory where the system offers it) and silence the
// library's messages, which would otherwise drown the fuzzer's.
void setUp() {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::getenv("TMPDIR");
    path = std::string(dir != nullptr ? dir : "/tmp") + "/zelfuzz-" + std::to_string(getpid()) +
           ".zel";
    std::atexit(removeInput);
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) {
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    std::cerr.rdbuf(nullptr);
}

}  // namespace

const char* inputFile(const uint8_t* data, size_t size) {
    if (path.empty()) {
        setUp();
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) {
        std::perror(path.c_str());
        std::abort();
    }
    return path.c_str();
}

std::vector<float> probeTimes(float first, float last) {
    const float mid = first + 0.5f * (last - first);
    return {first - 1.0f, first, first + 0.5f, mid, last - 0.25f, last, last + 1.0f, std::nanf("")};
}

}  // namespace ZelFuzz
