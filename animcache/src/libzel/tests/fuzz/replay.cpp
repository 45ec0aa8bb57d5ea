// Feeds files to a fuzz target's entry point without libFuzzer: each argument is a file or a
// directory of files. The regression tests run every committed input through each target this
// way, in the normal and the sanitizer builds; a crash or a sanitizer report fails the test.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
                // Dot files keep empty directories in the repository; they are not inputs.
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') {
                    inputs.push_back(entry.path());
                }
            }
        } else {
            inputs.emplace_back(argv[i]);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto& input : inputs) {
        std::ifstream in(input, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
        if (!in.good() && !in.eof()) {
            std::fprintf(stderr, "cannot read %s\n", input.c_str());
            return 1;
        }
        std::fprintf(stderr, "%s\n", input.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
    return 0;
}
