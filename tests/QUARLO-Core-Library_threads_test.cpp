/* Plug-ins that are closed while other instances decode with them. */
#include <atomic>
#include <thread>

#include "Frames.h"

namespace quarlo::test {
namespace {

const std::string refused = "ERR compression not supported.";

/** An instance that is shown the same rectangle again and again. */
class Decoding {
  public:
    Decoding(const Rect& rectangle, std::string line) : shown(std::move(line)) {
        host.run();
        quarlo_SetTraceClass(host.handle(), eTRACECLASS_ERROR);
        host.forgetLines();
        thread = std::thread([this, bytes = update({rectangle})] {
            for (; !isEnough; ++updates) {
                host.feed(bytes);
                host.settle();
            }
        });
    }
    /** Waits for one more update that ends so. */
    void meet(const std::string& line) {
        const std::size_t before = host.count(line);
        EXPECT_TRUE(host.waitUntil([&] { return host.count(line) > before; })) << line;
    }
    /** Each update was shown or refused, and nothing else. */
    void finish() {
        isEnough = true;
        thread.join();
        EXPECT_EQ(host.count(shown) + host.count(refused), updates);
        EXPECT_EQ(host.count("frame end"), updates);
        EXPECT_EQ(host.linesWith("error "), Lines{});
    }

    const std::string shown;

  private:
    Host host;
    std::atomic<bool> isEnough = false;
    unsigned updates = 0;
    std::thread thread;
};

TEST(PluginThreads, AreNeverClosedInsideADecoder) {
    const Found found("good");
    Host host;
    Decoding jpeg(compressed(eFRAMECOMPRESSION_JPEG).at(50, 50).sized(64, 64),
                  "frame 0 20,40 128x128 #65536");
    Decoding zlib(compressed(eFRAMECOMPRESSION_ZLIB).sized(64, 64), "frame 0 10,20 64x64 #16384");
    // Both are in the middle of updates when the plug-ins change, and both go on with what is left.
    for (int round = 0; round < 10; ++round) {
        jpeg.meet(jpeg.shown);
        zlib.meet(zlib.shown);
        EXPECT_EQ(quarlo_SetSupportedCompressions(host.handle(), 2), eRETURN_OKAY);
        jpeg.meet(refused);
        zlib.meet(zlib.shown);
        EXPECT_EQ(quarlo_SetSupportedCompressions(host.handle(), 0), eRETURN_OKAY);
        zlib.meet(refused);
        _quarlo_OpenDecompressionLibs();
    }
    jpeg.finish();
    zlib.finish();
}

}  // namespace
}  // namespace quarlo::test
