/*
 * The library finds the plug-ins of its own build by their bare file names, and its frame path
 * calls them.
 */
#include <zlib.h>

#include "PluginUnderTest.h"
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core.h"

namespace quarlo::test {
namespace {

TEST(PluginsInTheLibrary, AreFoundAndCalled) {
    quarlo_Init();
    EXPECT_EQ(UInt32{eFRAMECOMPRESSION_All}, quarlo_Eng_GetSupportedCompressions());
    EXPECT_EQ(eFLAG_TRUE, isScalingLibAvailable);

    const std::vector<UInt8> pixels = {10, 20, 30, 40, 50, 60, 70, 80};
    Exact data(compressBound(pixels.size()));
    uLongf dataSize = data.size();
    ASSERT_EQ(Z_OK, compress(data.data(), &dataSize, pixels.data(), pixels.size()));
    const Exact frame(pixels.size());
    decompressParameter rectangle{2,
                                  1,
                                  4,
                                  ePIXELFORMAT_ARGB8888,
                                  ePIXELENDIANESS_LittleEndian,
                                  eFRAMECOMPRESSION_ZLIB,
                                  data.data(),
                                  static_cast<UInt32>(dataSize),
                                  frame.data(),
                                  frame.size()};
    EXPECT_TRUE(decompress(decompressorOf(eFRAMECOMPRESSION_ZLIB), rectangle).isDone());
    EXPECT_EQ(pixels, frame.bytes());

    const Exact enlarged(4 * pixels.size());
    scaleParameter picture{2,
                           1,
                           frame.size(),
                           frame.data(),
                           4,
                           2,
                           enlarged.size(),
                           enlarged.data(),
                           ePIXELFORMAT_ARGB8888,
                           ePIXELENDIANESS_LittleEndian,
                           4};
    Int32 detail = 4711;
    EXPECT_EQ(eSCALEERROR_NONE, scale(picture, detail));
    const std::vector<UInt8> row = {10, 20, 30, 40, 10, 20, 30, 40, 50, 60, 70, 80, 50, 60, 70, 80};
    std::vector<UInt8> expected = row;
    expected.insert(expected.end(), row.begin(), row.end());
    EXPECT_EQ(expected, enlarged.bytes());
    quarlo_Shutdown();
}

}  // namespace
}  // namespace quarlo::test
