/*
 * Runs a target without a fuzzing engine: the files and folders of the command line, each once and
 * named before it runs.
 */
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Input.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> gather(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            files.emplace_back(argv[i]);
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/** The input is on the heap at its exact size, as under a fuzzing engine. */
void run(const fs::path& path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    quarlo::fuzz::require(file.good(), "a file cannot be read");
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    const quarlo::fuzz::Exact exact(bytes);
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> files = gather(argc, argv);
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s FILE-OR-FOLDER...\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    for (const fs::path& file : files) run(file);
    std::fprintf(stderr, "%zu files, no findings\n", files.size());
    return 0;
}
