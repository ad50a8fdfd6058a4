// The contract of links, for every kind of descriptor: what is delivered, when a read returns, what
// ends a connection, and what a peer that does not read can and cannot do.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
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
    const char* names[] = {"Pair", "Tcp", "Pipes", "Serial"};
    return names[static_cast<int>(test.param)];
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryLink,
                         testing::Values(Kind::Pair, Kind::Tcp, Kind::Pipes, Kind::Serial), nameOf);

// Every byte value, so that a terminal which interprets any of them is found out.
Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

// More than the kernel keeps for a peer that does not read. A serial line is allowed the time that
// its rate makes necessary.
Bytes tooMuch(Kind kind) {
    return pattern(kind == Kind::Serial ? 200000 : std::size_t{16} << 20);
}

std::string endOf(const quarloLink* link) {
    char text[100];
    EXPECT_EQ(quarloLink_GetEndText(link, nullptr, 0),
              quarloLink_GetEndText(link, text, sizeof text));
    return text;
}

int receiveNothing(quarloLink* link, std::size_t size = 10) {
    Bytes none;
    const int result = receive(link, none, size);
    EXPECT_EQ(none, Bytes{});
    return result;
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
    quarloLink_EndSending(wire.link);
    if (GetParam() != Kind::Pipes && GetParam() != Kind::Serial) {
        EXPECT_TRUE(readFully(wire.farInput, 1).empty());
    }
    writeFully(wire.farOutput, {1});
    EXPECT_EQ(receiveAll(wire.link, 1), Bytes{1});
    EXPECT_EQ(quarloLink_GetBytesReceived(wire.link), sent.size() + 1);
    EXPECT_EQ(quarloLink_GetBytesSent(wire.link), sent.size());
    EXPECT_EQ(endOf(wire.link), "");
    wire.closeFar();
    EXPECT_EQ(receiveNothing(wire.link), -1);
    EXPECT_EQ(receiveNothing(wire.link), -1);
    EXPECT_EQ(endOf(wire.link), "the phone closed the connection");
}

TEST_P(EveryLink, AStalledPeerBreaksTheConnection) {
    Wire wire(GetParam());
    quarloLink_SetSendLimit(wire.link, 300);
    const Bytes much = tooMuch(GetParam());
    Clock::time_point start = Clock::now();
    // The second sender waits for the first, and must not wait the same time again.
    std::thread other([&] { send(wire.link, much); });
    int ending = 0;
    std::thread receiver([&] {
        while (ending == 0) ending = receiveNothing(wire.link);
    });
    send(wire.link, much);
    other.join();
    receiver.join();
    EXPECT_GE(millisecondsSince(start), 290);
    EXPECT_LT(millisecondsSince(start), 10000);
    EXPECT_EQ(ending, -1);
    EXPECT_EQ(quarloLink_GetError(wire.link), ETIMEDOUT);
    EXPECT_EQ(endOf(wire.link), "the phone does not take what it is sent");
    EXPECT_GT(quarloLink_GetBytesSent(wire.link), 0U);
    start = Clock::now();
    wire.closeLink();
    EXPECT_LT(millisecondsSince(start), 10000) << "closing waits for the peer";
}

TEST_P(EveryLink, APeerThatLeavesWhileSendingRaisesNoSignal) {
    Wire wire(GetParam());
    wire.closeFar();
    // The default disposition of SIGPIPE would end this program.
    for (int i = 0; i < 3; ++i) send(wire.link, pattern(1000));
    EXPECT_EQ(receiveNothing(wire.link), -1);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_FALSE(sigismember(&pending, SIGPIPE));
}

TEST(Link, WaitsBrieflyWhenThereIsNothingOrNoRoom) {
    Wire wire(Kind::Pair);
    for (const std::size_t size : {std::size_t{10}, std::size_t{0}}) {
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(receiveNothing(wire.link, size), 0);
        EXPECT_GE(millisecondsSince(start), 200) << "the receiver spins";
        writeFully(wire.farOutput, {1, 2, 3});
    }
    EXPECT_EQ(receiveAll(wire.link, 6), (Bytes{1, 2, 3, 1, 2, 3}));
}

TEST(Link, StopEndsABlockedReadAndABlockedSenderAtOnce) {
    EXPECT_TRUE(takesLessThan(200, [] {
        Wire wire(Kind::Tcp);
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            quarloLink_Stop(wire.link);
        });
        EXPECT_EQ(receiveNothing(wire.link), 0);
        EXPECT_EQ(receiveNothing(wire.link), -1);
        EXPECT_EQ(quarloLink_GetError(wire.link), 0);
        stopper.join();
    }));
    Wire wire(Kind::Pipes);
    const Clock::time_point start = Clock::now();
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        quarloLink_Stop(wire.link);
    });
    for (int i = 0; i < 2; ++i) send(wire.link, tooMuch(Kind::Pipes));
    EXPECT_LT(millisecondsSince(start), 4900) << "the limit, not the stop, has ended it";
    EXPECT_EQ(quarloLink_GetError(wire.link), ECANCELED);
    EXPECT_EQ(endOf(wire.link), "the connection was stopped");
    stopper.join();
}

