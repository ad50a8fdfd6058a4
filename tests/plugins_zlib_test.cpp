/*
 * The zlib plug-in: whole streams of every kind, and everything that a broken or hostile one gets.
 */
#include <zlib.h>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

/** A picture with flat areas, gradients and noise; deterministic. */
Bytes picture(size_t size) {
    Bytes bytes(size);
    UInt32 noise = 1;
    for (size_t i = 0; i < size; ++i) {
        noise = noise * 1664525U + 1013904223U;
        const UInt32 kinds[] = {0x30, static_cast<UInt32>(i), noise >> 24};
        bytes[i] = static_cast<UInt8>(kinds[i / 1000 % 3]);
    }
    return bytes;
}

struct Kind {
    int level = 6;
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
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

class ZlibPlugin : public testing::Test {
  protected:
    ~ZlibPlugin() override { EXPECT_EQ(0, HostHeap::live); }

    /** Decodes into a frame of exactly the given size, of a plug-in that is not told a format. */
    Outcome decode(const Bytes& data, size_t frameSize) {
        return plugin.decode(data, static_cast<int>(frameSize), 1, {"", {}, {}, 1});
    }

    Decompressor plugin{"libQUARLO-Decomp01.so", eFRAMECOMPRESSION_ZLIB};
};

constexpr Outcome success{eDECOMPRESSERROR_NONE, 0};
constexpr Outcome sizeMismatch{eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH, 0};
constexpr Outcome failing(Int32 code) {
    return {eDECOMPRESSERROR_ZLIB_ERROR, code};
}

TEST_F(ZlibPlugin, DecodesWholeStreamsOfEveryKind) {
    const Kind kinds[] = {{0},
                          {9},
                          {6, Z_HUFFMAN_ONLY},
                          {6, Z_FIXED},
                          {9, Z_FILTERED, 9},
                          {6, Z_DEFAULT_STRATEGY, 15, Z_SYNC_FLUSH},
                          {6, Z_DEFAULT_STRATEGY, 15, Z_FULL_FLUSH}};
    for (const size_t size : {1U, 257U, 65'000U}) {
        const Bytes plain = picture(size);
        for (const Kind& kind : kinds) {
            SCOPED_TRACE(testing::Message()
                         << size << " bytes, level " << kind.level << ", strategy " << kind.strategy
                         << ", flush " << kind.lastFlush);
            const Bytes data = compress(plain, kind);
            EXPECT_EQ(success, decode(data, size));
            EXPECT_EQ(plain, plugin.decoded);
            EXPECT_EQ(sizeMismatch, decode(data, size + 1));
            if (size == 1) continue;
            EXPECT_EQ(sizeMismatch, decode(data, size - 1));
        }
    }
}

TEST_F(ZlibPlugin, RefusesParameters) {
    const Exact data(compress(picture(12)));
    const Exact frame(12);
    const decompressParameter good = compressedPicture(plugin.bit, data, frame, 4, 1, layouts[0]);
    expectEach(good, changesOfAnyData, plugin.call);
    const Changes others = {{"JPEG", [](auto& p) { p.compression = eFRAMECOMPRESSION_JPEG; },
                             eDECOMPRESSERROR_PARAM_CONTENT}};
    expectEach(good, others, plugin.call);
}

TEST_F(ZlibPlugin, NamesTheFaultOfBrokenData) {
    const Bytes plain = picture(5000);
    const Bytes whole = compress(plain);
    const auto changed = [&](size_t at, int value) {
        Bytes bytes = whole;
        bytes[at] = static_cast<UInt8>(value);
        return bytes;
    };
    const struct {
        const char* what;
        Bytes data;
        Outcome expected;
    } cases[] = {
        {"bytes behind the stream", whole + Bytes(5, 0xAA), success},
        {"no data", {}, failing(Z_BUF_ERROR)},
        {"header alone", {0x78, 0x9C}, failing(Z_BUF_ERROR)},
        {"no zlib stream", changed(0, 0x00), failing(Z_DATA_ERROR)},
        {"gzip", {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3}, failing(Z_DATA_ERROR)},
        {"wrong check sum", changed(whole.size() - 1, whole.back() + 1), failing(Z_DATA_ERROR)},
        {"distance before the start", {0x78, 0x9C, 0x4B, 0x04, 0x12, 0, 0}, failing(Z_DATA_ERROR)},
        {"preset dictionary", {0x78, 0xBB, 0, 0, 0, 1}, failing(Z_NEED_DICT)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.expected, decode(c.data, plain.size()));
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
            EXPECT_EQ(failing(Z_BUF_ERROR), decode(part(whole, 0, length), plain.size()));
        }
    }
}

TEST_F(ZlibPlugin, StopsABombAtTheEndOfTheFrameAndReportsAHostWithoutMemory) {
    const Bytes bomb = compress(Bytes(64U << 20U));
    HostHeap::made = 0;
    EXPECT_EQ(sizeMismatch, decode(bomb, 4096));
    EXPECT_EQ(Bytes(4096), plugin.decoded);
    EXPECT_LE(HostHeap::made, 4);
    // The second opinion allocates from the host.
    HostHeap::refuses = true;
    EXPECT_EQ((Outcome{eDECOMPRESSERROR_MEM_ALLOC, 0}), decode(bomb, 4096));
    HostHeap::refuses = false;
}

}  // namespace
}  // namespace quarlo::test
