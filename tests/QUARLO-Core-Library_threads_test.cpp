/* Plug-ins that are closed while other instances decode with them. */
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Frames.h"

namespace quarlo::test {
namespace {

const std::string refused = "ERR compression not supported.";
const std::string enlarged = "frame 0 20,40 128x128 #65536";
const std::string shown = "frame 0 10,20 64x64 #16384";

/** Shows updates of one rectangle until enough; how many. */
unsigned show(Host& host, const Rect& rectangle, const std::atomic<bool>& isEnough) {
    const Bytes bytes = update({rectangle});
    unsigned updates = 0;
    for (; !isEnough; ++updates) {
        host.feed(bytes);
        host.settle();
    }
    return updates;
}

TEST(PluginThreads, AreNeverClosedInsideADecoder) {
    const Found found("good");
    Host first("first");
    Host second("second");
    Host third("third");
    for (Host* host : {&first, &second}) {
        host->run();
        quarlo_SetTraceClass(host->handle(), eTRACECLASS_ERROR);
        host->forgetLines();
    }
    // Both are in the middle of updates when the plug-ins change, and both go on with what is left.
    const auto meet = [&](const std::string& ofFirst, const std::string& ofSecond) {
        const std::size_t before = first.count(ofFirst);
        const std::size_t alsoBefore = second.count(ofSecond);
        EXPECT_TRUE(first.waitUntil([&] { return first.count(ofFirst) > before; }));
        EXPECT_TRUE(second.waitUntil([&] { return second.count(ofSecond) > alsoBefore; }));
    };
    const Rect jpeg = compressed(eFRAMECOMPRESSION_JPEG).at(50, 50).sized(64, 64);
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB).sized(64, 64);
    std::atomic<bool> isEnough = false;
    unsigned updates = 0;
    unsigned moreUpdates = 0;
    std::thread one([&] { updates = show(first, jpeg, isEnough); });
    std::thread two([&] { moreUpdates = show(second, zlib, isEnough); });
    for (int round = 0; round < 10; ++round) {
        meet(enlarged, shown);
        EXPECT_EQ(quarlo_SetSupportedCompressions(third.handle(), eFRAMECOMPRESSION_ZLIB),
                  eRETURN_OKAY);
        meet(refused, shown);
        EXPECT_EQ(quarlo_SetSupportedCompressions(third.handle(), 0), eRETURN_OKAY);
        meet(refused, refused);
        _quarlo_OpenDecompressionLibs();
    }
    isEnough = true;
    one.join();
    two.join();
    // Each update was shown or refused, and nothing else.
    EXPECT_EQ(first.count(enlarged) + first.count(refused), updates);
    EXPECT_EQ(second.count(shown) + second.count(refused), moreUpdates);
    EXPECT_EQ(first.count("frame end"), updates);
    EXPECT_EQ(second.count("frame end"), moreUpdates);
    EXPECT_TRUE(first.linesWith("error ").empty());
    EXPECT_TRUE(second.linesWith("error ").empty());
}

}  // namespace
}  // namespace quarlo::test
