// Captures: what they hold of every kind of link and ending, and what a capture does that cannot be
// written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "CaptureReader.h"
#include "Host.h"
#include "Names.h"
#include "QUARLO-Internal.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

struct Directory {
    std::string path = "/tmp/quarlo-capture-XXXXXX";
    Directory() { EXPECT_NE(mkdtemp(path.data()), nullptr); }
    ~Directory() { EXPECT_EQ(std::system(("rm -r " + path).c_str()), 0); }
    std::string operator/(const char* name) const { return path + "/" + name; }
};

quarloCapture* openCapture(const std::string& path) {
    quarloLinkFailure failure{};
    quarloCapture* capture = quarloCapture_Open(path.c_str(), &failure);
    EXPECT_NE(capture, nullptr) << failure.text;
    return capture;
}

std::string failureOf(const quarloCapture* capture) {
    char text[120];
    quarloCapture_GetFailure(capture, text, sizeof text);
    return text;
}

// Eight threads send packets, which the far end echoes; and two links share the file at a time.
void converse(Wire& wire, Bytes& echoed) {
    constexpr int senders = 8;
    constexpr int each = 20;
    std::size_t size = 0;
    std::vector<Bytes> packets;
    for (int i = 0; i < senders * each; ++i) {
        packets.push_back(packet(33, Bytes(static_cast<std::size_t>(i * 17), UInt8(i))));
        size += packets.back().size();
    }
    packets.front() = packet(26, Bytes(100000, 7));
    size += packets.front().size() - 9;
    std::thread far([&] {
        while (echoed.size() < size) {
            Bytes some(4096);
            const ssize_t count =
                read(wire.farInput, some.data(), std::min(some.size(), size - echoed.size()));
            if (count <= 0) break;
            some.resize(static_cast<std::size_t>(count));
            writeFully(wire.farOutput, some);
            echoed.insert(echoed.end(), some.begin(), some.end());
        }
    });
    std::vector<std::thread> threads;
    for (int sender = 0; sender < senders; ++sender) {
        threads.emplace_back([&, sender] {
            for (int i = 0; i < each; ++i) {
                send(wire.link, packets[static_cast<std::size_t>(sender * each + i)]);
            }
        });
    }
    EXPECT_EQ(receiveAll(wire.link, size).size(), size);
    for (std::thread& thread : threads) thread.join();
    far.join();
}

struct Carried {
    Kind kind;
    const char* opened;
    std::unique_ptr<Wire> wire = {};
    Bytes echoed = {};
};

// The last one is ended by the host, the others by the phone.
void use(std::vector<Carried>& all, quarloCapture* capture) {
    for (std::size_t i = 0; i < all.size(); ++i) {
        Wire& wire = *(all[i].wire = std::make_unique<Wire>(all[i].kind));
        EXPECT_EQ(quarloLink_Note(wire.link, "early"), eRETURN_NOT_SUPPORTED);
        EXPECT_EQ(quarloLink_SetCapture(wire.link, capture), eRETURN_OKAY);
        EXPECT_EQ(quarloLink_SetCapture(wire.link, capture), eRETURN_ALREADY_IN_LIST);
        EXPECT_EQ(quarloLink_Note(wire.link, "before"), eRETURN_OKAY);
        send(wire.link, packet(static_cast<unsigned>(i)));
        EXPECT_EQ(readFully(wire.farInput, 9).size(), 9U);
    }
    std::vector<std::thread> conversations;
    for (Carried& each : all) {
        conversations.emplace_back([&each] { converse(*each.wire, each.echoed); });
    }
    for (std::thread& each : conversations) each.join();
    for (const Carried& each : all) {
        quarloLink_Note(each.wire->link, "after");
        if (&each == &all.back()) break;
        each.wire->closeFar();
        Bytes none;
        while (receive(each.wire->link, none, 1) >= 0) continue;
    }
    EXPECT_EQ(quarloLink_GetCaptureFailure(all[0].wire->link, nullptr, 0), 0U);
    for (Carried& each : all) each.wire.reset();
}

