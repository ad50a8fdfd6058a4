// The contract of links, for every kind of descriptor: what is delivered, when a read returns, what
// ends a connection, and what a peer that does not read can and cannot do.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <numeric>

#include "Rig.h"

namespace quarlo::test {
namespace {

class EveryLink : public testing::TestWithParam<Kind> {};

std::string nameOf(const testing::TestParamInfo<Kind>& test) {
    const char* names[] = {"Pair", "Tcp", "Unix", "Pipes", "Serial"};
    return names[static_cast<int>(test.param)];
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryLink,
                         testing::Values(Kind::Pair, Kind::Tcp, Kind::Unix, Kind::Pipes,
                                         Kind::Serial),
                         nameOf);

// More than the kernel keeps for a peer that does not read. A serial line is allowed the time that
// its rate makes necessary.
std::size_t tooMuch(Kind kind) {
    return kind == Kind::Serial ? 200000 : std::size_t{16} << 20;
}

// Every byte value, so that a terminal which interprets any of them is found out.
Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

TEST_P(EveryLink, DeliversBothWaysAndEndsWhenThePeerLeaves) {
    Wire wire(GetParam());
    // More than any of the buffers between holds: writes are partial.
    const Bytes sent = pattern(700000);
    Bytes seen;
    std::thread far([&] {
        seen = readFully(wire.farInput, sent.size());
        writeFully(wire.farOutput, seen);
    });
    send(wire.link, sent);
    EXPECT_EQ(receiveAll(wire.link, sent.size()), sent);
    far.join();
    EXPECT_EQ(seen, sent);
    Bytes rest;
    quarloLink_EndSending(wire.link);
    if (GetParam() != Kind::Pipes && GetParam() != Kind::Serial) {
        EXPECT_TRUE(readFully(wire.farInput, 1).empty());
    }
    writeFully(wire.farOutput, {1});
    EXPECT_EQ(receiveAll(wire.link, 1), Bytes{1});
    wire.closeFar();
    EXPECT_EQ(receive(wire.link, rest, 100), -1);
    EXPECT_EQ(receive(wire.link, rest, 100), -1);
}

TEST_P(EveryLink, WaitsBrieflyWhenThereIsNothingOrNoRoom) {
    Wire wire(GetParam());
    Bytes none;
    Clock::time_point start = Clock::now();
    EXPECT_EQ(receive(wire.link, none, 10), 0);
    EXPECT_GE(millisecondsSince(start), 200);
    writeFully(wire.farOutput, {1, 2, 3});
    start = Clock::now();
    EXPECT_EQ(receive(wire.link, none, 0), 0);
    EXPECT_GE(millisecondsSince(start), 200) << "a full buffer makes the receiver spin";
    EXPECT_EQ(receiveAll(wire.link, 3), (Bytes{1, 2, 3}));
}

TEST_P(EveryLink, DrippedBytesArriveOneByOne) {
    Wire wire(GetParam());
    std::thread far([&] {
        for (std::uint8_t i = 0; i < 20; ++i) {
            writeFully(wire.farOutput, {i});
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    EXPECT_EQ(receiveAll(wire.link, 20), pattern(20));
    far.join();
}

TEST_P(EveryLink, StopEndsABlockedReadAtOnceAndLaterReads) {
    EXPECT_TRUE(takesLessThan(200, [] {
        Wire wire(GetParam());
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            quarloLink_Stop(wire.link);
        });
        Bytes none;
        EXPECT_EQ(receive(wire.link, none, 10), 0);
        EXPECT_EQ(receive(wire.link, none, 10), -1);
        EXPECT_EQ(quarloLink_GetError(wire.link), 0);
        stopper.join();
    }));
}

TEST_P(EveryLink, AStalledPeerBreaksTheConnection) {
    Wire wire(GetParam());
    quarloLink_SetSendLimit(wire.link, 300);
    const Bytes much = pattern(tooMuch(GetParam()));
    Clock::time_point start = Clock::now();
    // The second sender waits for the first, and must not wait the same time again.
    std::thread other([&] { send(wire.link, much); });
    int ending = 0;
    std::thread receiver([&] {
        Bytes none;
        while ((ending = receive(wire.link, none, 10)) == 0) {
        }
    });
    send(wire.link, much);
    other.join();
    receiver.join();
    EXPECT_GE(millisecondsSince(start), 290);
    EXPECT_LT(millisecondsSince(start), 10000);
    EXPECT_EQ(ending, -1);
    EXPECT_EQ(quarloLink_GetError(wire.link), ETIMEDOUT);
    start = Clock::now();
    wire.closeLink();
    EXPECT_LT(millisecondsSince(start), 10000) << "closing waits for the peer";
}

TEST_P(EveryLink, StopFreesABlockedSender) {
    Wire wire(GetParam());
    const Bytes much = pattern(tooMuch(GetParam()));
    const Clock::time_point start = Clock::now();
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        quarloLink_Stop(wire.link);
    });
    send(wire.link, much);
    EXPECT_LT(millisecondsSince(start), 10000);
    EXPECT_EQ(quarloLink_GetError(wire.link), ECANCELED);
    stopper.join();
}

TEST_P(EveryLink, APeerThatLeavesWhileSendingRaisesNoSignal) {
    Wire wire(GetParam());
    wire.closeFar();
    // The default disposition of SIGPIPE would end this program.
    for (int i = 0; i < 3; ++i) send(wire.link, pattern(1000));
    Bytes none;
    EXPECT_EQ(receive(wire.link, none, 10), -1);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_FALSE(sigismember(&pending, SIGPIPE));
}

std::string endOf(const quarloLink* link) {
    char text[100];
    EXPECT_EQ(quarloLink_GetEndText(link, nullptr, 0),
              quarloLink_GetEndText(link, text, sizeof text));
    return text;
}

TEST_P(EveryLink, CountsItsBytesAndSaysWhatBecameOfIt) {
    Wire wire(GetParam());
    send(wire.link, pattern(5));
    EXPECT_EQ(readFully(wire.farInput, 5).size(), 5U);
    writeFully(wire.farOutput, pattern(7));
    EXPECT_EQ(receiveAll(wire.link, 7).size(), 7U);
    EXPECT_EQ(quarloLink_GetBytesReceived(wire.link), 7U);
    EXPECT_EQ(quarloLink_GetBytesSent(wire.link), 5U);
    EXPECT_EQ(endOf(wire.link), "");
    quarloLink_SetSendLimit(wire.link, 100);
    send(wire.link, pattern(tooMuch(GetParam())));
    EXPECT_EQ(endOf(wire.link), "the phone does not take what it is sent");
    EXPECT_GT(quarloLink_GetBytesSent(wire.link), 5U);
}

// The last packets of a phone often cross with a packet that it does not take any more.
TEST(Link, ASendThatFailsDoesNotHideWhatHadArrived) {
    for (const Kind kind : {Kind::Pair, Kind::Unix, Kind::Pipes}) {
        Wire wire(kind);
        writeFully(wire.farOutput, pattern(10));
        wire.closeFar();
        for (int i = 0; i < 3; ++i) send(wire.link, pattern(1000));
        EXPECT_EQ(receiveAll(wire.link, 10), pattern(10));
        Bytes none;
        EXPECT_EQ(receive(wire.link, none, 10), -1);
        EXPECT_EQ(endOf(wire.link), "the phone closed the connection");
    }
    // The host's own stop is no reason to read on.
    Wire wire(Kind::Pipes);
    writeFully(wire.farOutput, pattern(10));
    close(wire.farInput);
    wire.farInput = -1;
    send(wire.link, pattern(10));
    quarloLink_Stop(wire.link);
    Bytes none;
    EXPECT_EQ(receive(wire.link, none, 10), -1);
}

// Framing: the length, then so many bytes of the sender's number.
TEST_P(EveryLink, PacketsOfEightThreadsNeverMix) {
    constexpr int threads = 8;
    constexpr int packets = 60;
    Wire wire(GetParam());
    std::vector<std::thread> senders;
    for (int id = 0; id < threads; ++id) {
        senders.emplace_back([&, id] {
            for (int i = 0; i < packets; ++i) {
                const auto size = static_cast<std::size_t>(1 + (i * 977 + id * 131) % 9000);
                send(wire.link,
                     u16(static_cast<unsigned>(size)) + Bytes(size, static_cast<std::uint8_t>(id)));
            }
        });
    }
    std::vector<int> seen(threads);
    for (int i = 0; i < threads * packets; ++i) {
        const Bytes size = readFully(wire.farInput, 2);
        ASSERT_EQ(size.size(), 2U);
        const Bytes body = readFully(wire.farInput, size[0] | static_cast<unsigned>(size[1]) << 8);
        ASSERT_LT(body[0], threads);
        ASSERT_EQ(body, Bytes(body.size(), body[0])) << "mixed";
        ++seen[body[0]];
    }
    for (std::thread& sender : senders) sender.join();
    EXPECT_EQ(seen, std::vector<int>(threads, packets));
}

void ignore(int /*signal*/) {}

TEST(Link, SignalsNeitherLoseNorEndAnything) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = ignore;  // without SA_RESTART
    sigaction(SIGUSR1, &action, &before);
    {
        Wire wire(Kind::Pair);
        const Bytes sent = pattern(3000000);
        std::atomic<bool> isDone{false};
        Bytes echoed;
        std::thread user([&] {
            std::thread far(
                [&] { writeFully(wire.farOutput, readFully(wire.farInput, sent.size())); });
            send(wire.link, sent);
            echoed = receiveAll(wire.link, sent.size());
            far.join();
            isDone = true;
        });
        while (!isDone) {
            pthread_kill(user.native_handle(), SIGUSR1);
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
        user.join();
        EXPECT_EQ(echoed, sent);
    }
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Link, AResetIsAnEndAndABadDescriptorAFailure) {
    Wire wire(Kind::Tcp);
    const linger atOnce = {1, 0};
    setsockopt(wire.farInput, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    wire.closeFar();
    Bytes none;
    EXPECT_EQ(receive(wire.link, none, 10), -1);
    EXPECT_EQ(quarloLink_GetError(wire.link), ECONNRESET);

    quarloLinkFailure failure{};
    EXPECT_EQ(quarloLink_FromDescriptors(-1, -1, &failure), nullptr);
    EXPECT_EQ(failure.number, EBADF);
    int datagrams[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, datagrams), 0);
    EXPECT_EQ(quarloLink_FromDescriptors(datagrams[0], datagrams[0], &failure), nullptr);
    EXPECT_EQ(failure.number, EPROTOTYPE);
    EXPECT_GE(fcntl(datagrams[0], F_GETFD), 0) << "a refused descriptor was closed";
    int mixed[2];
    ASSERT_EQ(pipe(mixed), 0);
    EXPECT_EQ(quarloLink_FromDescriptors(mixed[0], datagrams[0], nullptr), nullptr);
    EXPECT_EQ(fcntl(mixed[0], F_GETFD), 0) << "a refused descriptor was changed";
    EXPECT_EQ(fcntl(mixed[0], F_GETFL) & O_NONBLOCK, 0);
    quarloLink_Close(quarloLink_FromDescriptors(dup(mixed[0]), mixed[1], nullptr));
    EXPECT_EQ(fcntl(mixed[0], F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    close(mixed[0]);
    close(datagrams[0]);
    close(datagrams[1]);
    EXPECT_EQ(static_cast<Int32>(quarloLink_Receive(nullptr, nullptr, 0, nullptr)), -1);

    // A write-only descriptor cannot be read: neither data nor an end.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    quarloLink* wrong = quarloLink_FromDescriptors(ends[1], ends[1], nullptr);
    EXPECT_EQ(fcntl(ends[1], F_GETFD), FD_CLOEXEC);
    close(ends[0]);
    EXPECT_EQ(receive(wrong, none, 10), -2);
    quarloLink_Close(wrong);
}

}  // namespace
}  // namespace quarlo::test
