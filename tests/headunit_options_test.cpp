// The command line: what is understood, and what is said about the rest.
#include "Options.h"

#include <gtest/gtest.h>

#include "common/Log.h"

namespace quarlo::headunit {
namespace {

struct Outcome {
    std::optional<int> status;
    Options options;
    std::string errors;
};

Outcome readAll(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "quarlo-headunit");
    Outcome outcome;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    outcome.status =
        readOptions(static_cast<int>(arguments.size()), arguments.data(), outcome.options);
    testing::internal::GetCapturedStdout();
    outcome.errors = testing::internal::GetCapturedStderr();
    return outcome;
}

TEST(Options, AreUnderstood) {
    const Outcome outcome =
        readAll({"--connect", "[::1]:4711",     "--size",      "1920x720", "--physical", "200x75",
                 "--format",  "rgb565",         "--endian",    "big",      "--trace",    "info",
                 "--at",      "7:suspend",      "--supported", "raw,zlib", "--frames",   "12",
                 "--at",      "3:size=640x480", "--at",        "7:resume", "--language", "deu"});
    ASSERT_EQ(outcome.status, std::nullopt) << outcome.errors;
    const Options& options = outcome.options;
    EXPECT_EQ(options.endpoint.host, "::1");
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

    EXPECT_EQ(readAll({"--unix", "/run/phone"}).options.endpoint.path, "/run/phone");
    EXPECT_EQ(readAll({"--connect", "unix:phone"}).options.endpoint.path, "phone");
    const Endpoint line = readAll({"--connect", "/dev/ttyUSB0@921600"}).options.endpoint;
    EXPECT_EQ(line.device, "/dev/ttyUSB0");
    EXPECT_EQ(line.baudRate, 921600U);
    EXPECT_EQ(readAll({"--connect", "serial:a@b@9600"}).options.endpoint.device, "a@b");

    const auto reconnect = [](std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), {"--connect", "h:1"});
        return readAll(std::move(arguments)).options.reconnect;
    };
    EXPECT_EQ(reconnect({}), std::nullopt);
    EXPECT_EQ(reconnect({"--reconnect"}), 0);
    EXPECT_EQ(reconnect({"--reconnect", "--frames", "3"}), 0);
    EXPECT_EQ(reconnect({"--reconnect", "2.5", "--quiet"}), 2.5);
    EXPECT_EQ(readAll({"--help"}).status, exitDone);
}

TEST(Options, WrongOnesAreNamedWithWhatIsAllowed) {
    struct Case {
        std::vector<const char*> arguments;
        std::vector<const char*> said;
    };
    const Case cases[] = {
        {{}, {"--connect", "--unix"}},
        {{"--connect", "h:1", "--unix", "p"}, {"--connect", "--unix"}},
        {{"--connect", "host"}, {"--connect", "'host'", "HOST:PORT"}},
        {{"--connect", ":80"}, {"--connect", "HOST:PORT"}},
        {{"--connect", "h:0"}, {"--connect", "1 to 65535"}},
        {{"--connect", "h:65536"}, {"--connect", "1 to 65535"}},
        {{"--connect", "unix:"}, {"--connect", "unix:PATH"}},
        {{"--connect", "/dev/ttyS0"}, {"--connect", "/dev/NAME@BAUD"}},
        {{"--connect", "serial:x@fast"}, {"--connect", "serial:PATH@BAUD"}},
        {{"--connect", "serial:@9600"}, {"--connect", "serial:PATH@BAUD"}},
        {{"--connect", "h:1", "--reconnect", "0"}, {"--reconnect"}},
        {{"--connect", "h:1", "--reconnect", "soon"}, {"--reconnect", "soon"}},
        {{"--connect", "h:1", "--size", "0x10"}, {"--size", "1 to 8192"}},
        {{"--connect", "h:1", "--size", "8193x10"}, {"--size", "1 to 8192"}},
        {{"--connect", "h:1", "--size", "4294967297x10"}, {"--size", "1 to 8192"}},
        {{"--connect", "h:1", "--size", "10x10x10"}, {"--size", "WIDTHxHEIGHT"}},
        {{"--connect", "h:1", "--format", "rgb"}, {"--format", "'rgb'", "rgb565", "rgba8888"}},
        {{"--connect", "h:1", "--endian", "middle"}, {"--endian", "little, big"}},
        {{"--connect", "h:1", "--compression", "all"}, {"--compression", "zlib, jpeg"}},
        {{"--connect", "h:1", "--supported", "raw,"}, {"--supported", "raw,"}},
        {{"--connect", "h:1", "--supported", "none,raw"}, {"--supported", "none,raw"}},
        {{"--connect", "h:1", "--trace", "64"}, {"--trace", "63"}},
        {{"--connect", "h:1", "--language", "EN"}, {"--language", "three"}},
        {{"--connect", "h:1", "--watchdog", "256"}, {"--watchdog", "256", "255"}},
        {{"--connect", "h:1", "--init-timeout", "-1"}, {"--init-timeout"}},
        {{"--connect", "h:1", "--frames", "0"}, {"--frames", "1"}},
        {{"--connect", "h:1", "--seconds", "soon"}, {"--seconds", "soon"}},
        {{"--connect", "h:1", "--every", "2"}, {"--every", "--output"}},
        {{"--connect", "h:1", "--at", "size=1x1"}, {"--at", "UPDATE:CHANGE"}},
        {{"--connect", "h:1", "--at", "x:resume"}, {"--at", "'x:resume'"}},
        {{"--connect", "h:1", "--at", "1:explode"}, {"--at", "suspend"}},
        {{"--connect", "h:1", "--at", "1:size=0x0"}, {"--at", "'1:size=0x0'"}},
        {{"--connect", "h:1", "--output", "/proc/none/x"}, {"--output", "/proc/none/x"}},
        {{"--connect", "h:1", "--dump", "/proc/none"}, {"--dump", "/proc/none"}},
        {{"--connect", "h:1", "--colour"}, {"--colour"}},
    };
    for (const Case& one : cases) {
        const Outcome outcome = readAll(one.arguments);
        std::string line;
        for (const char* argument : one.arguments) line += std::string(argument) + " ";
        EXPECT_EQ(outcome.status, exitUsage) << line;
        for (const char* word : one.said) {
            EXPECT_NE(outcome.errors.find(word), std::string::npos) << line << outcome.errors;
        }
    }
}

TEST(Log, PhoneTextCannotControlTheTerminal) {
    EXPECT_EQ(printable("FrameSizeAcknowledge\n"), "FrameSizeAcknowledge");
    EXPECT_EQ(printable("a\x1b[2J\rb\x7f"), "a?[2J?b?");
    EXPECT_EQ(printable("Z\xc3\xbcrich"), "Z\xc3\xbcrich");
}

}  // namespace
}  // namespace quarlo::headunit
