/*
 * A phone session without a socket: a stream in memory, a small screen whose movement is known, and
 * a head unit made from the wire functions that composes what it receives. One thread.
 */
#ifndef QUARLO_TESTS_PHONE_RIG_H
#define QUARLO_TESTS_PHONE_RIG_H

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <deque>

#include "FrameEncoder.h"
#include "Session.h"

namespace quarlo::phone {

class MemoryStream : public Stream {
  public:
    std::deque<std::uint8_t> toPhone;
    std::vector<std::uint8_t> fromPhone;
    std::size_t readPiece = SIZE_MAX;
    std::size_t writePiece = SIZE_MAX;
    bool isGone = false;

    long read(std::span<std::uint8_t> room) override {
        const std::size_t count = std::min({room.size(), toPhone.size(), readPiece});
        if (count == 0) return isGone ? -1 : 0;
        const auto end = toPhone.begin() + static_cast<std::ptrdiff_t>(count);
        std::copy(toPhone.begin(), end, room.begin());
        toPhone.erase(toPhone.begin(), end);
        return static_cast<long>(count);
    }
    long write(std::span<const std::uint8_t> bytes) override {
        if (isGone) return -1;
        const std::size_t count = std::min(bytes.size(), writePiece);
        fromPhone.insert(fromPhone.end(), bytes.begin(),
                         bytes.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<long>(count);
    }
};

/// A gradient with noise, and a block that moves one of its widths to the right every 100 ms.
class MovingBlock : public App {
  public:
    std::string title() const override { return ""; }
    void drawBackdrop(Canvas& canvas, const Box& box) override {
        canvas.fillGradient(box, 0, {0x204060, 1}, {0xE0B080, 1});
        for (int i = 0; i < 40; ++i)
            canvas.fillCircle(box.width * (i * 37 % 40) / 40, box.y + box.height * i / 40, 3,
                              {0xFF00FF, 0.5});
    }
    void draw(Canvas& canvas, const Box& box, const Moment& moment) override {
        const double step = static_cast<double>(moment.milliseconds / 100 % 10);
        canvas.fill({step * 8, box.y + 20, 8, 8}, {0x00FF80, 1});
    }
};

/// A rectangle as the head unit received it.
struct Received {
    Area area;
    FrameCompression compression;
    unsigned percent;
    std::size_t dataLength;
};

class Rig {
  public:
    explicit Rig(const Options& chosen = {}) : options(chosen) {
        if (!options.clockMilliseconds) options.clockMilliseconds = 0;
        session.emplace(stream, screen, options, log);
    }

    template <class P, class Fill>
    void tell(Fill fill) {
        P* packet = wire::newPacket<P>();
        fill(*packet);
        void* buffer = nullptr;
        UInt32 size = 0;
        wire::packetToBuffer(&buffer, &size, packet);
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        stream.toPhone.insert(stream.toPhone.end(), bytes, bytes + size);
        quarlo_free(buffer);
        wire::deletePacket(packet);
    }
    void tellBytes(const std::vector<std::uint8_t>& bytes) {
        stream.toPhone.insert(stream.toPhone.end(), bytes.begin(), bytes.end());
    }

    /// One round, some time later.
    bool step(int milliseconds = 0) {
        now += std::chrono::milliseconds(milliseconds);
        isAlive = session->step(now) && isAlive;
        dropUnheard();
        return isAlive;
    }
    /// Rounds until everything said on both sides has arrived.
    bool settle() {
        do step();
        while (isAlive && (!stream.toPhone.empty() || session->wantsOutput()));
        return isAlive;
    }

