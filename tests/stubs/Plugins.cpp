#include "Plugins.h"

#include <gtest/gtest.h>

#include <mutex>

namespace {

std::mutex guard;
std::string folderOfStubs;
std::vector<std::string> names;
int open = 0;

}  // namespace

extern "C" {

void* __real_quarlo_dlopen(const char* fileName, int mode);
int __real_quarlo_dlclose(void* handle);
void* __wrap_quarlo_dlopen(const char* fileName, int mode);
int __wrap_quarlo_dlclose(void* handle);

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

Folder::~Folder() {
    EXPECT_EQ(openLibraries(), 0);
    EXPECT_EQ(isScalingLibAvailable, eFLAG_FALSE);
    findPluginsIn("");
}

}  // namespace quarlo::test
