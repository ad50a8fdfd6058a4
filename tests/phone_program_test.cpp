// The program quarlo-phone as its users meet it: exit statuses, signals, real sockets, and head
// units that hang or vanish.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
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

#include "phone_bytes.h"

using namespace quarlo::phone;

namespace {

template <class Condition>
bool eventually(Condition isMet) {
    for (int i = 0; i < 6000; ++i) {
        if (isMet()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// A phone with its log; it ends with the object at the latest.
class Program {
  public:
    Program(const std::string& log, std::vector<std::string> arguments) : log_(log), pid_(fork()) {
        if (pid_ != 0) return;
        const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) dup2(file, stream);
        arguments.insert(arguments.begin(), QUARLO_PHONE_PROGRAM);
        std::vector<char*> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    ~Program() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
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
    /// Waits until the log has this in it.
    bool says(const std::string& text) const {
        return eventually([&] { return contentOf(log_).find(text) != std::string::npos; });
    }

  private:
    std::string log_;
    pid_t pid_;
};

class Connection {
  public:
    explicit Connection(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval limit{60, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
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
    long readUntil(unsigned type) const {
        for (Bytes head(9); read(head);) {
            Bytes payload(head[5] | static_cast<std::size_t>(head[6]) << 8 |
                          static_cast<std::size_t>(head[7]) << 16);
            if (!payload.empty() && !read(payload)) break;
            if (head[0] == type) return static_cast<long>(payload.size());
        }
        return -1;
    }

  private:
    bool read(Bytes& bytes) const {
        return recv(fd_, bytes.data(), bytes.size(), MSG_WAITALL) ==
               static_cast<ssize_t>(bytes.size());
    }

    int fd_;
};

class PhoneProgram : public testing::Test {
  protected:
    PhoneProgram() : directory(testing::TempDir() + "quarlo-phone-XXXXXX") {
        EXPECT_NE(mkdtemp(directory.data()), nullptr);
    }
    ~PhoneProgram() override { std::filesystem::remove_all(directory); }
    std::string in(const std::string& name) const { return directory + "/" + name; }
    Program listen(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--unix", in("socket")});
        return {in("log"), std::move(arguments)};
    }
    bool appears(const std::string& name) const {
        return eventually([&] { return std::filesystem::exists(in(name)); });
    }

    std::string directory;
};

/// What a head unit says to see its whole screen once.
Bytes greeting(unsigned width = 320, unsigned height = 240) {
    return version() + init({.width = width, .height = height}) + initDone() +
           packet(25, u32(0) + u16(width) + u16(height) + u8(0));
}
constexpr long wholeScreenRaw = 1 + 21 + 320 * 240 * 4;

TEST_F(PhoneProgram, ExitsWithOneWithoutACompletedHandshake) {
    Program refusing = listen({"--once", "--refuse", "init", "--max-seconds", "60"});
    ASSERT_TRUE(refusing.says("listening on "));
    Connection(in("socket")).send(version() + init());
    EXPECT_EQ(refusing.wait(), 1);
    EXPECT_EQ(listen({"--once", "--max-seconds", "0.1"}).wait(), 1);
}

struct Hanging {
    Bytes said;
    const char* welcome;
    const char* farewell;
};
const Hanging hangingUnits[] = {
    {{}, "connected", "the handshake was not completed within 5 s"},
    {greeting(32, 24), "handshake completed with unit, 32x24", "pings were not answered for 2 s"},
    {greeting(2000, 1500), "handshake completed with unit, 2000x1500",
     "the head unit takes nothing of what it is sent"}};

TEST_F(PhoneProgram, ServesHeadUnitsBesideThoseThatHangOrVanishButNotTooMany) {
    Program program = listen({"--compression", "raw", "--most-units", "4", "--handshake-limit", "0",
                              "--ping-limit", "0", "--dump-frames", in("dump")});
    ASSERT_TRUE(program.says("listening on "));
    std::deque<Connection> connections;
    for (const Hanging& unit : hangingUnits) {
        connections.emplace_back(in("socket")).send(unit.said);
        const std::string number = std::to_string(connections.size()) + ": ";
        ASSERT_TRUE(program.says((connections.size() > 1 ? number : "UNIT  ") + unit.welcome));
    }
    const Connection& well = connections.emplace_back(in("socket"));
    well.send(greeting());
    EXPECT_EQ(well.readUntil(26), wholeScreenRaw);
    EXPECT_EQ(Connection(in("socket")).readUntil(2), -1) << "one too many";
    EXPECT_TRUE(program.says("sent away: 4 are connected"));
    EXPECT_TRUE(appears("dump/2/phone-0001.png"));
    EXPECT_TRUE(appears("dump/4/phone-0001.png"));
    connections.clear();  // one with most of a picture still to come
    EXPECT_TRUE(program.says("3: the head unit "));
    program.interrupt();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(in("socket")));
}

TEST_F(PhoneProgram, DropsHeadUnitsThatHang) {
    Program program =
        listen({"--compression", "raw", "--handshake-limit", "5", "--ping-limit", "2"});
    ASSERT_TRUE(program.says("listening on "));
    std::deque<Connection> connections;
    for (const Hanging& unit : hangingUnits) connections.emplace_back(in("socket")).send(unit.said);
    for (const Hanging& unit : hangingUnits) EXPECT_TRUE(program.says(unit.farewell));
    for (const Connection& connection : connections) EXPECT_EQ(connection.readUntil(255), -1);
}

}  // namespace
