/* The linker leads the library's platform functions here (--wrap); see the header. */
#include "Platform.h"

#include <string>
#include <utility>

#include "Input.h"
#include "QUARLO-Core.h"
#include "QUARLO-Posix.h"
#include "Threads.h"

namespace quarlo::fuzz {
namespace {

/** Larger requests are refused: an input that makes large pictures would only be slow. */
constexpr std::size_t largestBlock = std::size_t{4} * 1024 * 1024;

long liveBlocks = 0;
unsigned refusedRequest = 0;
bool pluginsAreThere = true;

}  // namespace

void refuseAllocation(unsigned nth) {
    refusedRequest = nth;
}

void offerPlugins(bool areThere) {
    pluginsAreThere = areThere;
}

Library::Library(bool hasPlugins) {
    offerPlugins(hasPlugins);
    quarlo_Init();
}

Library::~Library() {
    refuseAllocation(0);
    quarlo_Shutdown();
    threads::requireAllJoined();
    require(liveBlocks == 0, "memory of the library was not given back");
}

}  // namespace quarlo::fuzz

using namespace quarlo::fuzz;

extern "C" {
void* __real_quarlo_malloc(std::size_t amount);
void __real_quarlo_free(void* block);
void* __real_quarlo_dlopen(const char* fileName, int mode);
FILE* __real_quarlo_fopen(const char* fileName, const char* attributes);
void* __wrap_quarlo_malloc(std::size_t amount);
void __wrap_quarlo_free(void* block);
void* __wrap_quarlo_dlopen(const char* fileName, int mode);
int __wrap_quarlo_dlclose(void* handle);
FILE* __wrap_quarlo_fopen(const char* fileName, const char* attributes);
const char* __asan_default_options();

/* A small quarantine is faster. No stack but the fuzzing thread's outlives its frames' traces: a
 * thread that is cancelled would leave them behind. */
const char* __asan_default_options() {
    return "quarantine_size_mb=16:detect_stack_use_after_return=0";
}

void* __wrap_quarlo_malloc(std::size_t amount) {
    if (refusedRequest > 0 && --refusedRequest == 0) return nullptr;
    if (amount > largestBlock) return nullptr;
    void* block = __real_quarlo_malloc(amount);
    if (block != nullptr) ++liveBlocks;
    return block;
}

void __wrap_quarlo_free(void* block) {
    if (block != nullptr) --liveBlocks;
    __real_quarlo_free(block);
}

void* __wrap_quarlo_dlopen(const char* fileName, int) {
    return pluginsAreThere ? pluginHandle(fileName) : nullptr;
}

int __wrap_quarlo_dlclose(void*) {
    return 0;
}

FILE* __wrap_quarlo_fopen(const char* fileName, const char* attributes) {
    look(fileName, 1);
    return __real_quarlo_fopen("/dev/null", attributes);
}

int LLVMFuzzerInitialize(int*, char***) {
    for (const char* file :
         {"libQUARLO-Decomp00.so", "libQUARLO-Decomp01.so", "libQUARLO-Scale00.so"}) {
        require(pluginHandle(file) != nullptr, "a plug-in is missing");
    }
    // The default trace and the dump; what the fuzzer says goes to standard error.
    require(std::freopen("/dev/null", "w", stdout) != nullptr, "no /dev/null");
    return 0;
}
}

void* quarlo::fuzz::pluginHandle(const char* file) {
    struct Plugin {
        const char* file;
        void* handle;
    };
    static Plugin plugins[] = {{"libQUARLO-Decomp00.so", nullptr},
                               {"libQUARLO-Decomp01.so", nullptr},
                               {"libQUARLO-Scale00.so", nullptr}};
    for (Plugin& plugin : plugins) {
        if (std::string(plugin.file) != file) continue;
        if (plugin.handle == nullptr) {
            plugin.handle = __real_quarlo_dlopen(file, QUARLOLIBRARY_RTLD_LAZY);
        }
        return plugin.handle;
    }
    return nullptr;
}
