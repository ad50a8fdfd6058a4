// What became of plug-ins that the library did not load, as the loader tells it when it is asked
// once more. Stateless; any thread.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <string>
#include <vector>

#include "QUARLO-Core-Engineering-Types.h"
#include "quarlo-plugins.h"

namespace {

struct Named {
    FrameCompression compression;
    const char* name;
};
constexpr Named explained[] = {{eFRAMECOMPRESSION_JPEG, "jpeg"}, {eFRAMECOMPRESSION_ZLIB, "zlib"}};

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

void explain(const Named& missing, quarloLineCallback line, void* context) {
    const auto number = static_cast<unsigned>(std::countr_zero(missing.compression));
    const std::string file =
        std::string("libQUARLO-Decomp") + (number < 10 ? "0" : "") + std::to_string(number) + ".so";
    const std::string head = std::string("no plug-in decodes ") + missing.name + ": " + file;
    line(context, (head + " cannot be used; tried were:").c_str());
    // Like the loader: the first file of that name decides.
    for (std::string path : searchPath()) {
        path.append("/").append(file);
        const bool exists = access(path.c_str(), F_OK) == 0;
        line(context, ("  " + faultOf(path)).c_str());
        if (exists) return;
    }
}

}  // namespace

FrameCompression quarloPlugIns_Explain(FrameCompression wanted, quarloLineCallback line,
                                       void* context) {
    const FrameCompression missing =
        wanted & ~(quarlo_Eng_GetSupportedCompressions() | eFRAMECOMPRESSION_Uncompressed);
    for (const Named& one : explained) {
        if (line != nullptr && (missing & one.compression) != 0) explain(one, line, context);
    }
    return missing;
}
