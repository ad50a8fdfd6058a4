// A peer that falls silent: two network namespaces joined by a virtual cable which is pulled. Needs
// root and iproute2.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

class SilentPeer : public testing::Test {
  protected:
    SilentPeer() {
        const std::string head = "ip link add " + cable("a") + " netns " + space("a") +
                                 " type veth peer name " + cable("b") + " netns " + space("b");
        run("ip netns add " + space("a") + " && ip netns add " + space("b") + " && " + head);
        for (const std::string side : {"a", "b"}) {
            const std::string address = side == "a" ? "10.213.7.1/24" : "10.213.7.2/24";
            run("ip -n " + space(side) + " addr add " + address + " dev " + cable(side));
            set(side, true);
        }
    }
    ~SilentPeer() override { run("ip netns del " + space("a") + " && ip netns del " + space("b")); }

    static std::string space(const std::string& side) {
        return "quarlo-" + std::to_string(getpid()) + side;
    }
    static std::string cable(const std::string& side) {
        return "q" + std::to_string(getpid()) + side;
    }
    static void run(const std::string& command) {
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
    }
    static void set(const std::string& side, bool isUp) {
        run("ip -n " + space(side) + " link set " + cable(side) + (isUp ? " up" : " down"));
    }

    /// Does something on a thread that lives in the namespace of one side.
    static void inside(const std::string& side, const std::function<void()>& what) {
        std::thread([&] {
            const int entry = open(("/var/run/netns/" + space(side)).c_str(), O_RDONLY | O_CLOEXEC);
            ASSERT_EQ(setns(entry, CLONE_NEWNET), 0);
            close(entry);
            what();
        }).join();
    }

    /// A connection over the cable: the head unit's side a, and the phone's side b.
    void connectOver(quarloLink*& head, quarloLink*& phone) {
        quarloListener* listener = nullptr;
        quarloLinkFailure failure{};
        inside("b", [&] { listener = quarloListener_OpenTcp("10.213.7.2", 0, &failure); });
        ASSERT_NE(listener, nullptr) << failure.text;
        inside("a", [&] {
            head =
                quarloLink_ConnectTcp("10.213.7.2", quarloListener_GetPort(listener), 0, &failure);
        });
        ASSERT_NE(head, nullptr) << failure.text;
        phone = quarloListener_Accept(listener, 1000, &failure);
        ASSERT_NE(phone, nullptr) << failure.text;
        quarloListener_Close(listener);
    }
};

TEST_F(SilentPeer, IsNoticedWithinItsLimitWhoeverSpeaks) {
    struct End {
        quarloLink* head = nullptr;
        quarloLink* phone = nullptr;
        long long after = 0;
    } ends[2];
    for (End& each : ends) {
        connectOver(each.head, each.phone);
        EXPECT_EQ(quarloLink_SetSilenceLimit(each.head, 2500), eRETURN_OKAY);
        send(each.head, {1, 2, 3});
        EXPECT_EQ(receiveAll(each.phone, 3), (Bytes{1, 2, 3}));
    }
    set("b", false);
    send(ends[0].head, {4, 5, 6});
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (End& each : ends) {
        threads.emplace_back([&] {
            receiveAll(each.head, 1);
            each.after = millisecondsSince(start);
        });
    }
    for (std::thread& each : threads) each.join();
    for (const End& each : ends) {
        EXPECT_GE(each.after, 1500) << "the cable was not what ended it";
        // The kernel ends a connection with the retransmission after its limit, up to 2 s later.
        EXPECT_LT(each.after, 2500 + 4000);
        EXPECT_NE(quarloLink_GetError(each.head), 0);
        quarloLink_Close(each.head);
        quarloLink_Close(each.phone);
    }
}

/// A file of the system replaced for the calling thread and those that it starts.
void replace(const char* file, const std::string& text) {
    char copy[] = "/tmp/quarlo-file-XXXXXX";
    const int descriptor = mkstemp(copy);
    writeFully(descriptor, Bytes(text.begin(), text.end()));
    close(descriptor);
    EXPECT_EQ(mount(copy, file, nullptr, MS_BIND, nullptr), 0) << file;
    unlink(copy);
}

