// Runs a fuzz target over the files of its corpus; the arguments are files and folders.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "fuzz/require.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path.string() + ": cannot be read");
    // Of exactly the input's size, so that a sanitizer sees a read past its end.
    const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i]))
            inputs.emplace_back(argv[i]);
        else
            for (const auto& entry : fs::directory_iterator(argv[i])) inputs.push_back(entry.path());
    }
    for (const fs::path& input : inputs) replay(input);
    std::printf("%zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