void captureAll(std::vector<Carried> all) {
    const Directory directory;
    const std::string path = directory / "all";
    quarloCapture* capture = openCapture(path);
    {
        Wire silent(Kind::Pair);
        EXPECT_EQ(quarloLink_SetCapture(silent.link, capture), eRETURN_OKAY);
        use(all, capture);
    }
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    Reader reader(Reader::contents(path), true);
    ASSERT_EQ(reader.connections.size(), all.size());
    for (unsigned i = 0; i < all.size(); ++i) {
        const Connection& connection = reader.connections[49152 + i];
        SCOPED_TRACE(all[i].opened);
        EXPECT_EQ(connection.streams[ToPhone], packet(i) + all[i].echoed);
        EXPECT_EQ(connection.streams[FromPhone], all[i].echoed);
        ASSERT_EQ(connection.comments.size(), 4U);
        EXPECT_EQ(connection.comments[0].rfind(all[i].opened, 0), 0U) << connection.comments[0];
        EXPECT_EQ(connection.comments[1], "quarlo note before");
        EXPECT_EQ(connection.comments[2], "quarlo note after");
        const bool isHosts = i + 1 == all.size();
        EXPECT_EQ(connection.comments[3], isHosts ? "quarlo end the host closed the connection"
                                                  : "quarlo end the phone closed the connection");
        EXPECT_EQ(connection.closing, isHosts ? "1:17 0:17 1:16 " : "0:17 1:17 0:16 ");
    }
}

TEST(Capture, HoldsWhatEachTransportHasCarriedInTrueOrder) {
    std::vector<Carried> all;
    all.push_back({Kind::Pair, "quarlo open descriptor "});
    all.push_back({Kind::Tcp, "quarlo open tcp 127.0.0.1:"});
    all.push_back({Kind::Unix, "quarlo open unix "});
    all.push_back({Kind::Pipes, "quarlo open descriptor pipe:"});
    captureAll(std::move(all));
}

TEST(Capture, HoldsWhatASerialLineHasCarried) {
    std::vector<Carried> one;
    one.push_back({Kind::Serial, "quarlo open serial /dev/pts/"});
    captureAll(std::move(one));
}

TEST(Capture, ShowsAResetAndATimeOutAsSuch) {
    const Directory directory;
    const std::string path = directory / "ends";
    quarloCapture* capture = openCapture(path);
    for (const bool isReset : {true, false}) {
        Wire wire(Kind::Tcp);
        quarloLink_SetCapture(wire.link, capture);
        send(wire.link, packet(25));
        EXPECT_EQ(readFully(wire.farInput, 9).size(), 9U);
        if (isReset) {
            const linger atOnce = {1, 0};
            setsockopt(wire.farInput, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            wire.closeFar();
            Bytes none;
            while (receive(wire.link, none, 1) >= 0) continue;
        } else {
            quarloLink_SetSendLimit(wire.link, 50);
            send(wire.link, packet(26, Bytes(32U << 20, 1)));
        }
        // More than the capture keeps for a packet that never comes.
        eReturnCode result = eRETURN_OKAY;
        for (int i = 0; i < 100; ++i) {
            result = quarloLink_Note(wire.link, std::string(2000, 'n').c_str());
        }
        EXPECT_EQ(result, eRETURN_MEM_ALLOC);
    }
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    Reader reader(Reader::contents(path));
    EXPECT_EQ(reader.connections[49152].closing, "0:20 ");
    EXPECT_EQ(reader.connections[49153].closing, "1:20 ");
    EXPECT_GT(reader.connections[49153].streams[ToPhone].size(), 1000U);
    EXPECT_EQ(reader.connections[49152].comments[1], "quarlo note " + std::string(1000, 'n'));
}

TEST(Capture, OfASessionHasAConnectionForEachAttemptWithItsStates) {
    const Library library;
    const Directory directory;
    const std::string path = directory / "session";
    quarloCapture* capture = openCapture(path);
    Reports reports;
    Phone phone([](int descriptor, int connection) {
        Phone::nextPacket(descriptor);  // RUN is reached
        if (connection > 0) writeFully(descriptor, packet(200));
        if (connection > 1) stay(descriptor, connection);
    });
    SessionSetup setup = configOf(reports, phone.port());
    setup.capture = capture;
    Session session = startSession(setup);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 3, 60));
    session.reset();
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    Reader reader(Reader::contents(path));
    ASSERT_GE(reader.connections.size(), 3U);
    for (unsigned i = 0; i < 3; ++i) {
        const Connection& connection = reader.connections[49152 + i];
        const auto has = [&](const char* text) {
            return std::count(connection.comments.begin(), connection.comments.end(), text);
        };
        EXPECT_EQ(has("quarlo state RUN"), 1) << i;
        EXPECT_EQ(connection.streams[ToPhone][0], 1) << i;
        if (i != 1) continue;
        EXPECT_EQ(has("quarlo state STOP"), 1);
        EXPECT_EQ(has("quarlo error MESSAGE_PROCESSING_FAILED"), 1);
    }
}

