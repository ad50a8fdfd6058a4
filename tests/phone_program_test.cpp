// The program quarlo-phone as its users meet it: arguments, exit statuses, and real sockets.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "Bytes.h"

extern char** environ;

using namespace quarlo::test;

namespace {

template <class Condition>
bool eventually(Condition isMet) {
    for (int i = 0; i < 6000; ++i) {
        if (isMet()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}
bool appears(const std::string& path) {
    return eventually([&] { return std::filesystem::exists(path); });
}
std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// A file name of this test's own, in a directory that goes away with the object.
class Directory {
  public:
    Directory() {
        std::string pattern = testing::TempDir() + "quarlo-phone-XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

class Program {
  public:
    Program(const Directory& directory, std::vector<std::string> arguments)
        : out_(directory / "out"), err_(directory / "err") {
        arguments.insert(arguments.begin(), QUARLO_PHONE_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_.c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_.c_str(), flags, 0600);
        EXPECT_EQ(
            posix_spawn(&pid_, QUARLO_PHONE_PROGRAM, &actions, nullptr, pointers.data(), environ),
            0);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Program() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void interrupt() const { kill(pid_, SIGTERM); }
    /// The exit status; 1000 and more when a signal ended it.
    int wait() {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    std::string out() const { return contentOf(out_); }
    std::string err() const { return contentOf(err_); }
    bool isListening() const {
        return eventually([&] { return out().find("listening on ") != std::string::npos; });
    }
    /// Waits until the log has this in it.
    bool logs(const std::string& text) const {
        return eventually([&] { return err().find(text) != std::string::npos; });
    }

  private:
    std::string out_;
    std::string err_;
    pid_t pid_ = -1;
};

class Connection {
  public:
    explicit Connection(unsigned port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        open(reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    explicit Connection(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        open(reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    ~Connection() { close(fd_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void send(const Bytes& bytes) const {
        EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// Reads packets until one of the type is complete; its payload size, or -1 when the phone ends
    /// first.
    long readUntil(unsigned type) {
        for (;;) {
            if (held_.size() >= 9) {
                const std::size_t payload = held_[5] | static_cast<std::size_t>(held_[6]) << 8 |
                                            static_cast<std::size_t>(held_[7]) << 16;
                if (held_.size() >= 9 + payload) {
                    const unsigned found = held_[0];
                    held_.erase(held_.begin(),
                                held_.begin() + 9 + static_cast<std::ptrdiff_t>(payload));
                    if (found == type) return static_cast<long>(payload);
                    continue;
                }
            }
            Bytes piece(65536);
            const ssize_t count = recv(fd_, piece.data(), piece.size(), 0);
            if (count <= 0) return -1;
            held_.insert(held_.end(), piece.begin(), piece.begin() + count);
        }
    }
    /// Closes without a farewell: the other side gets a reset.
    void reset() {
        const linger hard{1, 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        close(std::exchange(fd_, -1));
    }

  private:
    void open(const sockaddr* address, socklen_t size) {
        fd_ = socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd_, address, size), 0) << strerror(errno);
        const timeval limit{30, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    int fd_ = -1;
    Bytes held_;
};

const Bytes version = packet(1, u16(1) + u16(2) + u16(0));
Bytes initOf(const std::string& name, unsigned width, unsigned height) {
    return packet(11, text(name) + u16(width) + u16(height) + u16(100) + u16(75) + u32(0) + u8(2) +
                          u8(2) + u32(0) + u8(2) + u32(6) + u8(0) + u8(0));
}
const Bytes clientInit = initOf("program test", 320, 240);
const Bytes initDone = packet(17, u8(1));
const Bytes wholeScreen = packet(25, u16(0) + u16(0) + u16(320) + u16(240) + u8(0));
constexpr long wholeScreenRaw = 1 + 21 + 320 * 240 * 2;

TEST(PhoneProgram, ServesOverTcpLogsAndSurvivesAResetWhileSending) {
    const Directory directory;
    const std::string portFile = directory / "port";
    Program program(directory,
                    {"--listen", "127.0.0.1:0", "--port-file", portFile, "--once", "--max-seconds",
                     "60", "--compression", "raw", "--fps", "240", "--clock", "10:00:00",
                     "--verbose", "--dump-frames", directory / "dump"});
    ASSERT_TRUE(appears(portFile));
    const unsigned port = static_cast<unsigned>(std::stoul(contentOf(portFile)));
    EXPECT_NE(program.out().find("127.0.0.1:" + std::to_string(port)), std::string::npos);
    Connection connection(port);
    for (const Bytes& bytes : {version, clientInit, initDone, wholeScreen}) connection.send(bytes);
    EXPECT_EQ(connection.readUntil(18), 1);
    EXPECT_EQ(connection.readUntil(26), wholeScreenRaw);
    for (int i = 0; i < 20; ++i) connection.send(wholeScreen);
    connection.reset();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(std::filesystem::exists(directory / "dump/phone-0001.png"));
    const std::string log = program.err();
    for (const char* line : {"<- ClientInit, ", "Name=\"program test\"", "-> ServerInit, ",
                             "-> FramebufferUpdate, ", "RGB565", "<- FramebufferUpdateRequest"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }
}

TEST(PhoneProgram, ServesOneAfterTheOtherOnAUnixSocketUntilItIsStopped) {
    const Directory directory;
    const std::string path = directory / "phone.sock";
    {
        const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(stale);  // the file of a phone that was killed
    }
    const std::string portFile = directory / "port";
    Program program(directory,
                    {"--unix", path, "--port-file", portFile, "--drop-after-frames", "1"});
    ASSERT_TRUE(appears(portFile));
    for (int i = 0; i < 2; ++i) {
        Connection connection(path);
        for (const Bytes& bytes : {version, clientInit, initDone, wholeScreen})
            connection.send(bytes);
        EXPECT_GT(connection.readUntil(26), 1000);
        EXPECT_EQ(connection.readUntil(26), -1) << "dropped after one frame";
    }
    program.interrupt();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(PhoneProgram, ExitsWithOneWithoutACompletedHandshake) {
    const Directory directory;
    const std::string path = directory / "phone.sock";
    Program refusing(directory,
                     {"--unix", path, "--once", "--refuse", "init", "--max-seconds", "60"});
    ASSERT_TRUE(refusing.isListening());
    {
        Connection connection(path);
        connection.send(version + clientInit);
        EXPECT_EQ(connection.readUntil(12), 1);
    }
    EXPECT_EQ(refusing.wait(), 1);
    Program lonely(directory, {"--listen", "127.0.0.1:0", "--once", "--max-seconds", "0.1"});
    EXPECT_EQ(lonely.wait(), 1);
    Program nowhere(directory, {"--unix", directory / "none/phone.sock"});
    EXPECT_EQ(nowhere.wait(), 1);
    EXPECT_NE(nowhere.err().find("none/phone.sock"), std::string::npos);
}

struct Hanging {
    Bytes said;
    const char* welcome;
    const char* farewell;
};
const std::vector<Hanging> hangingUnits{
    {{}, "connected", "the handshake was not completed within 5 s"},
    {version + initOf("mute", 320, 240) + initDone + wholeScreen, "handshake completed with mute",
     "pings were not answered for 2 s"},
    {version + initOf("full", 2000, 1500) + initDone +
         packet(25, u16(0) + u16(0) + u16(2000) + u16(1500) + u8(0)),
     "handshake completed with full", "the head unit takes nothing of what it is sent"}};

TEST(PhoneProgram, ServesHeadUnitsBesideThoseThatHangButNotTooMany) {
    const Directory directory;
    const std::string path = directory / "phone.sock";
    Program program(directory, {"--unix", path, "--compression", "raw", "--most-units", "4",
                                "--handshake-limit", "0", "--ping-limit", "0", "--dump-frames",
                                directory / "dump"});
    ASSERT_TRUE(program.isListening());
    std::deque<Connection> connections;
    for (const Hanging& unit : hangingUnits) {
        connections.emplace_back(path).send(unit.said);
        const std::string number = std::to_string(connections.size()) + ": ";
        const std::string line = (connections.size() > 1 ? number : "UNIT  ") + unit.welcome;
        ASSERT_TRUE(program.logs(line)) << line;
    }
    Connection& well = connections.emplace_back(path);
    for (const Bytes& bytes : {version, clientInit, initDone, wholeScreen}) well.send(bytes);
    EXPECT_EQ(well.readUntil(26), wholeScreenRaw);
    EXPECT_EQ(Connection(path).readUntil(2), -1) << "one too many";
    EXPECT_TRUE(program.logs("sent away: 4 are connected"));
    for (const char* picture : {"dump/2/phone-0001.png", "dump/4/phone-0001.png"})
        EXPECT_TRUE(appears(directory / picture)) << picture;
    program.interrupt();
    EXPECT_EQ(program.wait(), 0);
}

TEST(PhoneProgram, DropsHeadUnitsThatHang) {
    const Directory directory;
    const std::string path = directory / "phone.sock";
    Program program(directory, {"--unix", path, "--compression", "raw", "--handshake-limit", "5",
                                "--ping-limit", "2"});
    ASSERT_TRUE(program.isListening());
    std::deque<Connection> connections;
    for (const Hanging& unit : hangingUnits) connections.emplace_back(path).send(unit.said);
    for (const Hanging& unit : hangingUnits) EXPECT_TRUE(program.logs(unit.farewell));
    for (Connection& connection : connections) EXPECT_EQ(connection.readUntil(255), -1);
}

TEST(PhoneProgram, DrawsAPictureAlone) {
    const Directory directory;
    const std::string picture = directory / "screen.png";
    Program program(directory, {"--render-only", picture, "--size", "320x200"});
    EXPECT_EQ(program.wait(), 0);
    const std::string png = contentOf(picture);
    ASSERT_GT(png.size(), 10000u);
    EXPECT_EQ(png.substr(16, 8), std::string("\0\0\1\x40\0\0\0\xC8", 8));
}

}  // namespace
