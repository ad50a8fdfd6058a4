#include "Plugins.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "QUARLO-Core.h"
#include "QUARLO-Internal.h"

namespace {

std::mutex guard;
std::string folderOfStubs;
std::vector<std::string> names;
int open = 0;
std::atomic<unsigned long> allocationCount;
std::atomic<std::size_t> refusedFrom;

}  // namespace

extern "C" {

void* __real_quarlo_dlopen(const char* fileName, int mode);
int __real_quarlo_dlclose(void* handle);
void* __real_quarlo_malloc(size_t amount);
void* __wrap_quarlo_dlopen(const char* fileName, int mode);
int __wrap_quarlo_dlclose(void* handle);
void* __wrap_quarlo_malloc(size_t amount);

void* __wrap_quarlo_dlopen(const char* fileName, int mode) {
    const std::lock_guard lock(guard);
    names.emplace_back(fileName + std::string(mode == QUARLOLIBRARY_RTLD_LAZY ? "" : " not lazy"));
    const std::string path = folderOfStubs.empty() ? fileName : folderOfStubs + "/" + fileName;
    void* library = __real_quarlo_dlopen(path.c_str(), mode);
    if (library != nullptr) ++open;
    return library;
}

int __wrap_quarlo_dlclose(void* handle) {
    const std::lock_guard lock(guard);
    --open;
    return __real_quarlo_dlclose(handle);
}

void* __wrap_quarlo_malloc(size_t amount) {
    ++allocationCount;
    const std::size_t limit = refusedFrom;
    // As on platforms whose allocator has no empty blocks.
    if (amount == 0) return nullptr;
    return limit != 0 && amount >= limit ? nullptr : __real_quarlo_malloc(amount);
}

}  // extern "C"

namespace quarlo::test {

void findPluginsIn(const std::string& folder) {
    const std::lock_guard lock(guard);
    folderOfStubs = folder.empty() ? "" : STUB_FOLDER "/" + folder;
    names.clear();
}

std::vector<std::string> openedNames() {
    const std::lock_guard lock(guard);
    return names;
}

int openLibraries() {
    const std::lock_guard lock(guard);
    return open;
}

Found::Found(const std::string& folder) {
    findPluginsIn(folder);
    quarlo_Init();
}

Found::~Found() {
    quarlo_Shutdown();
    EXPECT_EQ(openLibraries(), 0);
    EXPECT_EQ(isScalingLibAvailable, eFLAG_FALSE);
    findPluginsIn("");
}

unsigned long allocations() {
    return allocationCount;
}

void refuseAllocationsFrom(std::size_t size) {
    refusedFrom = size;
}

}  // namespace quarlo::test
