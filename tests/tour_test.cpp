// What a tour of everything leaves behind: the log of the head unit, the log of the phone with
// every packet, and the screenshots. tools/tour.sh has played it before; QUARLO_TOUR names its
// directory.
#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string tour() {
    return QUARLO_TOUR;
}

std::vector<std::string> linesOf(const std::string& file) {
    std::ifstream input(tour() + "/" + file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(line);
    EXPECT_FALSE(lines.empty()) << file;
    return lines;
}

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;  // 0x00RRGGBB

    std::uint32_t at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    bool operator==(const Picture&) const = default;
};

Picture load(const std::string& path) {
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy);
    EXPECT_EQ(cairo_surface_status(surface.get()), CAIRO_STATUS_SUCCESS) << path;
    Picture picture{cairo_image_surface_get_width(surface.get()),
                    cairo_image_surface_get_height(surface.get()),
                    {}};
    const unsigned char* data = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < picture.height; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(data + std::ptrdiff_t{y} * stride);
        for (int x = 0; x < picture.width; ++x) picture.pixels.push_back(row[x] & 0xFFFFFF);
    }
    return picture;
}

Picture screenshot(const std::string& name) {
    return load(tour() + "/" + name + ".png");
}

int red(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 16);
}
int green(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 8 & 0xFF);
}
int blue(std::uint32_t pixel) {
    return static_cast<int>(pixel & 0xFF);
}

struct Box {
    int x, y, width, height;
};

template <typename Is>
int count(const Picture& picture, const Box& box, Is is) {
    int found = 0;
    for (int y = box.y; y < box.y + box.height; ++y) {
        for (int x = box.x; x < box.x + box.width; ++x) found += is(picture.at(x, y)) ? 1 : 0;
    }
    return found;
}

int differing(const Picture& one, const Picture& other, const Box& box) {
    int found = 0;
    for (int y = box.y; y < box.y + box.height; ++y) {
        for (int x = box.x; x < box.x + box.width; ++x) found += one.at(x, y) != other.at(x, y);
    }
    return found;
}

constexpr Box app{0, 49, 1280, 622};  // between status bar and softkeys

/* ---- the logs ---- */

TEST(Tour, EveryStepWasPlayedAndNothingWentWrong) {
    std::ifstream script(QUARLO_TOUR_SCRIPT);
    const auto log = linesOf("headunit.log");
    auto at = log.begin();
    unsigned number = 0;
    for (std::string line; std::getline(script, line);) {
        ++number;
        if (line.empty() || line[0] == '#') continue;
        const std::string wanted = " STEP  " + std::to_string(number) + ": " + line;
        at = std::find_if(at, log.end(),
                          [&](const std::string& logged) { return logged.ends_with(wanted); });
        ASSERT_NE(at, log.end()) << "not played in its place:" << wanted;
    }
    for (const std::string& line : log) {
        EXPECT_EQ(line.find(" ERR "), std::string::npos) << line;
        EXPECT_EQ(line.find("problem"), std::string::npos) << line;
    }
}

