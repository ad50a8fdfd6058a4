/*
 * A phone session without a socket: a stream in memory, a small screen whose movement is known, and
 * a head unit that says bytes, reads what the phone says and composes its pictures. One thread.
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

#include "PacketLog.h"
#include "Session.h"
#include "phone_bytes.h"

namespace quarlo::phone {

class MemoryStream : public Stream {
  public:
    std::deque<std::uint8_t> toPhone;
    Bytes fromPhone;
    std::size_t readPiece = SIZE_MAX;
    std::size_t writePiece = SIZE_MAX;
    bool isGone = false;

    long read(std::span<std::uint8_t> room) override {
        const std::size_t count = std::min({room.size(), toPhone.size(), readPiece});
        if (count == 0 && isGone) return -1;
        const auto end = toPhone.begin() + static_cast<std::ptrdiff_t>(count);
        std::copy(toPhone.begin(), end, room.begin());
        toPhone.erase(toPhone.begin(), end);
        return static_cast<long>(count);
    }
    long write(std::span<const std::uint8_t> bytes) override {
        const auto piece = bytes.first(std::min(bytes.size(), writePiece));
        fromPhone.insert(fromPhone.end(), piece.begin(), piece.end());
        return static_cast<long>(piece.size());
    }
};

/// A gradient, and a block that moves one of its widths to the right every 100 ms.
class MovingBlock : public App {
  public:
    std::string title() const override { return ""; }
    void drawBackdrop(Canvas& canvas, const Box& box) override {
        canvas.fillGradient(box, 0, {0x204060, 1}, {0xE0B080, 1});
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
    int percent;
};

class Rig {
  public:
    explicit Rig(const Options& chosen = {}) : options(chosen) {
        if (!options.clockMilliseconds) options.clockMilliseconds = 0;
        session.emplace(stream, screen, options, log);
    }

    void tell(const Bytes& bytes) {
        stream.toPhone.insert(stream.toPhone.end(), bytes.begin(), bytes.end());
    }
    void request(bool incremental, Area area = {0, 0, 65535, 65535}) {
        Bytes region;
        for (const int side : {area.x, area.y, area.width, area.height})
            region = region + u16(static_cast<unsigned>(side));
        tell(packet(25, region + u8(incremental)));
    }

    /// One round, some time later.
    bool step(int milliseconds = 0) {
        now += std::chrono::milliseconds(milliseconds);
        isAlive = session->step(now) && isAlive;
        return isAlive;
    }
    /// Rounds until everything said on both sides has arrived.
    bool settle() {
        do step();
        while (isAlive && (!stream.toPhone.empty() || session->wantsOutput()));
        return isAlive;
    }
    bool settle(const Bytes& told) {
        tell(told);
        return settle();
    }
    bool handshake() { return settle(version() + init(unit) + initDone()); }
    /// What the phone said in it, and at first, is forgotten.
    void connect() {
        ASSERT_TRUE(handshake());
        ASSERT_TRUE(session->isRunning());
        step(3000);
        stream.fromPhone.clear();
        roomAtHeadUnit = unit.width * unit.height * unit.pixel + 65536;
        canvas = Picture(static_cast<int>(unit.width), static_cast<int>(unit.height));
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

    /// Takes the next packet that a test is about; empty if there is none.
    Bytes take() {
        Bytes& bytes = stream.fromPhone;
        Bytes found;
        while (found.empty() && bytes.size() >= wire::headerSize) {
            const std::size_t size = wire::headerSize + wire::load<UInt32>(&bytes[5]);
            if (size > bytes.size()) break;
            if (!unheard.contains(bytes[0])) found = test::part(bytes, 0, size);
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        }
        return found;
    }
    /// What the phone has said since, in words.
    std::string said() {
        return allTaken("; ", [](const Bytes& bytes) { return describePacket(bytes); });
    }
    std::string saidTo(const Bytes& told) {
        settle(told);
        return said();
    }
    /// The types of the packets that the phone has said since, where there is one the payload's
    /// only byte with them.
    std::string heard() {
        return allTaken(" ", [](const Bytes& bytes) {
            const bool isFlag = bytes.size() == wire::headerSize + 1;
            return std::to_string(bytes[0]) + (isFlag ? ":" + std::to_string(bytes.back()) : "");
        });
    }
    /// Takes one update and draws its rectangles onto the canvas.
    std::vector<Received> takeUpdate() {
        std::vector<Received> rectangles;
        const Bytes update = take();
        if (update.empty()) return rectangles;
        EXPECT_EQ(update[0], 26);
        EXPECT_LE(update.size(), roomAtHeadUnit);
        const std::uint8_t* at = &update[10];
        for (unsigned i = 0; i < update[9]; ++i, at += 21 + wire::load<UInt32>(at + 17)) {
            const auto side = [&](int which) { return wire::load<UInt16>(at + 2 * which); };
            rectangles.push_back(
                {{side(0), side(1), side(2), side(3)}, wire::load<UInt32>(at + 10), at[15]});
            EXPECT_EQ((Bytes{at[8], at[9], at[14], at[16]}),
                      u8(unit.format) + u8(unit.order) + u8(unit.pixel) + u8(at[15]));
            if (at[15] == 100) paint(rectangles.back(), at + 21, wire::load<UInt32>(at + 17));
        }
        return rectangles;
    }
    /// The head unit sees what is on the phone's screen.
    void expectShown() {
        Picture picture;
        quantise(screen.picture(), ePIXELFORMAT_ARGB8888, picture);
        EXPECT_EQ(canvas.pixels, picture.pixels);
    }

    Init unit{.width = 160, .height = 120};
    Options options;
    MemoryStream stream;
    Screen screen{std::make_unique<MovingBlock>()};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> logged{std::tmpfile(), std::fclose};
    Log log{LogLevel::Normal, logged.get()};
    std::optional<Session> session;
    TimePoint now{std::chrono::hours(1)};
    bool isAlive = true;
    std::size_t roomAtHeadUnit = 0;
    Picture canvas;
    /// Packets that a test is not about: what the phone says of its own accord.
    std::set<int> unheard{eEVENTTYPE_ServerAppInfo, eEVENTTYPE_ServerState,
                          eEVENTTYPE_ServerCustomData, eEVENTTYPE_Ping};

  private:
    template <class Words>
    std::string allTaken(const char* between, Words words) {
        std::string all;
        for (Bytes bytes = take(); !bytes.empty(); bytes = take())
            all += (all.empty() ? "" : between) + words(bytes);
        return all;
    }

    /// Other formats than the first one are for the head unit program.
    void paint(const Received& rectangle, const std::uint8_t* data, std::size_t size) {
        const Area& area = rectangle.area;
        ASSERT_EQ(intersection(area, canvas.area()), area) << "outside of the screen";
        Bytes pixels(data, data + size);
        uLongf raw = area.size().count() * 4;
        if (rectangle.compression == eFRAMECOMPRESSION_ZLIB) {
            pixels.resize(raw);
            ASSERT_EQ(uncompress(pixels.data(), &raw, data, size), Z_OK);
        }
        ASSERT_EQ(raw, area.size().count() * 4);
        ASSERT_EQ(pixels.size(), raw);
        const std::uint8_t* at = pixels.data();
        for (int y = area.y; y < area.bottom(); ++y)
            for (int x = area.x; x < area.right(); ++x, at += 4)
                canvas.row(y)[x] = wire::load<UInt32>(at);
    }
};

}  // namespace quarlo::phone

#endif
