/* Loading and closing of plug-ins: the table, the mask, and what the host hears of both. */
#include <algorithm>

#include "Frames.h"

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

/** What the version block of a start says of the plug-ins. */
Lines versions() {
    Host host;
    host.start();
    host.settle();
    const Lines lines = host.lines();
    const std::string dashes = "INF ----------------------------------";
    const auto first = std::find(lines.begin(), lines.end(), dashes);
    const auto last = std::find(std::min(first + 1, lines.end()), lines.end(), dashes);
    if (last - first < 5) return lines;
    EXPECT_EQ(Lines(first + 1, first + 4),
              (Lines{"INF Version information:", "INF     core............: 1.2.3",
                     "INF     protocol........: 1.2.0"}));
    return {first + 5, last};
}

TEST(Plugins, EachFolderGivesWhatIsCompleteInIt) {
    const std::string noScaler = "INF     scale...........: (not found)";
    const Lines good{
        "INF     scale...........: 7.8.900", "INF     decompression 00: 1.2.300 (JPEG)",
        "INF     decompression 01: 2.3.301 (ZLIB)", "INF     decompression 03: 4.5.303 (unknown)",
        "INF     decompression 31: 32.33.331 (unknown)"};
    struct Case {
        const char* folder;
        UInt32 mask;
        std::vector<unsigned> entries;
        Lines versions;
    };
    const std::vector<Case> cases{
        {"", 0x8000000F, {0, 1, 3, 31}, good},  // the ordinary search path
        {"unscaled", 7, {0, 1}, {noScaler, good[1], good[2]}},
        {"broken", 0x80000004, {31}, {noScaler, good[4]}},
        {"refusing", 4, {}, {noScaler}},
        {"incomplete", 4, {}, {noScaler}},
        {"none", 4, {}, {noScaler}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.folder);
        const Found found(c.folder);
        const bool hasScaler = c.versions[0] != noScaler;
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), c.mask);
        EXPECT_EQ(loaded(), c.entries);
        EXPECT_EQ(isScalingLibAvailable == eFLAG_TRUE, hasScaler);
        EXPECT_EQ(scaleLib.library != nullptr, hasScaler);
        EXPECT_EQ(openLibraries(), static_cast<int>(c.entries.size()) + hasScaler);
        EXPECT_EQ(versions(), c.versions);
    }
}

TEST(Plugins, NamesAreTriedInOrderAndLazily) {
    const Found found("none");
    Lines expected;
    for (int i = 0; i < 32; ++i) {
        const std::string number = (i < 10 ? "0" : "") + std::to_string(i);
        if (i != 2) expected.push_back("libQUARLO-Decomp" + number + ".so");
    }
    expected.emplace_back("libQUARLO-Scale00.so");
    EXPECT_EQ(openedNames(), expected);
}

const std::string set = "INF SetSupportedCompressions() to ";

TEST(SetSupportedCompressions, ClosesWhatIsLeftOut) {
    struct Case {
        UInt32 compressions;
        std::vector<unsigned> kept;
        Lines lines;
    };
    const std::string close = "INF SetSupportedCompressions() close decompression library ";
    const std::vector<Case> cases{
        {0x8000000F, {0, 1, 3, 31}, {set + "0x8000000F"}},
        {7, {0, 1}, {close + "unknown", close + "unknown", set + "0x00000007"}},
        {8, {3}, {close + "JPEG", close + "ZLIB", close + "unknown", set + "0x0000000C"}},
        {2, {1}, {close + "JPEG", close + "unknown", close + "unknown", set + "0x00000006"}},
    };
    for (const Case& c : cases) {
        const Folder folder("good");
        Idle idle;
        EXPECT_EQ(idle.call(quarlo_SetSupportedCompressions, c.compressions), c.lines);
        EXPECT_EQ(quarlo_Eng_GetSupportedCompressions(), c.compressions | 4);
        EXPECT_EQ(loaded(), c.kept);
        EXPECT_EQ(openLibraries(), static_cast<int>(c.kept.size()) + 1);
        for (const decompressor& entry : decompressorList) {
            EXPECT_EQ(entry.init != nullptr, entry.library != nullptr);
            EXPECT_EQ(entry.decompress != nullptr, entry.library != nullptr);
        }
    }
}

TEST(SetSupportedCompressions, RefusesWhatCannotBeDecoded) {
    const Folder folder("unscaled");
    Idle idle;
    const auto request = [&](UInt32 compressions) {
        Lines lines = idle.call(quarlo_SetSupportedCompressions, compressions);
        lines.back() += " " + std::to_string(quarlo_Eng_GetSupportedCompressions());
        return lines;
    };
    const std::string refusal = "WRN SetSupportedCompressions() ";
    const std::string missing = refusal + "compressions requested not (all) available ";
    EXPECT_EQ(request(9), (Lines{missing + "0x0000000D", "= PARAM_VALUE 7"}));
    EXPECT_EQ(loaded().size(), 2U);
    EXPECT_EQ(request(1).back(), set + "0x00000005 5");
    // The mask can only shrink,
    EXPECT_EQ(request(3), (Lines{missing + "0x00000007", "= PARAM_VALUE 5"}));
    // unless the host decodes by itself.
    quarlo_SetFrameOutputType(idle.handle(), eFLAG_TRUE);
    EXPECT_EQ(request(3), (Lines{refusal + "with RAW output requested but no callback set",
                                 "= NOT_ALLOWED 5"}));
    idle.listenTo<Callback::FrameUpdateRaw>(quarlo_SetFrameUpdateRawCallback);
    EXPECT_EQ(request(8), (Lines{refusal + "undefined compression type requested 0x0000000C",
                                 "= PARAM_VALUE 5"}));
    EXPECT_EQ(request(3), Lines{set + "0x00000007 7"});
}

}  // namespace
}  // namespace quarlo::test
