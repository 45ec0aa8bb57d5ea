// What every fuzz target shares: the input as a file the library can open, quiet output streams,
// and the limits that keep one input's work bounded.
#ifndef ZEL_FUZZ_INPUT_H
#define ZEL_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ZelFuzz {

// Writes `size` bytes to this process's input file and returns its path. The first call also
// sends the library's standard output and error chatter to nowhere (the fuzzer's own reports and
// the sanitizers' keep the error stream's descriptor).
const char* inputFile(const uint8_t* data, size_t size);

// Times to ask a cache about: before, on, between and after its samples, and NaN.
std::vector<float> probeTimes(float first, float last);

// At most this many (sample, object) reads per input, and this many objects and attributes asked
// about, so that a small file naming huge counts cannot make one input run for long.
inline constexpr long kMaxReads = 1L << 15;
inline constexpr int kMaxObjects = 32;
inline constexpr int kMaxAttributes = 8;

}  // namespace ZelFuzz

#endif