    void tellInit() {
        tell<packetClientInit>([&](auto& packet) {
            setText(*packet.Name, "test unit");
            packet.ScreenWidth = static_cast<UInt16>(width);
            packet.ScreenHeight = static_cast<UInt16>(height);
            packet.Capabilities =
                eCLIENTCAPABILITIES_ScreenCopy | eCLIENTCAPABILITIES_PacketExtensions;
            packet.SupportedCompressions = supported;
            *packet.FrameProperties = {layout.format, layout.order, wanted, layout.bytesPerPixel()};
        });
    }
    void tellVersion() {
        tell<packetClientProtocolVersion>([](auto& packet) { *packet.Version = {1, 2, 0}; });
    }
    void tellDone() {
        tell<packetClientInitDone>([](auto& packet) { packet.Successful = eFLAG_TRUE; });
    }
    void request(bool incremental, Area area = {0, 0, 65535, 65535}) {
        tell<packetFramebufferUpdateRequest>([&](auto& packet) {
            *packet.UpdateRegion = {static_cast<UInt16>(area.x), static_cast<UInt16>(area.y),
                                    static_cast<UInt16>(area.width),
                                    static_cast<UInt16>(area.height)};
            packet.Incremental = incremental ? eFLAG_TRUE : eFLAG_FALSE;
        });
    }
    /// The whole handshake; what the phone said in it is forgotten.
    void connect() {
        tellVersion();
        tellInit();
        tellDone();
        settle();
        ASSERT_TRUE(session->isRunning());
        step(3000);
        stream.fromPhone.clear();
        canvas = Picture(width, height, 0xFF000000);
    }

    /// What the phone noted with this in it since it was asked last.
    std::vector<std::string> notes(const std::string& part) {
        std::vector<std::string> found;
        std::rewind(logged.get());
        std::array<char, 512> text;
        while (std::fgets(text.data(), text.size(), logged.get()) != nullptr) {
            const std::string line(printable(text.data()));
            const std::size_t at = line.find("UNIT  ");
            if (at != line.npos && line.find(part, at + 6) != line.npos)
                found.push_back(line.substr(at + 6));
        }
        std::rewind(logged.get());
        EXPECT_EQ(ftruncate(fileno(logged.get()), 0), 0);
        return found;
    }

    /// The types of the packets that the phone sent and nobody took yet.
    std::vector<int> heardTypes() const {
        std::vector<int> types;
        for (std::size_t at = 0; at + wire::headerSize <= stream.fromPhone.size(); at += sizeAt(at))
            types.push_back(stream.fromPhone[at]);
        return types;
    }
    /// Takes the phone's next packet, which has to be a P; the caller deletes it.
    template <class P>
    std::unique_ptr<P, void (*)(P*)> take() {
        std::unique_ptr<P, void (*)(P*)> packet(nullptr, wire::deletePacket<P>);
        auto& bytes = stream.fromPhone;
        if (bytes.size() < wire::headerSize || bytes.size() < sizeAt(0)) return packet;
        const std::size_t size = sizeAt(0);
        wire::Bounded input{bytes.data(), bytes.data() + size};
        wire::Heap heap;
        packet.reset(wire::decodePacket<P>(input, heap));
        EXPECT_EQ(input.at, input.end) << "the declared size is not the size";
        largestHeard = std::max(largestHeard, size);
        bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        return packet;
    }
    /// Takes one update and draws its rectangles onto the canvas.
    std::vector<Received> takeUpdate() {
        std::vector<Received> rectangles;
        const auto update = take<packetFramebufferUpdate>();
        if (update == nullptr) return rectangles;
        for (unsigned i = 0; i < update->UpdateRegions->Length; ++i) {
            const qrFrameRectangle& from = *update->UpdateRegions->paRectangles[i];
            const qrRectangle& r = *from.Rectangle;
            rectangles.push_back({{r.X, r.Y, r.Width, r.Height},
                                  from.Properties->Compression,
                                  from.ScalingPercentageHorizontal,
                                  from.DataLength});
            EXPECT_EQ(from.ScalingPercentageHorizontal, from.ScalingPercentageVertical);
            EXPECT_EQ(from.Properties->Format, layout.format);
            EXPECT_EQ(from.Properties->Endianess, layout.order);
            EXPECT_EQ(from.Properties->BytesPerPixel, layout.bytesPerPixel());
            paint(from, rectangles.back());
        }
        return rectangles;
    }
    /// The phone's screen in the colours of the declared format.
    Picture shown() {
        Picture picture;
        quantise(screen.picture(), layout.format, picture);
        return picture;
    }

