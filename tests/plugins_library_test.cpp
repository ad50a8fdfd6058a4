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

/** A zlib rectangle of a few pixels, decoded and then enlarged to twice its size. */
Bytes shown(unsigned width) {
    Bytes pixels;
    for (unsigned i = 0; i < width; ++i) pixels = pixels + u32(0x11223344 * i + width);
    const Exact data(deflated(pixels));
    const Exact frame(pixels.size());
    const Exact enlarged(4 * pixels.size());
    const auto size = [](const Exact& block) { return static_cast<UInt32>(block.size()); };
    decompressParameter rectangle{static_cast<UInt16>(width),
                                  1,
                                  4,
                                  ePIXELFORMAT_ARGB8888,
                                  ePIXELENDIANESS_LittleEndian,
                                  eFRAMECOMPRESSION_ZLIB,
                                  data.data(),
                                  size(data),
                                  frame.data(),
                                  size(frame)};
    EXPECT_TRUE(decompress(decompressorOf(eFRAMECOMPRESSION_ZLIB), rectangle).isDone());
    scaleParameter picture{static_cast<UInt16>(width),
                           1,
                           size(frame),
                           frame.data(),
                           static_cast<UInt16>(2 * width),
                           2,
                           size(enlarged),
                           enlarged.data(),
                           ePIXELFORMAT_ARGB8888,
                           ePIXELENDIANESS_LittleEndian,
                           4};
    Int32 detail = 4711;
    EXPECT_EQ(eSCALEERROR_NONE, scale(picture, detail));
    return bytesIn(enlarged);
}

TEST(PluginsInTheLibrary, AreFoundAndServeSeveralThreads) {
    quarlo_Init();
    EXPECT_EQ(UInt32{eFRAMECOMPRESSION_All}, quarlo_Eng_GetSupportedCompressions());
    EXPECT_EQ(eFLAG_TRUE, isScalingLibAvailable);
    std::vector<std::thread> threads;
    for (unsigned width = 300; width < 304; ++width) {
        threads.emplace_back([width] {
            Bytes row;
            for (unsigned i = 0; i < width; ++i) {
                row = row + u32(0x11223344 * i + width) + u32(0x11223344 * i + width);
            }
            for (int i = 0; i < 20; ++i) EXPECT_EQ(row + row, shown(width));
        });
    }
    for (std::thread& thread : threads) thread.join();
    quarlo_Shutdown();
}

}  // namespace
}  // namespace quarlo::test
