// Runs a fuzz target over files in a build without a fuzzer: fuzz_TARGET FILE|FOLDER... Each file
// is also cut to its halves, quarters and so on, so that every run contains incomplete input.

#include "fuzz/require.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

namespace fs = std::filesystem;

void runFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    fuzz::require(file.good() || file.eof(), path.string() + " can be read");
    std::fprintf(stderr, "%s: %zu bytes\n", path.c_str(), content.size());
    for (std::size_t length = content.size();; length /= 2) {
        // A copy of exactly that length, so that a sanitizer detects a read after its end.
        const std::vector<std::uint8_t> bytes(
            content.begin(), content.begin() + static_cast<std::ptrdiff_t>(length));
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        if (length == 0) {
            break;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            runFile(argv[i]);
            ++files;
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
            runFile(entry.path());
            ++files;
        }
    }
    std::fprintf(stderr, "%d files\n", files);
    return files > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