    int width = 160;
    int height = 120;
    PixelLayout layout;
    FrameCompression supported = eFRAMECOMPRESSION_All;
    FrameCompression wanted = eFRAMECOMPRESSION_None;
    Options options;
    MemoryStream stream;
    Screen screen{std::make_unique<MovingBlock>()};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> logged{std::tmpfile(), std::fclose};
    Log log{LogLevel::Normal, logged.get()};
    std::optional<Session> session;
    TimePoint now{std::chrono::hours(1)};
    bool isAlive = true;
    Picture canvas;
    std::size_t largestHeard = 0;
    bool keepsPings = false;
    /// Packets that a test is not about: what the phone says of its own accord.
    std::vector<int> unheard{eEVENTTYPE_ServerAppInfo, eEVENTTYPE_ServerState,
                             eEVENTTYPE_ServerCustomData};

  private:
    bool isUnheard(int type) const {
        if (type == eEVENTTYPE_Ping) return !keepsPings;
        return std::find(unheard.begin(), unheard.end(), type) != unheard.end();
    }
    void dropUnheard() {
        auto& bytes = stream.fromPhone;
        for (std::size_t at = 0; at + wire::headerSize <= bytes.size();) {
            const std::size_t size = sizeAt(at);
            if (!isUnheard(bytes[at]) || at + size > bytes.size()) {
                at += size;
                continue;
            }
            const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            bytes.erase(start, start + static_cast<std::ptrdiff_t>(size));
        }
    }
    std::size_t sizeAt(std::size_t at) const {
        return wire::headerSize + wire::load<UInt32>(stream.fromPhone.data() + at + 5);
    }

    void paint(const qrFrameRectangle& from, const Received& rectangle) {
        const Area& area = rectangle.area;
        if (rectangle.compression == eFRAMECOMPRESSION_JPEG || rectangle.percent != 100) return;
        ASSERT_EQ(intersection(area, canvas.area()), area) << "outside of the screen";
        const std::size_t raw =
            static_cast<std::size_t>(area.width * area.height) * layout.bytesPerPixel();
        std::vector<std::uint8_t> pixels(raw);
        if (rectangle.compression == eFRAMECOMPRESSION_ZLIB) {
            uLongf size = raw;
            ASSERT_EQ(uncompress(pixels.data(), &size, from.pData, from.DataLength), Z_OK);
            ASSERT_EQ(size, raw);
        } else {
            ASSERT_EQ(from.DataLength, raw);
            std::memcpy(pixels.data(), from.pData, raw);
        }
        unpack(pixels.data(), area);
    }

    void unpack(const std::uint8_t* at, const Area& area) {
        const unsigned size = layout.bytesPerPixel();
        for (int y = area.y; y < area.bottom(); ++y) {
            for (int x = area.x; x < area.right(); ++x, at += size) {
                std::uint32_t value = 0;
                for (unsigned i = 0; i < size; ++i) {
                    const bool isLittle = layout.order == ePIXELENDIANESS_LittleEndian;
                    value |= std::uint32_t{at[i]} << 8 * (isLittle ? i : size - 1 - i);
                }
                canvas.row(y)[x] = rgbOf(value);
            }
        }
    }

    std::uint32_t rgbOf(std::uint32_t value) const {
        if (layout.format == ePIXELFORMAT_RGBA8888) return 0xFF000000u | value >> 8;
        if (layout.format != ePIXELFORMAT_RGB565) return 0xFF000000u | value;
        const std::uint32_t r = value >> 11 & 31;
        const std::uint32_t g = value >> 5 & 63;
        const std::uint32_t b = value & 31;
        return 0xFF000000u | (r << 3 | r >> 2) << 16 | (g << 2 | g >> 4) << 8 | (b << 3 | b >> 2);
    }
};

}  // namespace quarlo::phone

#endif
