// The command line: what is understood.
#include "Options.h"

#include <gtest/gtest.h>

#include "common/Log.h"

namespace quarlo::headunit {
namespace {

Options readAll(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "quarlo-headunit");
    Options options;
    EXPECT_EQ(readOptions(static_cast<int>(arguments.size()), arguments.data(), options),
              std::nullopt);
    return options;
}

TEST(Options, AreUnderstood) {
    const Options options =
        readAll({"--connect", "[::1]:4711",     "--size",      "1920x720", "--physical", "200x75",
                 "--format",  "rgb565",         "--endian",    "big",      "--trace",    "info",
                 "--at",      "7:suspend",      "--supported", "raw,zlib", "--frames",   "12",
                 "--at",      "3:size=640x480", "--at",        "7:resume", "--language", "deu"});
    EXPECT_EQ(options.endpoint.text(), "[::1]:4711");
    EXPECT_EQ(options.size, (Size{1920, 720}));
    EXPECT_EQ(options.physicalSize, (Size{200, 75}));
    EXPECT_EQ(options.layout, (PixelLayout{ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian}));
    EXPECT_EQ(options.trace, 7);
    EXPECT_EQ(options.supported, eFRAMECOMPRESSION_ZLIB | eFRAMECOMPRESSION_Uncompressed);
    EXPECT_EQ(options.frames, 12U);
    EXPECT_EQ(options.language, "deu");
    ASSERT_EQ(options.commands.size(), 3U);
    EXPECT_EQ(options.commands[0].update, 3U);
    EXPECT_EQ(std::get<SetSize>(options.commands[0].change).size, (Size{640, 480}));
    EXPECT_TRUE(std::get<SetSuspended>(options.commands[1].change).isSuspended);
    EXPECT_FALSE(std::get<SetSuspended>(options.commands[2].change).isSuspended);

    EXPECT_EQ(readAll({"--unix", "/run/phone"}).endpoint.path, "/run/phone");
    EXPECT_EQ(readAll({"--connect", "unix:phone"}).endpoint.path, "phone");
    const Endpoint line = readAll({"--connect", "/dev/ttyUSB0@921600"}).endpoint;
    EXPECT_EQ(line.device, "/dev/ttyUSB0");
    EXPECT_EQ(line.baudRate, 921600U);
    EXPECT_EQ(readAll({"--connect", "serial:a@b@9600"}).endpoint.device, "a@b");

    const auto reconnect = [](std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), {"--connect", "h:1"});
        return readAll(std::move(arguments)).reconnect;
    };
    EXPECT_EQ(reconnect({}), std::nullopt);
    EXPECT_EQ(reconnect({"--reconnect"}), 0);
    EXPECT_EQ(reconnect({"--reconnect", "--frames", "3"}), 0);
    EXPECT_EQ(reconnect({"--reconnect", "2.5", "--quiet"}), 2.5);
}

TEST(Log, PhoneTextCannotControlTheTerminal) {
    EXPECT_EQ(printable("FrameSizeAcknowledge\n"), "FrameSizeAcknowledge");
    EXPECT_EQ(printable("a\x1b[2J\rb\x7f"), "a?[2J?b?");
    EXPECT_EQ(printable("Z\xc3\xbcrich"), "Z\xc3\xbcrich");
}

}  // namespace
}  // namespace quarlo::headunit