TEST(Tour, TheHeadUnitIsToldExactlyThis) {
    const char* const told[] = {
        ("phone \"quarlo phone\" on \"Linux\", launcher \"6f1c7a52-3d0e-4b8e-9a54-0c2b7de1f3a8\", "
         "can "
         "EnableAudioHandling,EnableAppStart"),
        "softkeys Home Back Menu Search",
        "apps 9",
        ("app \"quarlo://app/voice\" \"Assistant\" icon 8 by \"quarlo\": \"Assistant of the "
         "simulated "
         "phone\" Executable language eng categories 1"),
        "icon \"quarlo://app/music\" icon 3, 65536 bytes, written to icon-3.png",
        "app-started \"quarlo://app/pictures\" Success",
        "app-started \"quarlo://app/nothing\" NotInstalled",
        "block on",
        "inactive on",
        "block off",
        "inactive off",
        "vehicle-data on 1 2 3 4 5 6",
        "call \"+4615550101\" \"Ada Lindqvist\"",
        "call-status on",
        "call-status off",
        ("navigate \"Home\" Both longitude 11.576124 latitude 48.137154 country \"Germany\", zip "
         "\"80331\", "
         "city \"München\", street \"Seestraße\", number \"7\""),
        "navigate \"Lake view point\" PositionOnly longitude 11.100000 latitude 48.200000",
        ("navigate \"Paper Lantern Café\" PlacemarkOnly country \"France\", zip \"67000\", city "
         "\"Strasbourg\", street \"Rue du Lac\", number \"3\""),
        "audio Request 1 Announcement",
        "audio Release 1 Announcement",
        "audio Request 2 Main",
        "audio Release 2 Main",
        "voice StartMicAndSpeakers",
        "voice EndUserEvent",
        "custom-string BTName \"quarlo phone\"",
        "custom-string BundleIdiOS \"net.quarlo.phone\"",
        "custom-int BatteryLevel 70",
        "custom-key VolumeUp Click",
        "custom-can CanAmbientlight identifier 0x230: FF 80 20",
        "custom-raw StorePersistent 0x042, 6 bytes: 71 75 61 72 6C 6F, kept",
        "custom-raw GetPersistent 0x042, 0 bytes: , answered",
        "custom-raw DeletePersistent 0x042, 0 bytes: , forgotten",
        "custom-raw StoreHost 0x042, 6 bytes: 71 75 61 72 6C 6F, kept",
        "custom-raw GetHost 0x042, 0 bytes: , answered",
        "custom-raw DeleteHost 0x042, 0 bytes: , forgotten"};
    const auto log = linesOf("headunit.log");
    auto at = log.begin();
    for (const char* text : told) {
        const std::string wanted = std::string(" CALL  ") + text;
        at = std::find_if(at, log.end(),
                          [&](const std::string& line) { return line.ends_with(wanted); });
        ASSERT_NE(at, log.end()) << "not told in its place:" << wanted;
    }
}

TEST(Tour, EveryPacketThatExistsTravelled) {
    std::set<std::string> seen;
    for (const std::string& line : linesOf("phone.log")) {
        for (const char* arrow : {" <- ", " -> "}) {
            const std::size_t at = line.find(arrow);
            if (at != std::string::npos) seen.insert(line.substr(at + 1, line.find(',') - at - 1));
        }
        EXPECT_EQ(line.find("ignored"), std::string::npos) << line;
        EXPECT_EQ(line.find("malformed"), std::string::npos) << line;
    }
    const std::vector<std::string> packets{
#define QUARLO_TOUR_ToPhone "<- "
#define QUARLO_TOUR_FromPhone "-> "
#define QUARLO_PACKET(Event, Direction, Name, ...) QUARLO_TOUR_##Direction #Name,
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_TOUR_##Direction #Name,
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    };
    EXPECT_EQ(packets.size(), 46U);
    for (const std::string& packet : packets) EXPECT_TRUE(seen.contains(packet)) << packet;
}

TEST(Tour, ThePhoneIsToldExactlyThis) {
    const char* const told[] = {
        ("PositionInformation, 77 bytes: "
         "NMEA=\"$GPGGA,123519,4808.230,N,01134.600,E,1,08,0.9,545.4,M,46.9,M,,*41\""),
        "ClientSettings, 12 bytes: arrLanguage=\"deu\"",
        "SetBlockMode, 10 bytes: ModeToSet=2 (DenyAll)",
        "PhoneCallStatusResponse, 10 bytes: Status=3 (Active)",
        "AudioTypeResponse, 10 bytes: CurrentAudioType=",
        "ClientVoiceSessionStatus",
        "ClientVoiceSupportInfo"};
    const auto log = linesOf("phone.log");
    for (const char* text : told) {
        const std::string wanted = std::string(" <- ") + text;
        EXPECT_TRUE(std::any_of(log.begin(), log.end(), [&](const std::string& line) {
            return line.find(wanted) != std::string::npos;
        })) << wanted;
    }
}

/* ---- the pictures ---- */

TEST(Tour, EveryScreenshotIsAScreenThatThePhoneDrew) {
    std::vector<Picture> drawn;
    for (const auto& entry : fs::directory_iterator(tour() + "/phone"))
        drawn.push_back(load(entry.path().string()));
    unsigned shots = 0;
    for (const auto& entry : fs::directory_iterator(tour())) {
        const std::string name = entry.path().stem().string();
        // JPEG loses a little; the others are exact.
        if (!std::isdigit(static_cast<unsigned char>(name[0])) || name == "20-jpeg") continue;
        ++shots;
        EXPECT_NE(std::find(drawn.begin(), drawn.end(), load(entry.path().string())), drawn.end())
            << name;
    }
    EXPECT_EQ(shots, 21U);
}

