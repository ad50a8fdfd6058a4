/*
 * Which plug-ins a test program finds. The program takes over the opening of libraries
 * (quarlo_test_plugins in CMake) and so sees every name that the library asks for.
 */
#ifndef QUARLO_TESTS_PLUGINS_H
#define QUARLO_TESTS_PLUGINS_H

#include <string>
#include <vector>

#include "Host.h"

namespace quarlo::test {

/** Libraries are opened in this folder of stubs; "" for the dynamic loader's ordinary path. */
void findPluginsIn(const std::string& folder);
/** Every name opened since the last findPluginsIn, and how many of them are open now. */
std::vector<std::string> openedNames();
int openLibraries();

/** The stubs that quarlo_Init finds meanwhile; its shutdown must close every library. */
class Folder {
  public:
    explicit Folder(const std::string& folder) { findPluginsIn(folder); }
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
};

/** quarlo_Init with the stubs of a folder. */
struct Found : Folder {
    using Folder::Folder;
    const Library library;
};

}  // namespace quarlo::test

#endif
