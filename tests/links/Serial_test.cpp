// The settings of serial lines, read back through the kernel's own interface.
#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "Rig.h"

namespace quarlo::test {
namespace {

TEST(Serial, TakesAnyRateAndInterpretsNothing) {
    for (const UInt32 rate : {300U, 9600U, 31250U, 74880U, 1843200U}) {
        std::string device;
        const int master = openTerminal(device);
        quarloLinkFailure failure{};
        quarloLink* link = quarloLink_OpenSerial(device.c_str(), rate, rate == 9600, &failure);
        ASSERT_NE(link, nullptr) << failure.text;
        termios2 line{};
        ASSERT_EQ(ioctl(master, TCGETS2, &line), 0);
        EXPECT_EQ(line.c_ospeed, rate);
        EXPECT_EQ(line.c_ispeed, rate);
        EXPECT_EQ(line.c_iflag | line.c_oflag | line.c_lflag, 0U);
        EXPECT_EQ((line.c_cflag & CRTSCTS) != 0, rate == 9600);
        quarloLink_Close(link);
        close(master);
    }
}

TEST(Serial, WhatCameBeforeIsThrownAwayAndTheLineIsExclusive) {
    std::string device;
    const int master = openTerminal(device);
    const int holder = open(device.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_TRUE(writeFully(master, {'o', 'l', 'd', '\n'}));
    quarloLink* link = quarloLink_OpenSerial(device.c_str(), 115200, 0, nullptr);
    ASSERT_NE(link, nullptr);
    int isExclusive = 0;
    EXPECT_EQ(ioctl(holder, TIOCGEXCL, &isExclusive), 0);
    EXPECT_EQ(isExclusive, 1);
    ASSERT_TRUE(writeFully(master, {'n', 'e', 'w'}));
    EXPECT_EQ(receiveAll(link, 3), (Bytes{'n', 'e', 'w'}));
    quarloLink_Close(link);
    close(holder);
    close(master);
}

}  // namespace
}  // namespace quarlo::test
