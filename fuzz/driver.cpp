/*
 * Runs a target without a fuzzing engine: the files and folders of the command line, each once and
 * named before it runs, and with --random SECONDS [--seed N] simple mutations of them after that.
 * The mutation that is running when the program dies stands in the file crash-<target>.
 */
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "Input.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t largestInput = 4096;

struct Options {
    std::vector<fs::path> paths;
    unsigned seconds = 0;
    unsigned seed = 1;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool hasValue = i + 1 < argc;
        if (word == "--random" && hasValue) {
            options.seconds = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        } else if (word == "--seed" && hasValue) {
            options.seed = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        } else {
            options.paths.emplace_back(word);
        }
    }
    return options;
}

Bytes load(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    quarlo::fuzz::require(file.good(), "a file cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<fs::path> gather(const std::vector<fs::path>& paths) {
    std::vector<fs::path> files;
    for (const fs::path& path : paths) {
        if (!fs::is_directory(path)) {
            files.push_back(path);
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/** The input is on the heap at its exact size, as under a fuzzing engine. */
void run(const Bytes& input) {
    const quarlo::fuzz::Exact exact(input);
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

class Mutator {
  public:
    explicit Mutator(unsigned seed) : random(seed) {}

    Bytes operator()(const std::vector<Bytes>& corpus) {
        Bytes input = corpus[below(corpus.size())];
        for (std::size_t changes = 1 + below(6); changes > 0; --changes) {
            change(input, corpus[below(corpus.size())]);
        }
        if (input.size() > largestInput) input.resize(largestInput);
        return input;
    }

  private:
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random() % limit; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(random()); }

    void change(Bytes& input, const Bytes& other) {
        const std::size_t at = below(input.size());
        const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t some = below(std::min<std::size_t>(input.size() - at, 32));
        static constexpr std::uint8_t edges[] = {0, 1, 2, 4, 127, 128, 254, 255};
        switch (below(6)) {
            case 0:
                if (!input.empty()) *place = byte();
                break;
            case 1:
                if (!input.empty()) *place = edges[below(std::size(edges))];
                break;
            case 2:
                if (!input.empty()) *place ^= static_cast<std::uint8_t>(1U << below(8));
                break;
            case 3:
                input.erase(place, place + static_cast<std::ptrdiff_t>(some));
                break;
            case 4:
                input.insert(place, 1 + below(8), byte());
                break;
            default:
                splice(input, at, other);
        }
    }
    void splice(Bytes& input, std::size_t at, const Bytes& other) {
        const std::size_t from = below(other.size());
        const std::size_t size = below(other.size() - from + 1);
        const auto start = other.begin() + static_cast<std::ptrdiff_t>(from);
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(at), start,
                     start + static_cast<std::ptrdiff_t>(size));
    }
    std::mt19937 random;
};

unsigned long runMutations(const Options& options, const std::vector<Bytes>& corpus,
                           const std::string& reproducer) {
    Mutator mutate(options.seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.seconds);
    unsigned long executions = 0;
    for (; std::chrono::steady_clock::now() < end; ++executions) {
        const Bytes input = mutate(corpus);
        std::ofstream(reproducer, std::ios::binary)
            .write(reinterpret_cast<const char*>(input.data()),
                   static_cast<std::streamsize>(input.size()));
        run(input);
    }
    fs::remove(reproducer);
    return executions;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    const std::vector<fs::path> files = gather(options.paths);
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s [--random SECONDS [--seed N]] FILE-OR-FOLDER...\n",
                     argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    std::vector<Bytes> corpus;
    for (const fs::path& file : files) {
        std::fprintf(stderr, "%s\n", file.c_str());
        run(corpus.emplace_back(load(file)));
    }
    unsigned long mutations = 0;
    if (options.seconds > 0) {
        const std::string name = fs::path(argv[0]).filename().string();
        mutations = runMutations(options, corpus, "crash-" + name);
    }
    std::fprintf(stderr, "%zu files, %lu mutations, no findings\n", corpus.size(), mutations);
    return 0;
}
