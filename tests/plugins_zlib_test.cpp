/*
 * The zlib plug-in: whole streams of every kind, and everything that a broken or hostile one gets.
 */
#include <zlib.h>

#include <string>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

using Bytes = std::vector<UInt8>;

/** A picture with flat areas, gradients and noise; deterministic. */
Bytes picture(size_t size) {
    Bytes bytes(size);
    UInt32 noise = 1;
    for (size_t i = 0; i < size; ++i) {
        noise = noise * 1664525U + 1013904223U;
        const size_t area = (i / 1000) % 3;
        bytes[i] = area == 0   ? UInt8{0x30}
                   : area == 1 ? static_cast<UInt8>(i)
                               : static_cast<UInt8>(noise >> 24);
    }
    return bytes;
}

struct Kind {
    int level = Z_DEFAULT_COMPRESSION;
    int strategy = Z_DEFAULT_STRATEGY;
    int windowBits = 15;
    int lastFlush = Z_FINISH;
};

Bytes compress(const Bytes& plain, const Kind& kind = {}) {
    z_stream stream{};
    EXPECT_EQ(Z_OK,
              deflateInit2(&stream, kind.level, Z_DEFLATED, kind.windowBits, 8, kind.strategy));
    Bytes out(deflateBound(&stream, plain.size()) + 64);
    stream.next_in = const_cast<UInt8*>(plain.data());
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, kind.lastFlush);
    EXPECT_EQ(0U, stream.avail_in);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

class ZlibPlugin : public testing::Test {
  protected:
    ~ZlibPlugin() override { EXPECT_EQ(0, HostHeap::live); }

    static decompressParameter rectangle(const Exact& data, const Exact& frame) {
        return {1,
                static_cast<UInt16>(1),
                0,
                ePIXELFORMAT_RGB888,
                ePIXELENDIANESS_LittleEndian,
                eFRAMECOMPRESSION_ZLIB,
                data.data(),
                data.size(),
                frame.data(),
                frame.size()};
    }

    /** Decodes into a frame of exactly the given size. */
    Outcome decode(const Bytes& data, size_t frameSize) {
        const Exact in(data);
        const Exact frame(frameSize);
        const Outcome outcome = plugin(rectangle(in, frame));
        decoded = frame.bytes();
        return outcome;
    }

    Decompressor plugin{"libQUARLO-Decomp01.so", eFRAMECOMPRESSION_ZLIB};
    Bytes decoded;
};

constexpr Outcome success{eDECOMPRESSERROR_NONE, 0};
constexpr Outcome sizeMismatch{eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH, 0};

TEST_F(ZlibPlugin, DecodesWholeStreamsOfEveryKind) {
    const Kind kinds[] = {{0},
                          {1},
                          {6},
                          {9},
                          {6, Z_HUFFMAN_ONLY},
                          {6, Z_RLE},
                          {6, Z_FIXED},
                          {9, Z_FILTERED, 9},
                          {6, Z_DEFAULT_STRATEGY, 15, Z_SYNC_FLUSH},
                          {6, Z_DEFAULT_STRATEGY, 15, Z_FULL_FLUSH}};
    for (const size_t size : {1U, 2U, 257U, 70'000U, 400'000U}) {
        const Bytes plain = picture(size);
        for (const Kind& kind : kinds) {
            SCOPED_TRACE(testing::Message()
                         << size << " bytes, level " << kind.level << ", strategy " << kind.strategy
                         << ", flush " << kind.lastFlush);
            const Bytes data = compress(plain, kind);
            EXPECT_EQ(success, decode(data, size));
            EXPECT_EQ(plain, decoded);
            EXPECT_EQ(sizeMismatch, decode(data, size + 1));
            if (size > 1) {
                EXPECT_EQ(sizeMismatch, decode(data, size - 1));
            }
        }
    }
}

TEST_F(ZlibPlugin, IgnoresWhatFollowsTheStream) {
    const Bytes plain = picture(3000);
    Bytes data = compress(plain);
    data.insert(data.end(), 5, 0xAA);
    EXPECT_EQ(success, decode(data, plain.size()));
    EXPECT_EQ(plain, decoded);
}

TEST_F(ZlibPlugin, RefusesParameters) {
    const Exact data(compress(picture(12)));
    const Exact frame(12);
    expectRefusesParameters(plugin, rectangle(data, frame));
    expectRefusesInitialiseWithoutHeap(plugin);
    decompressParameter p = rectangle(data, frame);
    p.compression = eFRAMECOMPRESSION_JPEG;
    EXPECT_EQ((Outcome{eDECOMPRESSERROR_PARAM_CONTENT, 0}), plugin(p));
}

