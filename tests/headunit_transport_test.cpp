// The stream to the phone: connecting, reading, sending, and every way in which it ends.
#include "Transport.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

namespace quarlo::headunit {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr size_t ended = static_cast<size_t>(-1);

struct Pair {
    explicit Pair(std::chrono::milliseconds limit = 5s) {
        int ends[2];
        socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
        phone = Descriptor(ends[1]);
        transport = std::make_unique<Transport>(Descriptor(ends[0]), limit);
    }

    size_t receive(size_t size) {
        return Transport::receive(nullptr, buffer, size, transport.get());
    }
    void send(std::vector<UInt8> bytes) {
        Transport::send(nullptr, bytes.data(), bytes.size(), transport.get());
    }

    Descriptor phone;
    std::unique_ptr<Transport> transport;
    UInt8 buffer[64] = {};
};

TEST(Transport, ReadsWhatIsThereAndThenTheEnd) {
    Pair pair;
    EXPECT_EQ(pair.receive(8), 0U) << "nothing yet";
    ASSERT_EQ(write(pair.phone.get(), "abcdef", 6), 6);
    EXPECT_EQ(pair.receive(4), 4U);
    EXPECT_EQ(pair.receive(4), 2U);
    ASSERT_EQ(write(pair.phone.get(), "last", 4), 4);
    pair.phone = Descriptor();
    // A send that fails first does not hide what had arrived.
    pair.send({1, 2, 3});
    EXPECT_EQ(pair.receive(8), 4U);
    EXPECT_EQ(pair.receive(8), ended);
    EXPECT_EQ(pair.transport->bytesReceived(), 10U);
    EXPECT_NE(pair.transport->fault(), "");
}

// A full buffer may not make the caller spin, and must not look like the end.
TEST(Transport, WaitsWithoutRoom) {
    Pair pair;
    ASSERT_EQ(write(pair.phone.get(), "abc", 3), 3);
    const auto begin = Clock::now();
    EXPECT_EQ(pair.receive(0), 0U);
    EXPECT_GE(Clock::now() - begin, 100ms);
    EXPECT_EQ(pair.receive(8), 3U);
}

TEST(Transport, EndRequestWakesReaderAndSender) {
    Pair pair;
    std::thread host([&] {
        std::this_thread::sleep_for(50ms);
        pair.transport->requestEnd();
    });
    const auto begin = Clock::now();
    pair.send(std::vector<UInt8>(8'000'000));  // more than the socket holds; nobody reads
    host.join();
    EXPECT_EQ(pair.receive(8), 0U);
    EXPECT_LT(Clock::now() - begin, 3s);
    EXPECT_EQ(pair.transport->fault(), "");
}

TEST(Transport, APhoneThatStopsReadingIsGivenUp) {
    Pair pair(150ms);
    std::thread sender([&] { pair.send(std::vector<UInt8>(8'000'000)); });
    const auto begin = Clock::now();
    while (pair.receive(8) != ended && Clock::now() - begin < 5s) {
    }
    sender.join();
    EXPECT_LT(Clock::now() - begin, 3s);
    EXPECT_EQ(pair.transport->fault(), "the phone does not read what it is sent");
}

// Buffers of several threads arrive whole, also when each needs many writes.
TEST(Transport, KeepsBuffersWhole) {
    Pair pair;
    constexpr size_t size = 300'000;
    const auto sendSome = [&](UInt8 fill) {
        for (int i = 0; i < 4; ++i) pair.send(std::vector<UInt8>(size, fill));
    };
    std::thread first(sendSome, UInt8{1});
    std::thread second(sendSome, UInt8{2});
    std::vector<UInt8> all(8 * size);
    size_t filled = 0;
    while (filled < all.size()) {
        const ssize_t count = read(pair.phone.get(), all.data() + filled, all.size() - filled);
        ASSERT_GT(count, 0);
        filled += static_cast<size_t>(count);
    }
    first.join();
    second.join();
    for (size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i], all[i / size * size]) << "at " << i;
    }
}

struct Listener {
    Listener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(socket.get(), 0);
        socklen_t size = sizeof address;
        getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
        port = std::to_string(ntohs(address.sin_port));
    }
    Endpoint endpoint() const { return {"127.0.0.1", port, {}}; }

    Descriptor socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::string port;
};

TEST(Connect, SaysWhyItDoesNot) {
    std::string error;
    Endpoint closed;
    {
        const Listener listener;
        closed = listener.endpoint();
        EXPECT_TRUE(connectTo(closed, 5, error)) << error;
    }
    EXPECT_FALSE(connectTo(closed, 5, error));
    EXPECT_EQ(error,
              "cannot connect to " + closed.text() + ": connection refused: nothing listens there");

    EXPECT_FALSE(connectTo({{}, {}, "/nowhere/socket"}, 5, error));
    EXPECT_EQ(error, "cannot connect to /nowhere/socket: no such socket");
    const std::string longPath(200, 'x');
    EXPECT_FALSE(connectTo({{}, {}, longPath}, 5, error));
    EXPECT_EQ(error, "cannot connect to " + longPath + ": the path is too long for a socket");
}

// A listener whose queue is full does not answer, like a host behind a wall.
TEST(Connect, GivesUpInTime) {
    const Listener listener;
    std::vector<Descriptor> queue;
    std::string error;
    const auto begin = Clock::now();
    for (Descriptor next = connectTo(listener.endpoint(), 0.3, error); next && queue.size() < 10;
         next = connectTo(listener.endpoint(), 0.3, error)) {
        queue.push_back(std::move(next));
    }
    EXPECT_EQ(error, "cannot connect to " + listener.endpoint().text() + ": no answer in time");
    EXPECT_LT(Clock::now() - begin, 5s);
}

TEST(Connect, ReachesAUnixSocket) {
    char folder[] = "/tmp/headunit-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = std::string(folder) + "/phone";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    listen(socket.get(), 1);
    std::string error;
    EXPECT_TRUE(connectTo({{}, {}, path}, 5, error)) << error;
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace quarlo::headunit
