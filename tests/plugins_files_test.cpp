/*
 * The decompressors on files that others made, against other decoders: zlib streams of PNG files,
 * whose decoded size their headers tell, and JPEG files. The files come from the packages
 * tango-icon-theme and mate-backgrounds; more of them under the same folders are taken as well.
 */
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

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

using Bytes = std::vector<UInt8>;
namespace fs = std::filesystem;

Bytes contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** Shows the visitor each file with this extension; it returns how many it has used. */
size_t eachFile(const char* folder, const char* extension, size_t most,
                const std::function<bool(const fs::path&, const Bytes&)>& visit) {
    size_t used = 0;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(folder, missing)) {
        if (used == most) break;
        if (!entry.is_regular_file() || entry.is_symlink()) continue;
        if (entry.path().extension() != extension) continue;
        used += visit(entry.path(), contents(entry.path())) ? 1 : 0;
    }
    return used;
}

UInt32 bigEndian(const Bytes& bytes, size_t at) {
    return UInt32{bytes[at]} << 24 | UInt32{bytes[at + 1]} << 16 | UInt32{bytes[at + 2]} << 8 |
           bytes[at + 3];
}

struct PngStream {
    Bytes data;
    size_t decodedSize = 0;
};

/** The stream of a PNG file without interlacing; an empty one of any other file. */
PngStream streamOf(const Bytes& png) {
    PngStream stream;
    if (png.size() < 33 || png[1] != 'P' || png[28] != 0) return stream;
    const size_t samples[] = {1, 0, 3, 1, 2, 0, 4};
    const size_t bits = samples[png[25] % 7] * png[24];
    const size_t row = 1 + (bits * bigEndian(png, 16) + 7) / 8;
    stream.decodedSize = row * bigEndian(png, 20);
    for (size_t at = 8; at + 12 <= png.size(); at += size_t{12} + bigEndian(png, at)) {
        const size_t length = bigEndian(png, at);
        if (length > png.size() - at - 12) return {};
        if (std::equal(&png[at + 4], &png[at + 8], "IDAT")) {
            stream.data.insert(stream.data.end(), &png[at + 8], &png[at + 8] + length);
        }
    }
    return stream;
}

TEST(PluginsOnFiles, DecodeTheStreamsOfPngFiles) {
    const Decompressor plugin("libQUARLO-Decomp01.so", eFRAMECOMPRESSION_ZLIB);
    const auto decode = [&](const Exact& in, const Exact& frame) {
        return plugin({1, 1, 0, ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian,
                       eFRAMECOMPRESSION_ZLIB, in.data(), in.size(), frame.data(), frame.size()});
    };
    const auto visit = [&](const fs::path& path, const Bytes& png) {
        const PngStream stream = streamOf(png);
        if (stream.data.empty()) return false;
        const Exact in(stream.data);
        const Exact frame(stream.decodedSize);
        const Exact tooShort(stream.decodedSize - 1);
        EXPECT_EQ((Outcome{eDECOMPRESSERROR_NONE, 0}), decode(in, frame)) << path;
        EXPECT_EQ((Outcome{eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH, 0}), decode(in, tooShort)) << path;
        Bytes expected(stream.decodedSize);
        uLongf size = expected.size();
        EXPECT_EQ(Z_OK, uncompress(expected.data(), &size, in.data(), in.size())) << path;
        EXPECT_EQ(expected.size(), size) << path;
        EXPECT_TRUE(expected == frame.bytes()) << path;
        return true;
    };
    const size_t files = eachFile("/usr/share/icons", ".png", 6000, visit);
    RecordProperty("files", static_cast<int>(files));
    // The theme has 859; the rest of its names are links to these.
    if (files < 800) GTEST_SKIP() << "only " << files << " PNG files: install tango-icon-theme";
}

/** Mean difference of two pictures. */
double difference(const Bytes& a, const UInt8* b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += std::abs(int{a[i]} - int{b[i]});
    return sum / static_cast<double>(a.size());
}

TEST(PluginsOnFiles, DecodeJpegFiles) {
    const Decompressor plugin("libQUARLO-Decomp00.so", eFRAMECOMPRESSION_JPEG);
    const auto visit = [&](const fs::path& path, const Bytes& jpeg) {
        int width = 0;
        int height = 0;
        int channels = 0;
        if (jpeg.size() > 1'500'000) return false;
        const std::unique_ptr<stbi_uc, void (*)(void*)> expected(
            stbi_load_from_memory(jpeg.data(), static_cast<int>(jpeg.size()), &width, &height,
                                  &channels, 3),
            &stbi_image_free);
        if (expected == nullptr) return false;
        const Exact in(jpeg);
        const Exact frame(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
        const Outcome outcome =
            plugin({static_cast<UInt16>(width), static_cast<UInt16>(height), 3, ePIXELFORMAT_RGB888,
                    ePIXELENDIANESS_BigEndian, eFRAMECOMPRESSION_JPEG, in.data(), in.size(),
                    frame.data(), frame.size()});
        EXPECT_EQ((Outcome{eDECOMPRESSERROR_NONE, 0}), outcome) << path;
        EXPECT_LT(difference(frame.bytes(), expected.get()), 1.5) << path;
        return true;
    };
    const size_t files = eachFile("/usr/share/backgrounds", ".jpg", 20, visit);
    RecordProperty("files", static_cast<int>(files));
    if (files < 8) GTEST_SKIP() << "only " << files << " JPEG files: install mate-backgrounds";
}

}  // namespace
}  // namespace quarlo::test