// The last packets of a phone often cross with a packet that it does not take any more.
TEST(Link, ASendThatFailsDoesNotHideWhatHadArrived) {
    for (const Kind kind : {Kind::Pair, Kind::Pipes}) {
        Wire wire(kind);
        writeFully(wire.farOutput, pattern(10));
        wire.closeFar();
        for (int i = 0; i < 3; ++i) send(wire.link, pattern(1000));
        EXPECT_EQ(receiveAll(wire.link, 10), pattern(10));
        EXPECT_EQ(receiveNothing(wire.link), -1);
        EXPECT_EQ(endOf(wire.link), "the phone closed the connection");
    }
    // The host's own stop is no reason to read on.
    Wire wire(Kind::Pipes);
    writeFully(wire.farOutput, pattern(10));
    close(wire.farInput);
    wire.farInput = -1;
    send(wire.link, pattern(10));
    quarloLink_Stop(wire.link);
    EXPECT_EQ(receiveNothing(wire.link), -1);
}

TEST(Link, SignalsNeitherLoseNorEndAnything) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGUSR1, &action, &before);
    Wire wire(Kind::Pair);
    const Bytes sent = pattern(3000000);
    std::atomic<bool> isDone{false};
    std::thread user([&] {
        std::thread far([&] { writeFully(wire.farOutput, readFully(wire.farInput, sent.size())); });
        send(wire.link, sent);
        EXPECT_EQ(receiveAll(wire.link, sent.size()), sent);
        far.join();
        isDone = true;
    });
    while (!isDone) {
        pthread_kill(user.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    user.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Link, TcpIsSetToTheSilenceLimit) {
    Wire wire(Kind::Tcp);
    quarloLink* far = quarloLink_FromDescriptors(wire.farInput, wire.farInput, nullptr);
    const auto option = [&](int level, int name) {
        int value = -1;
        socklen_t size = sizeof value;
        getsockopt(wire.farInput, level, name, &value, &size);
        return value;
    };
    const std::pair<UInt32, std::vector<int>> limits[] = {
        {0, {2, 1, 3, 4000}}, {2000, {1, 1, 1, 1600}}, {20000, {8, 4, 3, 16000}}};
    for (const auto& [limit, values] : limits) {
        EXPECT_EQ(quarloLink_SetSilenceLimit(far, limit), eRETURN_OKAY);
        EXPECT_EQ(
            (std::vector{option(IPPROTO_TCP, TCP_KEEPIDLE), option(IPPROTO_TCP, TCP_KEEPINTVL),
                         option(IPPROTO_TCP, TCP_KEEPCNT), option(IPPROTO_TCP, TCP_USER_TIMEOUT)}),
            values);
    }
    EXPECT_EQ(option(IPPROTO_TCP, TCP_NODELAY) + option(SOL_SOCKET, SO_KEEPALIVE), 2);
    EXPECT_EQ(quarloLink_SetSilenceLimit(far, 1999), eRETURN_PARAM_VALUE);
    EXPECT_EQ(quarloLink_SetSilenceLimit(nullptr, 0), eRETURN_NULL_PARAM);
    quarloLink_Close(far);
    wire.farInput = wire.farOutput = -1;
}

TEST(Link, AResetIsAnEndAndABadDescriptorAFailure) {
    Wire wire(Kind::Tcp);
    const linger atOnce = {1, 0};
    setsockopt(wire.farInput, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    wire.closeFar();
    EXPECT_EQ(receiveNothing(wire.link), -1);
    EXPECT_EQ(quarloLink_GetError(wire.link), ECONNRESET);
    EXPECT_EQ(endOf(wire.link), "the phone reset the connection");
    EXPECT_EQ(static_cast<Int32>(quarloLink_Receive(nullptr, nullptr, 0, nullptr)), -1);

    quarloLinkFailure failure{};
    EXPECT_EQ(quarloLink_FromDescriptors(-1, -1, &failure), nullptr);
    EXPECT_EQ(failure.number, EBADF);
    int datagrams[2];
    int pipes[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, datagrams) + pipe(pipes), 0);
    EXPECT_EQ(quarloLink_FromDescriptors(datagrams[0], datagrams[0], &failure), nullptr);
    EXPECT_EQ(failure.number, EPROTOTYPE);
    EXPECT_GE(fcntl(datagrams[0], F_GETFD), 0) << "a refused descriptor was closed";
    EXPECT_EQ(quarloLink_FromDescriptors(pipes[0], datagrams[0], nullptr), nullptr);
    EXPECT_EQ(fcntl(pipes[0], F_GETFD), 0) << "a refused descriptor was changed";
    EXPECT_EQ(fcntl(pipes[0], F_GETFL) & O_NONBLOCK, 0);
    // A write-only descriptor cannot be read: neither data nor an end.
    quarloLink* wrong = quarloLink_FromDescriptors(pipes[1], pipes[1], nullptr);
    EXPECT_EQ(fcntl(pipes[1], F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(pipes[1], F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    for (const int each : {pipes[0], datagrams[0], datagrams[1]}) close(each);
    EXPECT_EQ(receiveNothing(wrong), -2);
    quarloLink_Close(wrong);
}

}  // namespace
}  // namespace quarlo::test
