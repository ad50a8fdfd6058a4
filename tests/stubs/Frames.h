/* Framebuffer updates by hand, and a host in RUN that is shown them. */
#ifndef QUARLO_TESTS_FRAMES_H
#define QUARLO_TESTS_FRAMES_H

#include <cstring>

#include "Calls.h"
#include "Plugins.h"
#include "Stubs.h"

namespace quarlo::test {

struct Rect {
    unsigned x = 10;
    unsigned y = 20;
    unsigned width = 4;
    unsigned height = 2;
    Bytes data = Bytes(32, 0x11);
    unsigned compression = eFRAMECOMPRESSION_Uncompressed;
    unsigned horizontal = 100;
    unsigned vertical = 100;
    unsigned bytesPerPixel = 4;
    unsigned format = ePIXELFORMAT_ARGB8888;
    unsigned endian = ePIXELENDIANESS_LittleEndian;

    [[nodiscard]] Bytes wire() const {
        return u16(x) + u16(y) + u16(width) + u16(height) + u8(format) + u8(endian) +
               u32(compression) + u8(bytesPerPixel) + u8(horizontal) + u8(vertical) +
               u32(data.size()) + data;
    }
    [[nodiscard]] Rect at(unsigned h, unsigned v) const {
        Rect scaled = *this;
        scaled.horizontal = h;
        scaled.vertical = v;
        return scaled;
    }
    [[nodiscard]] Rect sized(unsigned w, unsigned h) const {
        Rect other = *this;
        other.width = w;
        other.height = h;
        return other;
    }
};

inline Bytes update(const std::vector<Rect>& rectangles) {
    Bytes payload = u8(static_cast<unsigned>(rectangles.size()));
    for (const Rect& rectangle : rectangles) payload = payload + rectangle.wire();
    return packet(26, payload);
}

/** A rectangle that a stub decompresses. */
inline Rect compressed(unsigned compression, const StubOrder& order = {0, 0, 0x55, 0}) {
    Rect rectangle;
    rectangle.compression = compression;
    rectangle.data.resize(sizeof order);
    std::memcpy(rectangle.data.data(), &order, sizeof order);
    return rectangle;
}

/** A host in RUN with the stubs of a folder. */
class Screen : public Folder, public Session {
  public:
    explicit Screen(const std::string& folder = "good") : Folder(folder) {}

    /** Everything that the host sees of an update; addresses are left out. */
    Lines show(const std::vector<Rect>& rectangles) {
        Lines lines = hear(update(rectangles));
        for (std::string& line : lines) {
            const std::size_t at = line.find("= 0x");
            if (at != std::string::npos) line.replace(at + 2, 10, "address");
        }
        return lines;
    }

    /** The same without the lines that every update of one rectangle has. */
    Lines showOne(const Rect& rectangle) {
        const Lines lines = show({rectangle});
        if (lines.size() < 6) {
            ADD_FAILURE() << "only " << lines.size() << " lines";
            return lines;
        }
        EXPECT_EQ(Lines(lines.begin(), lines.begin() + 5), head(1) + announced(0, rectangle));
        EXPECT_EQ(lines.back(), "frame end");
        return {lines.begin() + 5, lines.end() - 1};
    }

    static Lines head(std::size_t count) {
        const std::string number = std::to_string(count);
        return {"IFF FramebufferUpdate",
                "VRF     packet contains " + number + " rectangle" + (count == 1 ? "" : "s"),
                "frame start " + number};
    }
    static Lines announced(unsigned index, const Rect& r) {
        const auto text = [](std::size_t value) { return std::to_string(value); };
        return {"VRF     rectangle[" + text(index) + "] at (" + text(r.x) + "," + text(r.y) +
                    ") with size (" + text(r.width) + ", " + text(r.height) + ")\n",
                "VRF     data size is " + text(r.data.size()) + "\n"};
    }
};

/** The lines of a picture buffer that is made or made anew. */
inline Lines madeBuffer(std::size_t size) {
    return {"INF (Re-)Allocate Frame Buffer",
            "VER     frame buffer = address, size = " + std::to_string(size)};
}

}  // namespace quarlo::test

#endif