TEST_F(ZlibPlugin, NamesTheFaultOfBrokenData) {
    const Bytes plain = picture(5000);
    const Bytes whole = compress(plain);
    const auto changed = [&](size_t at, UInt8 value) {
        Bytes bytes = whole;
        bytes[at] = value;
        return bytes;
    };
    Bytes withDictionary = {0x78, 0xBB, 0, 0, 0, 1};
    const struct {
        const char* what;
        Bytes data;
        Int32 detail;
    } cases[] = {
        {"no data", {}, Z_BUF_ERROR},
        {"header alone", {0x78, 0x9C}, Z_BUF_ERROR},
        {"no zlib stream", changed(0, 0x00), Z_DATA_ERROR},
        {"gzip", {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3}, Z_DATA_ERROR},
        {"wrong check sum", changed(whole.size() - 1, UInt8(whole.back() + 1)), Z_DATA_ERROR},
        {"block type 3", {0x78, 0x9C, 0x07, 0, 0, 0, 0}, Z_DATA_ERROR},
        {"distance before the start", {0x78, 0x9C, 0x4B, 0x04, 0x12, 0, 0}, Z_DATA_ERROR},
        {"stored length and its complement differ", {0x78, 0x01, 1, 5, 0, 5, 0}, Z_DATA_ERROR},
        {"preset dictionary", withDictionary, Z_NEED_DICT},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ((Outcome{eDECOMPRESSERROR_ZLIB_ERROR, c.detail}), decode(c.data, plain.size()));
    }
}

// Cut at every byte, also inside the trailing check sum and inside the flush marker.
TEST_F(ZlibPlugin, RefusesEveryTruncation) {
    const Bytes plain = picture(4000);
    for (const int flush : {Z_FINISH, Z_SYNC_FLUSH}) {
        const Bytes whole = compress(plain, {6, Z_DEFAULT_STRATEGY, 15, flush});
        // The flush marker's own header bits may share the last byte of the picture's block.
        const size_t end = flush == Z_FINISH ? whole.size() : whole.size() - 5;
        for (size_t length = 0; length < end; ++length) {
            SCOPED_TRACE(testing::Message() << "flush " << flush << ", byte " << length);
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ((Outcome{eDECOMPRESSERROR_ZLIB_ERROR, Z_BUF_ERROR}),
                      decode(cut, plain.size()));
        }
    }
}

// Wherever one bit is turned the plug-in answers with a documented code and stays inside its
// buffers.
TEST_F(ZlibPlugin, SurvivesEveryTurnedBit) {
    const Bytes plain = picture(300);
    const Bytes whole = compress(plain);
    for (size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Bytes data = whole;
        data[bit / 8] = static_cast<UInt8>(data[bit / 8] ^ (1U << (bit % 8)));
        const Outcome outcome = decode(data, plain.size());
        if (outcome == success) {
            EXPECT_EQ(plain, decoded) << "bit " << bit;
        } else {
            EXPECT_TRUE(outcome == sizeMismatch || outcome.result == eDECOMPRESSERROR_ZLIB_ERROR)
                << "bit " << bit << ": " << outcome;
        }
    }
}

TEST_F(ZlibPlugin, StopsABombAtTheEndOfTheFrame) {
    const Bytes bomb = compress(Bytes(64U << 20U));
    ASSERT_LT(bomb.size(), 100'000U);
    HostHeap::made = 0;
    EXPECT_EQ(sizeMismatch, decode(bomb, 4096));
    EXPECT_EQ(Bytes(4096), decoded);
    EXPECT_LE(HostHeap::made, 4);
}

TEST_F(ZlibPlugin, ReportsAHostWithoutMemory) {
    const Bytes plain = picture(2000);
    HostHeap::refuses = true;
    // Needs the second opinion, which allocates from the host.
    const Outcome outcome = decode(compress(plain, {6, 0, 15, Z_SYNC_FLUSH}), plain.size());
    HostHeap::refuses = false;
    EXPECT_EQ((Outcome{eDECOMPRESSERROR_MEM_ALLOC, 0}), outcome);
}

TEST_F(ZlibPlugin, ServesEightThreads) {
    const Bytes plain = picture(50'000);
    const Bytes data[] = {compress(plain), compress(plain, {1}),
                          compress(plain, {6, Z_DEFAULT_STRATEGY, 15, Z_SYNC_FLUSH})};
    std::atomic<int> failures{0};
    onEightThreads([&](unsigned thread) {
        const Exact in(data[thread % 3]);
        for (int i = 0; i < 20; ++i) {
            const Exact frame(plain.size() + (i % 4 == 3 ? 1U : 0U));
            const Outcome outcome = plugin(rectangle(in, frame));
            const bool asExpected =
                i % 4 == 3 ? outcome == sizeMismatch : outcome == success && frame.bytes() == plain;
            failures += asExpected ? 0 : 1;
        }
    });
    EXPECT_EQ(0, failures);
}

}  // namespace
}  // namespace quarlo::test
