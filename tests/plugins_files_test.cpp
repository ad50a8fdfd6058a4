/*
 * The JPEG plug-in on files that others made, against another decoder. The files come from the
 * package mate-backgrounds; more of them under the same folder are taken as well.
 */
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "PluginUnderTest.h"

// The header is another project's code.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wunused-function"
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_JPEG
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace quarlo::test {
namespace {

namespace fs = std::filesystem;

/** Mean difference of two pictures. */
double difference(const Bytes& a, const UInt8* b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += std::abs(int{a[i]} - int{b[i]});
    return sum / static_cast<double>(a.size());
}

TEST(PluginsOnFiles, DecodeJpegFiles) {
    Decompressor plugin("libQUARLO-Decomp00.so", eFRAMECOMPRESSION_JPEG);
    unsigned files = 0;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator("/usr/share/backgrounds", missing)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".jpg") continue;
        if (entry.file_size() > 1'500'000 || files == 20) continue;
        SCOPED_TRACE(entry.path());
        std::ifstream file(entry.path(), std::ios::binary);
        const Bytes jpeg{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        int width = 0, height = 0, channels = 0;
        const std::unique_ptr<stbi_uc, void (*)(void*)> expected(
            stbi_load_from_memory(jpeg.data(), static_cast<int>(jpeg.size()), &width, &height,
                                  &channels, 3),
            &stbi_image_free);
        if (expected == nullptr) continue;
        EXPECT_EQ((Outcome{eDECOMPRESSERROR_NONE, 0}), plugin.decode(jpeg, width, height));
        EXPECT_LT(difference(plugin.decoded, expected.get()), 1.5);
        ++files;
    }
    if (files < 8) GTEST_SKIP() << "only " << files << " JPEG files: install mate-backgrounds";
}

}  // namespace
}  // namespace quarlo::test
