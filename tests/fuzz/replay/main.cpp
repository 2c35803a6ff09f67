// main.cpp - runs a fuzz target over stored inputs: the files of the folders named as its arguments.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    unsigned replayed = 0;
    for (int i = 1; i < argc; ++i)
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
            bytes.shrink_to_fit(); // one byte read past the input is one too many
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++replayed;
        }
    printf("%u inputs replayed\n", replayed);
    return replayed == 0;
}
