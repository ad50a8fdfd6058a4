// The control socket: lines and answers of several clients, and of those who do not behave.
#include "common/Control.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <semaphore>

namespace quarlo {
namespace {

using namespace std::chrono_literals;

/// Of a client: what its steps have said.
struct Stage {
    std::vector<std::string>& said;

    void begin(unsigned, const std::string&) {}
};

Steps<Deed<Stage>> table() {
    using argument::text;
    Steps<Deed<Stage>> steps;
    const auto say = [](const std::string& text) -> Deed<Stage> {
        return [text](Stage& stage, Turn&) -> Outcome {
            stage.said.push_back(text);
            return text == "no" ? "it is no" : "";
        };
    };
    const auto await = [](const std::string& text) -> Deed<Stage> {
        return [text](Stage& stage, Turn&) -> Outcome {
            return std::count(stage.said.begin(), stage.said.end(), text) > 0 ? isWellDone : goesOn;
        };
    };
    steps.add("say", "remembers a text", say, text("TEXT"));
    steps.add("await", "waits until somebody has said it", await, text("TEXT"));
    return steps;
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

class Client {
  public:
    explicit Client(const std::string& path) : socket(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        const sockaddr_un address = addressOf(path);
        isOpen = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                           sizeof address) == 0;
    }
    void send(const std::string& text) {
        ::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
    }
    void end() { ::shutdown(socket.get(), SHUT_WR); }
    /// Up to the end of a line, or of the connection.
    std::string answer() {
        std::string line;
        char c = 0;
        while (::recv(socket.get(), &c, 1, 0) == 1 && c != '\n') line += c;
        return line;
    }
    bool isOpen = false;

  private:
    Descriptor socket;
};

/// Performs what comes, on a thread of its own.
class Served {
  public:
    explicit Served(const std::string& path)
        : control(
              path, steps, [this] { return std::make_unique<Stage>(Stage{said}); },
              [this] { wake(); }),
          thread([this] { run(); }) {}
    ~Served() {
        isStopping = true;
        wake();
        thread.join();
    }

  private:
    void wake() { rung.release(); }
    void run() {
        for (rung.acquire(); !isStopping; rung.acquire()) control.run(0ms);
    }

    const Steps<Deed<Stage>> steps = table();
    std::vector<std::string> said;
    std::counting_semaphore<> rung{0};
    std::atomic<bool> isStopping{false};
    Control<Stage> control;
    std::thread thread;
};

class ControlTest : public testing::Test {
  protected:
    const std::string path = testing::TempDir() + "control-" + std::to_string(::getpid()) + ".sock";
    ~ControlTest() override { std::filesystem::remove(path); }
};

TEST_F(ControlTest, AnswersLineByLineAndClientByClient) {
    const Served served(path);
    Client one(path);
    Client two(path);
    one.send("say a\n\n# nothing\nsay no\nsay\njump 1\nawait b");
    EXPECT_EQ(one.answer(), "ok");
    EXPECT_EQ(one.answer(), "error it is no");
    EXPECT_EQ(one.answer(), "error 'say' is not allowed here; allowed: say TEXT");
    EXPECT_EQ(one.answer(), "error 'jump 1' is not allowed here; allowed: say, await");
    one.send("\r\nsay \x1b[2J");
    one.end();
    two.send("await a\nsay b\n");
    EXPECT_EQ(two.answer(), "ok");
    EXPECT_EQ(two.answer(), "ok");
    EXPECT_EQ(one.answer(), "ok");
    EXPECT_EQ(one.answer(), "ok") << "a last line without an end";
    EXPECT_EQ(one.answer(), "") << "the end";
}

TEST_F(ControlTest, BoundsClientsAndLines) {
    const Served served(path);
    {
        Client endless(path);
        const std::string piece(4096, 'x');
        for (std::size_t sent = 0; sent <= ControlSocket::longestLine; sent += piece.size())
            endless.send(piece);
        EXPECT_EQ(endless.answer(), "error a line is longer than 262144 bytes");
        EXPECT_EQ(endless.answer(), "");
    }
    std::vector<std::unique_ptr<Client>> many;
    for (std::size_t i = 0; i < ControlSocket::mostClients; ++i) {
        many.push_back(std::make_unique<Client>(path));
        many.back()->send("say a\nawait never\n");
        EXPECT_EQ(many.back()->answer(), "ok");
    }
    EXPECT_EQ(Client(path).answer(), "error 8 others are connected");
    many.pop_back();
    // Who has gone waits for nothing, and leaves its place.
    for (std::string answer; answer != "ok";) {
        Client next(path);
        next.send("say b\n");
        answer = next.answer();
    }
}

TEST_F(ControlTest, TakesNoPlaceThatIsSomebodyElses) {
    EXPECT_NE(ControlSocket::problemWith(std::string(200, 'p')).find("too long"),
              std::string::npos);
    std::ofstream(path) << "precious";
    EXPECT_NE(ControlSocket::problemWith(path).find("no socket and left alone"), std::string::npos);
    EXPECT_THROW(ControlSocket(path, [] {}), std::runtime_error);
    EXPECT_EQ(std::filesystem::file_size(path), 8U);
    std::filesystem::remove(path);
    {
        const Served served(path);
        EXPECT_NE(ControlSocket::problemWith(path).find("another program"), std::string::npos);
        EXPECT_TRUE(Client(path).isOpen);
        const auto mode = std::filesystem::status(path).permissions();
        EXPECT_EQ(mode & (std::filesystem::perms::group_all | std::filesystem::perms::others_all),
                  std::filesystem::perms::none);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    {
        // What a program that was killed leaves behind.
        const Descriptor dead(::socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = addressOf(path);
        ASSERT_EQ(::bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    const Served served(path);
    EXPECT_TRUE(Client(path).isOpen);
}

}  // namespace
}  // namespace quarlo
