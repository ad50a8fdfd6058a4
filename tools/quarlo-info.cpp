// quarlo-info: opens every plug-in as the library does, by bare file name, and lists what was
// looked for, where it was found, its version and what it decodes, or why it is not used. One
// thread.
#include <dlfcn.h>
#include <link.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "QUARLO-LibScale.h"
#include "common/CommandLine.h"

namespace {

constexpr unsigned decompressors = 32;

enum class State { Usable, Absent, Unusable, NotNeeded };

struct Finding {
    std::string file;
    State state;
    std::string version;
    std::string purpose;
    std::string text; /**< the path of a usable plug-in, the reason of another one */
};

const char* nameOf(State state) {
    switch (state) {
        case State::Usable:
            return "usable";
        case State::Absent:
            return "absent";
        case State::Unusable:
            return "UNUSABLE";
        case State::NotNeeded:
            return "not needed";
    }
    return "";
}

std::string compressionName(FrameCompression compression) {
    switch (compression) {
        case eFRAMECOMPRESSION_JPEG:
            return "JPEG";
        case eFRAMECOMPRESSION_ZLIB:
            return "ZLIB";
        case eFRAMECOMPRESSION_Uncompressed:
            return "uncompressed";
        default:
            break;
    }
    char text[32];
    std::snprintf(text, sizeof text, "compression 0x%X", compression);
    return text;
}

/** A library opened by bare file name, closed at the end of its scope. */
class Library {
  public:
    explicit Library(const std::string& file) : handle(dlopen(file.c_str(), RTLD_LAZY)) {
        if (handle == nullptr) loaderError = dlerror();
    }
    ~Library() {
        if (handle != nullptr) dlclose(handle);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    explicit operator bool() const { return handle != nullptr; }
    const std::string& error() const { return loaderError; }

    std::string path() const {
        const link_map* map = nullptr;
        return dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "(unknown path)";
    }

    template <class Function>
    Function function(const char* name) const {
        return reinterpret_cast<Function>(dlsym(handle, name));
    }

  private:
    void* handle;
    std::string loaderError;
};

/** Empty when the plug-in's initialise function is there and succeeds. */
template <class Function, class Parameter>
std::string initialise(const Library& library, const char* name, Parameter& parameter) {
    const auto function = library.function<Function>(name);
    if (function == nullptr) return std::string("exports no ") + name;
    parameter.mallocFunction = &std::malloc;
    parameter.freeFunction = &std::free;
    const Int32 result = function(&parameter);
    return result == 0 ? "" : std::string(name) + " refuses with " + std::to_string(result);
}

template <class Parameter>
std::string versionOf(const Parameter& parameter) {
    return std::to_string(parameter.versionMajor) + '.' + std::to_string(parameter.versionMinor) +
           '.' + std::to_string(parameter.versionBuild);
}

/** What stands where a library could not be opened. */
Finding notOpened(const std::string& file, const std::string& error) {
    const bool absent =
        error.rfind(file + ": cannot open shared object file: No such file", 0) == 0;
    return {file, absent ? State::Absent : State::Unusable, "-", "-", error};
}

Finding conclude(Finding finding, const Library& library, const std::string& fault) {
    finding.state = fault.empty() ? State::Usable : State::Unusable;
    finding.text = library.path() + (fault.empty() ? "" : ": " + fault);
    return finding;
}

Finding inspectDecompressor(unsigned number) {
    char file[32];
    std::snprintf(file, sizeof file, "libQUARLO-Decomp%2.2u.so", number);
    const FrameCompression bit = FrameCompression{1} << number;
    if (bit == eFRAMECOMPRESSION_Uncompressed) {
        return {file, State::NotNeeded, "-", compressionName(bit), "never looked for"};
    }
    const Library library(file);
    if (!library) return notOpened(file, library.error());
    decompressInitParameter parameter{};
    std::string fault = initialise<decompressInitialiseFunction>(
        library, "quarloCompression_initialise", parameter);
    if (fault.empty() && parameter.compression != bit) {
        fault = "decodes " + compressionName(parameter.compression) + ", its number stands for " +
                compressionName(bit);
    }
    constexpr const char* entry = "quarloCompression_decompress";
    if (fault.empty() && library.function<decompressionFunction>(entry) == nullptr) {
        fault = std::string("exports no ") + entry;
    }
    return conclude({file, State::Usable, versionOf(parameter), compressionName(bit), {}}, library,
                    fault);
}

Finding inspectScaler() {
    const std::string file = "libQUARLO-Scale00.so";
    const Library library(file);
    if (!library) return notOpened(file, library.error());
    scaleInitParameter parameter{};
    std::string fault =
        initialise<scaleInitialiseFunction>(library, "quarloScale_initialise", parameter);
    constexpr const char* entry = "quarloScale_scale";
    if (fault.empty() && library.function<scaleFunction>(entry) == nullptr) {
        fault = std::string("exports no ") + entry;
    }
    return conclude({file, State::Usable, versionOf(parameter), "scaling", {}}, library, fault);
}

/** The folders in which the loader looks for this program's plug-ins, in their order. */
std::vector<std::string> searchPath() {
    std::vector<std::string> folders;
    void* program = dlopen(nullptr, RTLD_LAZY);
    Dl_serinfo size{};
    if (program == nullptr || dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0) return folders;
    // The structure ends in as many entries and texts as its size says.
    std::vector<std::max_align_t> memory(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* info = reinterpret_cast<Dl_serinfo*>(memory.data());
    *info = size;
    if (dlinfo(program, RTLD_DI_SERINFOSIZE, info) == 0 &&
        dlinfo(program, RTLD_DI_SERINFO, info) == 0) {
        const Dl_serpath* paths = info->dls_serpath;
        for (unsigned i = 0; i < info->dls_cnt; ++i) {
            folders.push_back(std::filesystem::path(paths[i].dls_name).lexically_normal());
        }
    }
    dlclose(program);
    return folders;
}

void print(const Finding& finding) {
    std::printf("%-22s %-10s %-9s %-12s %s\n", finding.file.c_str(), nameOf(finding.state),
                finding.version.c_str(), finding.purpose.c_str(), finding.text.c_str());
}

int list(bool foundOnly) {
    std::printf("Plug-ins are looked for in");
    for (const std::string& folder : searchPath()) std::printf("\n    %s", folder.c_str());
    std::printf("\n    and the folders of the loader's cache\n\n");
    std::vector<Finding> findings;
    for (unsigned i = 0; i < decompressors; ++i) findings.push_back(inspectDecompressor(i));
    findings.push_back(inspectScaler());
    int status = 0;
    for (size_t i = 0; i < findings.size(); ++i) {
        const Finding& finding = findings[i];
        const bool firstParty = i < 2 || i == decompressors;
        if (finding.state == State::Unusable) status = 1;
        if (finding.state == State::Absent && firstParty) status = 1;
        if (finding.state != State::Absent || firstParty || !foundOnly) print(finding);
    }
    return status;
}

int run(int argc, char** argv) {
    quarlo::CommandLine app{
        "Lists the plug-ins that decode and enlarge pictures: what is looked for, where it is "
        "found, its version and purpose, or why it is not used.",
        "quarlo-info"};
    bool foundOnly = false;
    app.add_flag("--found", foundOnly,
                 "Leave out the numbers that have no plug-in, but 00, 01 and scaling");
    app.footer(
        "Exit status: 0 when JPEG, zlib and scaling are usable and nothing else is unusable,\n"
        "1 when one of them is missing or any plug-in that was found cannot be used,\n"
        "2 when the arguments are wrong.");
    if (const auto status = app.read(argc, argv)) return *status;
    return list(foundOnly);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quarlo-info: %s\n", error.what());
        return 1;
    }
}
