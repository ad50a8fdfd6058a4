// What reaches the head unit's screen: rectangles that do not fit, and raw output. Pictures of
// every layout are compared in whole sessions.
#include <gtest/gtest.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "Mailbox.h"
#include "MirroredScreen.h"

namespace quarlo::headunit {
namespace {

using Bytes = std::vector<UInt8>;

constexpr PixelLayout rgb{ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian};

constexpr std::uint32_t black = 0;
constexpr std::uint32_t first = 0x010109;

std::uint32_t at(const Picture& picture, int x, int y) {
    return picture.row(y)[x] & 0xFFFFFF;
}

// Pixels that tell their place: red is the column, green the row, both from 1.
Bytes places(unsigned width, unsigned height) {
    Bytes bytes;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            bytes.insert(bytes.end(), {static_cast<UInt8>(x + 1), static_cast<UInt8>(y + 1), 9});
        }
    }
    return bytes;
}

TEST(Compositor, EnlargesAndClipsByPlace) {
    Picture picture(5, 4);
    const Bytes bytes = places(2, 2);
    ASSERT_EQ(draw(picture, {2, 1, 4, 4}, {{2, 2}, rgb, bytes}), DrawResult::Clipped);
    EXPECT_EQ(at(picture, 1, 1), black);
    EXPECT_EQ(at(picture, 2, 1), first);
    EXPECT_EQ(at(picture, 3, 2), first);
    EXPECT_EQ(at(picture, 4, 3), 0x020209U);
}

TEST(Compositor, RefusesWhatDoesNotFit) {
    struct Case {
        Area area;
        Size size;
        std::size_t length;
        DrawResult result;
    };
    const Case cases[] = {
        {{0, 0, 4, 3}, {4, 3}, 36, DrawResult::Drawn},
        {{0, 0, 4, 3}, {4, 3}, 35, DrawResult::WrongLength},
        {{0, 0, 4, 3}, {4, 3}, 37, DrawResult::WrongLength},
        {{0, 0, 4, 3}, {4, 3}, 0, DrawResult::WrongLength},
        {{3, 2, 4, 3}, {4, 3}, 36, DrawResult::Clipped},
        {{4, 0, 4, 3}, {4, 3}, 36, DrawResult::Outside},
        {{0, 3, 4, 3}, {4, 3}, 36, DrawResult::Outside},
        {{65535, 65535, 4, 3}, {4, 3}, 36, DrawResult::Outside},
        {{0, 0, 65535, 65535}, {65535, 65535}, 36, DrawResult::WrongLength},
        // 65536 x 65536 x 3 is 0 in 32 bits
        {{0, 0, 65536, 65536}, {65536, 65536}, 0, DrawResult::WrongLength},
        {{0, 0, 0, 3}, {0, 3}, 0, DrawResult::Empty},
        {{0, 0, 0, 3}, {4, 3}, 36, DrawResult::Empty},
    };
    for (const Case& one : cases) {
        Picture picture(4, 3);
        const Bytes bytes(one.length, 7);  // exact: a sanitizer sees a read behind it
        const DrawResult result = draw(picture, one.area, {one.size, rgb, bytes});
        EXPECT_EQ(result, one.result) << one.area.x << "," << one.area.y << " " << one.length;
        if (!isDrawn(result)) {
            EXPECT_EQ(picture.pixels, Picture(4, 3).pixels);
        }
    }
    Picture picture(4, 3);
    const Bytes bytes(36, 7);
    const PixelLayout strange[] = {{static_cast<PixelFormat>(0), ePIXELENDIANESS_BigEndian},
                                   {static_cast<PixelFormat>(5), ePIXELENDIANESS_BigEndian},
                                   {ePIXELFORMAT_RGB888, static_cast<PixelEndianess>(0)},
                                   {ePIXELFORMAT_RGB888, static_cast<PixelEndianess>(3)}};
    for (const PixelLayout& layout : strange) {
        EXPECT_EQ(draw(picture, {0, 0, 4, 3}, {{4, 3}, layout, bytes}), DrawResult::UnknownFormat);
    }
}