TEST(Tour, FingersMoveWhatLiesUnderThem) {
    EXPECT_GT(differing(screenshot("02-pictures"), screenshot("03-next-picture"), app),
              1280 * 622 / 2)
        << "the next picture";
    // The lake is a disc: two fingers that part enlarge it, and shift it out of the middle.
    const auto isLake = [](std::uint32_t pixel) { return pixel == 0x2B5C8C; };
    const Picture small = screenshot("05-map");
    const Picture large = screenshot("06-map-enlarged");
    EXPECT_GT(count(small, app, isLake), 0);
    const auto isStreet = [](std::uint32_t pixel) { return pixel == 0x4F6A85; };
    const Box middle{0, 49, 1280, 500};
    EXPECT_NE(count(small, middle, isStreet), count(large, middle, isStreet));
    EXPECT_GT(differing(small, large, middle), 20000);
}

TEST(Tour, TheCarChangesWhatIsShown) {
    const Box dock{40, 560, 1200, 80};
    const auto isLight = [](std::uint32_t pixel) { return red(pixel) > 200 && blue(pixel) > 200; };
    EXPECT_LT(count(screenshot("01-home"), dock, isLight), 1200 * 80 / 10) << "night";
    EXPECT_GT(count(screenshot("07-day-moving-german"), dock, isLight), 1200 * 80 / 2) << "day";
    EXPECT_EQ(differing(screenshot("01-home"), screenshot("22-home"), {0, 671, 1280, 49}), 0)
        << "the same language again";
    EXPECT_GT(differing(screenshot("07-day-moving-german"), screenshot("08-places-french"),
                        {0, 671, 1280, 49}),
              100)
        << "softkeys in another language";
    const auto isSign = [](std::uint32_t pixel) { return pixel == 0xE0525F; };
    EXPECT_GT(count(screenshot("09-blocked"), app, isSign), 1000);
    EXPECT_EQ(count(screenshot("01-home"), app, isSign), 0);
}

// Bars of the dashboard are as long as the values are large.
TEST(Tour, VehicleValuesReachTheDashboard) {
    const Picture vehicle = screenshot("10-vehicle");
    const auto isBar = [](std::uint32_t pixel) { return pixel == 0xFF9A3C; };
    const double shares[] = {87 / 240.0, 2350 / 8000.0, 0.64,
                             21.5 / 50,  480 / 900.0,   48210 / 300000.0};
    for (int i = 0; i < 6; ++i) {
        const Box tile{i % 3 * 1280 / 3, 49 + i / 3 * 311, 1280 / 3, 311};
        int longest = 0;
        for (int y = tile.y; y < tile.y + tile.height; ++y)
            longest = std::max(longest, count(vehicle, {tile.x, y, tile.width, 1}, isBar));
        // A tile's bar is 333 pixels long when full, and rounded at its ends.
        EXPECT_NEAR(longest / 333.0, shares[i], 0.03) << "value " << i + 1;
    }
}

TEST(Tour, TheScreenTakesOtherFormats) {
    const Picture deep = screenshot("18-rgb565");
    for (const std::uint32_t pixel : deep.pixels) {
        ASSERT_EQ(red(pixel) & 7, red(pixel) >> 5) << "five bits of red, stretched";
        ASSERT_EQ(green(pixel) & 3, green(pixel) >> 6);
        ASSERT_EQ(blue(pixel) & 7, blue(pixel) >> 5);
    }
    const Picture smaller = screenshot("19-smaller");
    EXPECT_EQ(smaller.width, 800);
    EXPECT_EQ(smaller.height, 480);
    const Picture upright = screenshot("21-upright");
    EXPECT_EQ(upright.width, 480);
    EXPECT_EQ(upright.height, 800);
    // JPEG of the same screen a moment later: nearly equal where nothing moves.
    const Picture lossy = screenshot("20-jpeg");
    ASSERT_EQ(lossy.pixels.size(), smaller.pixels.size());
    double error = 0;
    for (int y = 380; y < 480; ++y) {
        for (int x = 0; x < 800; ++x)
            error += std::abs(green(lossy.at(x, y)) - green(smaller.at(x, y)));
    }
    EXPECT_GT(error, 0) << "it was not JPEG at all";
    EXPECT_LT(error / (100 * 800), 3);
}

}  // namespace
