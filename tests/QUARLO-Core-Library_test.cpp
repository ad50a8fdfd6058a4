/* Loading and closing of plug-ins: the table, the mask, and what the host hears of both. */
#include <gtest/gtest.h>

#include <algorithm>

#include "Host.h"
#include "Plugins.h"

namespace quarlo::test {
namespace {

/** The numbers of the loaded entries. */
std::vector<unsigned> loaded() {
    std::vector<unsigned> numbers;
    for (unsigned i = 0; i < decompressorCount; ++i) {
        if (decompressorList[i].library != nullptr) numbers.push_back(i);
    }
    return numbers;
}

TEST(Plugins, EachFolderGivesWhatIsCompleteInIt) {
    struct Case {
        const char* folder;
        UInt32 mask;
        std::vector<unsigned> entries;
        Flag hasScaler;
    };
    const std::vector<Case> cases{
        {"", 0x8000000F, {0, 1, 3, 31}, eFLAG_TRUE},  // the ordinary search path
        {"good", 0x8000000F, {0, 1, 3, 31}, eFLAG_TRUE},
        {"unscaled", 7, {0, 1}, eFLAG_FALSE},
        {"broken", 0x80000004, {31}, eFLAG_FALSE},
        {"refusing", 4, {}, eFLAG_FALSE},
        {"incomplete", 4, {}, eFLAG_FALSE},
        {"none", 4, {}, eFLAG_FALSE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.folder);
        const Found found(c.folder);
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), c.mask);
        EXPECT_EQ(loaded(), c.entries);
        EXPECT_EQ(isScalingLibAvailable, c.hasScaler);
        EXPECT_EQ(scaleLib.library != nullptr, c.hasScaler == eFLAG_TRUE);
        EXPECT_EQ(openLibraries(), static_cast<int>(c.entries.size()) + c.hasScaler);
        for (unsigned i = 0; i < decompressorCount; ++i) {
            EXPECT_EQ(decompressorList[i].compression, 1U << i);
        }
    }
}

TEST(Plugins, NamesAreTriedInOrderAndLazily) {
    const Found found("none");
    std::vector<std::string> expected;
    for (int i = 0; i < 32; ++i) {
        const std::string number = (i < 10 ? "0" : "") + std::to_string(i);
        if (i != 2) expected.push_back("libQUARLO-Decomp" + number + ".so");
    }
    expected.emplace_back("libQUARLO-Scale00.so");
    EXPECT_EQ(openedNames(), expected);
}

TEST(Plugins, EntriesHoldWhatThePluginSays) {
    const Found found("good");
    EXPECT_EQ(decompressorIndexJPEG, 0);
    EXPECT_EQ(decompressorIndexZLIB, 1);
    for (const unsigned i : {0U, 1U, 3U, 31U}) {
        SCOPED_TRACE(i);
        EXPECT_NE(decompressorList[i].init, nullptr);
        EXPECT_NE(decompressorList[i].decompress, nullptr);
        EXPECT_EQ(decompressorList[i].versionMajor, i + 1);
        EXPECT_EQ(decompressorList[i].versionMinor, i + 2);
        EXPECT_EQ(decompressorList[i].versionBuild, i + 300);
    }
    EXPECT_EQ(scaleLib.versionMajor, 7);
    EXPECT_EQ(scaleLib.versionMinor, 8);
    EXPECT_EQ(scaleLib.versionBuild, 900);
}

TEST(Plugins, APluginThatGetsNoMemoryIsNotUsed) {
    refuseAllocationsFrom(64);
    {
        const Found found("good");
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 4U);
        EXPECT_EQ(isScalingLibAvailable, eFLAG_FALSE);
        EXPECT_EQ(openLibraries(), 0);
    }
    refuseAllocationsFrom(0);
}

TEST(Plugins, TheNextInitialisationLoadsAgain) {
    {
        const Found found("good");
        Host host;
        EXPECT_EQ(quarlo_SetSupportedCompressions(host.handle(), 0), eRETURN_OKAY);
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 4U);
    }
    const Found found("good");
    EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 0x8000000FU);
}

/** The version block's lines of the plug-ins. */
std::vector<std::string> versionLines(Host& host) {
    host.start();
    host.settle();
    const std::vector<std::string> lines = host.lines();
    const std::string dashes = "INF ----------------------------------";
    const auto first = std::find(lines.begin(), lines.end(), dashes);
    if (first == lines.end()) return {};
    const auto last = std::find(first + 1, lines.end(), dashes);
    if (last - first < 5) return {};
    EXPECT_EQ(*(first + 1), "INF Version information:");
    EXPECT_EQ(*(first + 2), "INF     core............: 1.2.3");
    EXPECT_EQ(*(first + 3), "INF     protocol........: 1.2.0");
    return {first + 5, last};
}