TEST(Capture, ThatCannotBeWrittenEndsAndTheConnectionGoesOn) {
    const Directory directory;
    quarloLinkFailure failure{};
    EXPECT_EQ(quarloCapture_Open((directory / "no/where").c_str(), &failure), nullptr);
    EXPECT_EQ(failure.text,
              "cannot open " + directory.path + "/no/where: No such file or directory");
    EXPECT_EQ(quarloCapture_Close(nullptr, nullptr), eRETURN_NULL_PARAM);
    const std::string fifo = directory / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    struct Case {
        std::string path;
        bool hasReader;
        const char* reason;
    };
    for (const Case& each :
         {Case{"/dev/full", false, "No space left on device"},
          Case{fifo, false, "the reader has gone"}, Case{fifo, true, "the reader takes nothing"}}) {
        SCOPED_TRACE(each.reason);
        int reader = -1;
        std::thread opening([&] {
            if (each.path == fifo) reader = open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
        });
        quarloCapture* capture = openCapture(each.path);
        opening.join();
        if (!each.hasReader && reader >= 0) close(reader);
        Wire wire(Kind::Pair);
        quarloLink_SetCapture(wire.link, capture);
        std::thread far([&] {
            const Bytes all = readFully(wire.farInput, std::size_t{20} << 20);
            EXPECT_EQ(all.size(), std::size_t{20} << 20);
        });
        const Bytes piece(std::size_t{1} << 20, 1);
        for (int i = 0; i < 20; ++i) send(wire.link, piece);
        far.join();
        while (failureOf(capture).empty()) usleep(1000);
        EXPECT_EQ(failureOf(capture), std::string("the capture has ended: ") + each.reason);
        EXPECT_GT(quarloLink_GetCaptureFailure(wire.link, nullptr, 0), 0U);
        EXPECT_EQ(quarloLink_Note(wire.link, "late"), eRETURN_NOT_SUPPORTED);
        wire.closeLink();
        EXPECT_EQ(quarloCapture_Close(capture, &failure), eRETURN_NOT_ALLOWED);
        EXPECT_EQ(failure.text, std::string("cannot write capture: ") + each.reason);
        if (each.hasReader) close(reader);
    }
}

// Each connection is deleted wherever the transfer stands, while others send; nothing hangs.
TEST(Capture, StandsTwoHundredDeletionsInMidTransfer) {
    const Library library;
    const Directory directory;
    const std::string path = directory / "deletions";
    quarloCapture* capture = openCapture(path);
    for (int round = 0; round < 200; ++round) {
        Wire wire(Kind::Pair);
        std::thread far([&] {
            if (!Phone::shakeHands(wire.farInput)) return;
            while (writeFully(wire.farOutput, packet(64) + packet(26, Bytes(300, 0)))) {
            }
        });
        quarloLink_SetCapture(wire.link, capture);
        void* instance = quarlo_CreateInstance(wire.link, "round");
        quarlo_SetInitialisationTimeout(instance, 0);
        quarlo_SetTraceOutput(instance, [](void*, eTraceClass, char*) {});
        quarloLink_Attach(wire.link, instance, nullptr);
        quarlo_StartMainThread(instance);
        while (quarloLink_GetBytesReceived(wire.link) < static_cast<UInt64>(round) * 100) {
            std::this_thread::yield();
        }
        quarlo_DeleteInstance(instance);
        wire.closeLink();
        far.join();
    }
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    Reader reader(Reader::contents(path));
    EXPECT_EQ(reader.connections.size(), 200U);
}

TEST(Names, OfStatesAndErrorsAreTheLibrarys) {
    for (int state = ePROTOCOL_STATE_NONE; state <= ePROTOCOL_STATE_STOP; ++state) {
        const auto known = static_cast<eProtocolState>(state);
        EXPECT_STREQ(quarloName_OfState(known), _quarlo_getStateName(known));
    }
    for (int error = eERRORCODE_NONE; error <= eERRORCODE_INITIALIZATION_ABORT; ++error) {
        const auto known = static_cast<eErrorCode>(error);
        EXPECT_STREQ(quarloName_OfError(known), _quarlo_getErrorName(known));
    }
}

}  // namespace
}  // namespace quarlo::test
