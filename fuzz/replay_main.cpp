// Runs a fuzz target over the files of its corpus; the arguments are files and folders.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/require.h"

namespace {

namespace fs = std::filesystem;

bool replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return false;
    }
    // Of exactly the input's size, so that a sanitizer sees a read behind its end.
    const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        if (fs::is_directory(argv[i])) {
            for (const auto& entry : fs::recursive_directory_iterator(argv[i]))
                if (entry.is_regular_file() && replay(entry.path())) ++replayed;
        } else if (replay(argv[i])) {
            ++replayed;
        }
    }
    std::printf("%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