TEST(VersionBlock, NamesEveryLoadedPlugin) {
    const Found found("good");
    Host host;
    const std::vector<std::string> expected{
        "INF     scale...........: 7.8.900",
        "INF     decompression 00: 1.2.300 (JPEG)",
        "INF     decompression 01: 2.3.301 (ZLIB)",
        "INF     decompression 03: 4.5.303 (unknown)",
        "INF     decompression 31: 32.33.331 (unknown)",
    };
    EXPECT_EQ(versionLines(host), expected);
}

TEST(VersionBlock, SaysThatThereIsNoScaler) {
    const Found found("none");
    Host host;
    EXPECT_EQ(versionLines(host),
              std::vector<std::string>{"INF     scale...........: (not found)"});
}

void ignoreRaw(void*, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32, UInt8, UInt8,
               PixelFormat, PixelEndianess, FrameCompression) {}

TEST(SetSupportedCompressions, ClosesWhatIsLeftOut) {
    struct Case {
        UInt32 compressions;
        std::vector<unsigned> kept;
        std::vector<std::string> lines;
    };
    const std::string set = "INF SetSupportedCompressions() to ";
    const std::string close = "INF SetSupportedCompressions() close decompression library ";
    const std::vector<Case> cases{
        {0x8000000F, {0, 1, 3, 31}, {set + "0x8000000F"}},
        {7, {0, 1}, {close + "unknown", close + "unknown", set + "0x00000007"}},
        {8, {3}, {close + "JPEG", close + "ZLIB", close + "unknown", set + "0x0000000C"}},
        {2, {1}, {close + "JPEG", close + "unknown", close + "unknown", set + "0x00000006"}},
        {0,
         {},
         {close + "JPEG", close + "ZLIB", close + "unknown", close + "unknown",
          set + "0x00000004"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.compressions);
        const Found found("good");
        Host host;
        EXPECT_EQ(quarlo_SetSupportedCompressions(host.handle(), c.compressions), eRETURN_OKAY);
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), c.compressions | 4);
        EXPECT_EQ(loaded(), c.kept);
        EXPECT_EQ(openLibraries(), static_cast<int>(c.kept.size()) + 1);
        EXPECT_EQ(host.lines(), c.lines);
        for (const decompressor& entry : decompressorList) {
            if (entry.library != nullptr || entry.compression == 4) continue;
            EXPECT_EQ(entry.init, nullptr);
            EXPECT_EQ(entry.decompress, nullptr);
        }
    }
}

TEST(SetSupportedCompressions, RefusesWhatCannotBeDecoded) {
    const Found found("unscaled");
    Host host;
    const auto set = [&](UInt32 compressions) {
        host.forgetLines();
        return quarlo_SetSupportedCompressions(host.handle(), compressions);
    };
    const std::string refusal =
        "WRN SetSupportedCompressions() compressions requested not (all) available ";
    EXPECT_EQ(set(9), eRETURN_PARAM_VALUE);
    EXPECT_EQ(host.lines(), std::vector<std::string>{refusal + "0x0000000D"});
    EXPECT_EQ(loaded().size(), 2U);
    EXPECT_EQ(set(1), eRETURN_OKAY);
    // The mask can only shrink.
    EXPECT_EQ(set(3), eRETURN_PARAM_VALUE);
    EXPECT_EQ(host.lines(), std::vector<std::string>{refusal + "0x00000007"});
    EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 5U);
}

TEST(SetSupportedCompressions, LooksAtTheCallbackInRawMode) {
    const Found found("none");
    Host host;
    quarlo_SetFrameOutputType(host.handle(), eFLAG_TRUE);
    const auto set = [&](UInt32 compressions) {
        host.forgetLines();
        return quarlo_SetSupportedCompressions(host.handle(), compressions);
    };
    EXPECT_EQ(set(3), eRETURN_NOT_ALLOWED);
    EXPECT_EQ(host.lines(),
              std::vector<std::string>{
                  "WRN SetSupportedCompressions() with RAW output requested but no callback set"});
    EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 4U);

    quarlo_SetFrameUpdateRawCallback(host.handle(), &ignoreRaw);
    EXPECT_EQ(set(8), eRETURN_PARAM_VALUE);
    EXPECT_EQ(
        host.lines(),
        std::vector<std::string>{
            "WRN SetSupportedCompressions() undefined compression type requested 0x0000000C"});
    EXPECT_EQ(set(3), eRETURN_OKAY);
    EXPECT_EQ(host.lines(),
              std::vector<std::string>{"INF SetSupportedCompressions() to 0x00000007"});
    EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), 7U);
}

}  // namespace
}  // namespace quarlo::test
