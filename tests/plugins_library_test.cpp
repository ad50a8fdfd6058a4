/*
 * The library finds the plug-ins of its own build by their bare file names, and calls them on
 * several threads at once.
 */
#include <thread>

#include "Deflated.h"
#include "PluginUnderTest.h"
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core.h"

namespace quarlo::test {
namespace {

/** So many pixels, each so many times. */
Bytes row(int width, int times) {
    Bytes pixels;
    for (int i = 0; i < width * times; ++i) {
        pixels = pixels + u32(0x11223344U * static_cast<UInt32>(i / times + width));
    }
    return pixels;
}

/** A zlib rectangle of a few pixels, decoded and then enlarged to twice its size. */
Bytes shown(int width) {
    const Bytes pixels = row(width, 1);
    const Exact data(deflated(pixels));
    const Exact frame(pixels.size());
    const Exact enlarged(4 * pixels.size());

    decompressParameter rectangle =
        compressedPicture(eFRAMECOMPRESSION_ZLIB, data, frame, width, 1, layouts[5]);
    EXPECT_TRUE(decompress(decompressorOf(eFRAMECOMPRESSION_ZLIB), rectangle).isDone());
    scaleParameter picture = enlargement(frame, width, 1, enlarged, 2 * width, 2, layouts[5]);
    Int32 detail = 4711;
    EXPECT_EQ(eSCALEERROR_NONE, scale(picture, detail));
    return bytesIn(enlarged);
}

TEST(PluginsInTheLibrary, AreFoundAndServeSeveralThreads) {
    quarlo_Init();
    EXPECT_EQ(UInt32{eFRAMECOMPRESSION_All}, quarlo_Eng_GetSupportedCompressions());
    EXPECT_EQ(eFLAG_TRUE, isScalingLibAvailable);
    std::vector<std::thread> threads;
    for (int width = 300; width < 304; ++width) {
        threads.emplace_back([width] {
            const Bytes twice = row(width, 2);
            for (int i = 0; i < 20; ++i) EXPECT_EQ(twice + twice, shown(width));
        });
    }
    for (std::thread& thread : threads) thread.join();
    quarlo_Shutdown();
}

}  // namespace
}  // namespace quarlo::test
