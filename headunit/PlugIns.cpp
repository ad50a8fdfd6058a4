#include "PlugIns.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstddef>

#include "QUARLO-Core-Engineering-Types.h"
#include "QUARLO-Core.h"
#include "Values.h"
#include "common/Log.h"

namespace quarlo::headunit {
namespace {

/** An opened library; closed at the end. */
class Opened {
  public:
    Opened(const char* file, int mode) : handle(dlopen(file, mode)) {}
    ~Opened() {
        if (handle != nullptr) dlclose(handle);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    explicit operator bool() const { return handle != nullptr; }
    void* get() const { return handle; }

  private:
    void* const handle;
};

// The folders in which the loader looks for what the library opens by a bare name.
std::vector<std::string> searchPath() {
    Dl_info library{};
    dladdr(reinterpret_cast<void*>(&quarlo_Init), &library);
    const Opened self(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    Dl_serinfo extent{};
    if (!self || dlinfo(self.get(), RTLD_DI_SERINFOSIZE, &extent) != 0) return {};
    std::vector<std::max_align_t> storage(extent.dls_size / sizeof(std::max_align_t) + 1);
    auto* list = reinterpret_cast<Dl_serinfo*>(storage.data());
    std::vector<std::string> folders;
    if (dlinfo(self.get(), RTLD_DI_SERINFOSIZE, list) != 0 ||
        dlinfo(self.get(), RTLD_DI_SERINFO, list) != 0) {
        return folders;
    }
    for (unsigned i = 0; i < list->dls_cnt; ++i) {
        const std::string folder = (&list->dls_serpath[0] + i)->dls_name;
        if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
            folders.push_back(folder);
        }
    }
    return folders;
}

std::string faultOf(const std::string& path) {
    const Opened plugIn(path.c_str(), RTLD_LAZY);
    return plugIn ? path + ": opens, but is no plug-in for it" : dlerror();
}

void describe(FrameCompression compression, std::vector<std::string>& lines) {
    const auto number = static_cast<unsigned>(std::countr_zero(compression));
    const std::string file = format("libQUARLO-Decomp%02u.so", number);
    lines.push_back("no plug-in decodes " + nameOfCompressions(compression) + ": " + file +
                    " cannot be used; tried were:");
    // Like the loader: the first file of that name decides.
    for (std::string path : searchPath()) {
        path.append("/").append(file);
        const bool exists = access(path.c_str(), F_OK) == 0;
        lines.push_back("  " + faultOf(path));
        if (exists) return;
    }
}

}  // namespace

std::vector<std::string> missingPlugIns(FrameCompression wanted) {
    std::vector<std::string> lines;
    const FrameCompression loaded = quarlo_Eng_GetSupportedCompressions();
    for (const auto one : {eFRAMECOMPRESSION_JPEG, eFRAMECOMPRESSION_ZLIB}) {
        if ((wanted & ~loaded & one) != 0) describe(one, lines);
    }
    return lines;
}

}  // namespace quarlo::headunit
