// Replays fuzzer inputs without libFuzzer: every file named on the command line, or found in a
// directory named there, goes once through LLVMFuzzerTestOneInput. The suite runs the seed
// corpora this way as regression cases; a crash or a broken invariant fails the run.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        if (fs::is_directory(arg)) {
            for (const auto& entry : fs::directory_iterator(arg)) {
                if (entry.is_regular_file())
                    files.push_back(entry.path());
            }
        } else {
            files.push_back(arg);
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        fprintf(stderr, "no inputs given\n");
        return 2;
    }
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            fprintf(stderr, "cannot read %s\n", file.c_str());
            return 2;
        }
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                      std::istreambuf_iterator<char>()};
        printf("replay %s (%zu bytes)\n", file.c_str(), bytes.size());
        fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    printf("%zu inputs replayed\n", files.size());
    return 0;
}