// Names: one with a silent address before the one that answers, and one whose server is silent.
TEST_F(SilentPeer, NamesAreLookedUpWithoutHoldingAnybodyUp) {
    const Library library;
    quarloListener* listener = nullptr;
    inside("b", [&] { listener = quarloListener_OpenTcp("10.213.7.2", 0, nullptr); });
    const UInt16 port = quarloListener_GetPort(listener);
    inside("a", [&] {
        ASSERT_EQ(unshare(CLONE_NEWNS), 0);
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
        run("ip link set lo up");
        // Nobody answers for the second address: it is on the cable, and nobody's.
        replace("/etc/hosts", "10.213.7.9 phone\n10.213.7.2 phone\n");
        replace("/etc/resolv.conf", "nameserver 127.0.0.1\n");
        const int server = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {AF_INET, htons(53), {htonl(INADDR_LOOPBACK)}, {}};
        ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        quarloLinkFailure failure{};
        Clock::time_point start = Clock::now();
        quarloLink* link = quarloLink_ConnectTcp("phone", port, 0, &failure);
        EXPECT_NE(link, nullptr) << failure.text;
        EXPECT_LT(millisecondsSince(start), 2500);
        quarloLink_Close(link);

        start = Clock::now();
        EXPECT_EQ(quarloLink_ConnectTcp("nobody.example", port, 300, &failure), nullptr);
        EXPECT_EQ(failure.number, ETIMEDOUT);
        EXPECT_STREQ(failure.text, ("cannot connect to nobody.example port " +
                                    std::to_string(port) + ": the name lookup hangs")
                                       .c_str());
        EXPECT_LT(millisecondsSince(start), 2000);
        Reports reports;
        SessionSetup setup = configOf(reports, port);
        setup.place.address = "nobody.example";
        setup.connectLimit = 60000;
        Session session = startSession(setup);
        EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Connecting));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        start = Clock::now();
        session.reset();
        EXPECT_LT(millisecondsSince(start), 10000);
        // Those that hang are counted.
        for (int i = 0; i < 10 && failure.number != EAGAIN; ++i) {
            EXPECT_EQ(quarloLink_ConnectTcp("nobody.example", port, 20, &failure), nullptr);
        }
        EXPECT_EQ(failure.number, EAGAIN);
        close(server);
    });
    quarloListener_Close(listener);
}

TEST_F(SilentPeer, AShortInterruptionIsSurvived) {
    quarloLink* head = nullptr;
    quarloLink* phone = nullptr;
    connectOver(head, phone);
    set("b", false);
    send(head, {1, 2, 3});
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    set("b", true);
    EXPECT_EQ(receiveAll(phone, 3), (Bytes{1, 2, 3}));
    quarloLink_Close(head);
    quarloLink_Close(phone);
}

TEST_F(SilentPeer, ASessionReturnsWhenTheCableDoes) {
    const Library library;
    Reports reports;
    std::optional<Phone> phone;
    const auto script = [](quarloLink* link, int) {
        quarloLink_SetSilenceLimit(link, 2000);
        stay(link);
    };
    inside("b", [&] { phone.emplace(script, "10.213.7.2"); });
    SessionSetup config = configOf(reports, phone->port());
    config.place.address = "10.213.7.2";
    config.connectLimit = 500;
    config.longestDelay = 300;
    config.silenceLimit = 2000;
    Session session;
    // Its thread inherits the namespace.
    inside("a", [&] { session = startSession(config); });
    EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
    set("b", false);
    EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Waiting, 2));
    EXPECT_NE(reports.all().back().errorNumber, 0) << reports.all().back().reason;
    set("b", true);
    EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 2)) << reports.all().back().reason;
    session.reset();
}

}  // namespace
}  // namespace quarlo::test