TEST(Screen, TellsWhatIsMissingInAnUpdate) {
    MirroredScreen screen({4, 3}, rgb, 2);
    const Bytes bytes = places(4, 3);

    screen.begin(1);
    EXPECT_EQ(screen.drawDecoded(0, {0, 0, 4, 3}, bytes), "");
    Update update = screen.end();
    EXPECT_EQ(update.number, 1U);
    EXPECT_EQ(update.problem, "");
    EXPECT_FALSE(update.picture.has_value());

    screen.begin(3);
    EXPECT_NE(screen.drawDecoded(0, {9, 9, 4, 3}, bytes), "");
    screen.drawDecoded(1, {0, 0, 4, 3}, Bytes(5));
    update = screen.end();
    EXPECT_EQ(update.problem, "rectangle 0 lies outside the screen");
    ASSERT_TRUE(update.picture.has_value());
    EXPECT_EQ(at(*update.picture, 0, 0), first) << "earlier updates stay";
    EXPECT_EQ(at(*update.picture, 3, 2), 0x040309U);

    screen.begin(2);
    screen.drawDecoded(0, {0, 0, 4, 3}, bytes);
    EXPECT_EQ(screen.end().problem, "1 of 2 rectangles arrived");

    screen.reshape({2, 1}, {ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian});
    screen.begin(1);
    EXPECT_EQ(screen.drawDecoded(0, {0, 0, 2, 1}, Bytes{0xF8, 0x00, 0x00, 0x1F}), "");
    update = screen.end();
    ASSERT_TRUE(update.picture.has_value());
    EXPECT_EQ(at(*update.picture, 0, 0), 0xFF0000U);
    EXPECT_EQ(at(*update.picture, 1, 0), 0x0000FFU);
}

Bytes deflated(const Bytes& bytes) {
    uLongf length = compressBound(bytes.size());
    Bytes result(length);
    compress(result.data(), &length, bytes.data(), bytes.size());
    result.resize(length);
    return result;
}

TEST(Screen, DecodesRawRectangles) {
    const Bytes plain = places(2, 1);
    const Bytes packed = deflated(plain);
    const Bytes tooLong = deflated(places(2, 2));
    const Bytes tooShort = deflated(places(1, 1));
    const Bytes cut(packed.begin(), packed.end() - 5);
    const Bytes noise{1, 2, 3, 4, 5, 6};
    constexpr Area area{0, 0, 2, 1};
    constexpr Area huge{0, 0, 65535, 65535};
    constexpr FrameCompression zlib = eFRAMECOMPRESSION_ZLIB;
    constexpr FrameCompression none = eFRAMECOMPRESSION_Uncompressed;
    struct Case {
        RawRectangle rectangle;
        const char* remark;
    };
    const Case cases[] = {
        {{area, 100, 100, rgb, none, plain}, ""},
        {{area, 0, 0, rgb, none, plain}, ""},
        {{area, 50, 25, rgb, none, plain}, ""},
        {{area, 100, 100, rgb, zlib, packed}, ""},
        {{area, 100, 100, rgb, zlib, tooLong}, "does not decompress to its size"},
        {{area, 100, 100, rgb, zlib, tooShort}, "has a length that does not fit its size"},
        {{area, 100, 100, rgb, zlib, cut}, "does not decompress to its size"},
        {{area, 100, 100, rgb, zlib, noise}, "has broken zlib data"},
        {{area, 100, 100, rgb, eFRAMECOMPRESSION_JPEG, noise}, "has broken JPEG data"},
        {{huge, 100, 100, rgb, zlib, packed}, "is too large"},
        {{area, 100, 100, rgb, 3, plain}, "has an unknown compression"},
        {{area, 100, 101, rgb, none, plain}, "is to be made smaller"},
        {{area, 0, 100, rgb, none, plain}, "is to be made smaller"},
    };
    for (const Case& one : cases) {
        MirroredScreen screen({4, 4}, PixelLayout{}, 1);
        screen.begin(1);
        EXPECT_EQ(screen.drawRaw(0, one.rectangle), one.remark);
        Update update = screen.end();
        EXPECT_EQ(update.problem.empty(), *one.remark == '\0');
        ASSERT_TRUE(update.picture.has_value());
        EXPECT_EQ(at(*update.picture, 0, 0) == first, *one.remark == '\0') << one.remark;
        const bool isEnlarged = one.rectangle.verticalPercentage == 25;
        EXPECT_EQ(at(*update.picture, 1, 3) == first, isEnlarged);
    }
}

// A phone that sends unasked may not fill the memory: the receiver thread waits for the reader.
TEST(Mailbox, HoldsTheSenderUntilUpdatesAreTaken) {
    Mailbox mailbox;
    std::atomic<unsigned> posted{0};
    std::thread receiver([&] {
        for (unsigned i = 1; i <= 6; ++i) {
            mailbox.post(Update{i, 0, 0, 0, 0, {}, {}});
            posted = i;
        }
    });
    while (posted < 2) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(posted, 2U) << "the third waits for room";

    unsigned taken = 0;
    while (taken < 4) {
        mailbox.wait(1000, -1);
        const News news = mailbox.take();
        EXPECT_LE(news.updates.size(), 2U);
        for (const Update& update : news.updates) EXPECT_EQ(update.number, ++taken);
    }
    mailbox.close();
    receiver.join();
    EXPECT_EQ(posted, 6U) << "nobody waits for a closed mailbox";
}

}  // namespace
}  // namespace quarlo::headunit
