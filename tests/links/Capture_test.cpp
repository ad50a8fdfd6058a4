// What links tell observers and captures of all that they carry, in true order, of every kind and
// ending; and what a capture does that cannot be written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

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

std::map<unsigned, Connection> closeAndRead(quarloCapture* capture, const std::string& path,
                                            bool isEcho = false) {
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    return readCapture(path, isEcho);
}

std::string failureOf(const quarloCapture* capture) {
    char text[120];
    quarloCapture_GetFailure(capture, text, sizeof text);
    return text;
}

struct Seen {
    std::uint64_t begin, size;
    unsigned type;
};

// What an observer is told.
struct Told {
    Bytes bytes[2];
    std::vector<Seen> packets[2];
    std::vector<std::pair<int, unsigned>> order;  // direction and number of each packet
    std::uint64_t lastSteady = 0;
    std::atomic<int> inside{0};
    int faults = 0;
    int closed = 0;

    quarloObserver observer() {
        quarloObserver told = {};
        told.size = sizeof told;
        told.context = this;
        told.piece = [](void* context, const quarloPiece* piece) {
            static_cast<Told*>(context)->take(*piece);
        };
        told.packet = [](void* context, const quarloPacket* packet) {
            static_cast<Told*>(context)->take(*packet);
        };
        told.closed = [](void* context, const quarloLink*) {
            ++static_cast<Told*>(context)->closed;
        };
        return told;
    }
    void take(const quarloPiece& piece) {
        if (inside++ != 0) ++faults;
        Bytes& into = bytes[piece.direction - 1];
        if (piece.begin != into.size() || piece.steadyTime < lastSteady) ++faults;
        lastSteady = piece.steadyTime;
        // Time for the far end to answer what is told of too late.
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        into.insert(into.end(), piece.bytes, piece.bytes + piece.count);
        --inside;
    }
    // Each payload begins with a number of two bytes.
    void take(const quarloPacket& packet) {
        if (packet.steadyBegin > packet.steadyTime) ++faults;
        packets[packet.direction - 1].push_back({packet.begin, packet.packetSize, packet.type});
        const std::uint64_t number = packet.begin + QUARLO_PACKET_HEADER;
        const Bytes& from = bytes[packet.direction - 1];
        order.emplace_back(packet.direction, from[number] | from[number + 1] << 8);
    }
};

constexpr unsigned count = 160;

Bytes numbered(unsigned number) {
    const std::size_t size = number == 0 ? 100000 : number * 17;
    return packet(33 + number % 2, u16(number) + Bytes(size, static_cast<UInt8>(number)));
}

// Eight threads send packets, which the far end echoes.
void converse(Wire& wire) {
    std::size_t size = 0;
    for (unsigned number = 0; number < count; ++number) size += numbered(number).size();
    std::thread far([&] {
        for (std::size_t left = size; left > 0;) {
            const Bytes some = readFully(wire.farInput, std::min<std::size_t>(left, 1000));
            if (!writeFully(wire.farOutput, some)) break;
            left -= some.size();
        }
    });
    std::atomic<unsigned> next{0};
    std::vector<std::thread> senders(8);
    for (std::thread& sender : senders) {
        sender = std::thread([&] {
            for (unsigned number = next++; number < count; number = next++) {
                send(wire.link, numbered(number));
            }
        });
    }
    EXPECT_EQ(receiveAll(wire.link, size).size(), size);
    for (std::thread& sender : senders) sender.join();
    far.join();
}

void expectTrueOrder(const Told& told) {
    EXPECT_EQ(told.faults, 0);
    EXPECT_EQ(told.bytes[FromPhone], told.bytes[ToPhone]) << "echoed";
    EXPECT_EQ(told.order.size(), 2 * count);
    std::set<unsigned> sent;
    for (const auto& [direction, number] : told.order) {
        if (direction == eDIRECTION_ToPhone) sent.insert(number);
        EXPECT_TRUE(sent.contains(number)) << "echoed before it was sent";
    }
    EXPECT_EQ(sent.size(), count);
    for (const Seen& each : told.packets[ToPhone]) {
        const Bytes whole = part(told.bytes[ToPhone], each.begin, each.begin + each.size);
        EXPECT_TRUE(whole == numbered(whole[9] | unsigned{whole[10]} << 8)) << "mixed";
    }
}

struct Carried {
    Kind kind;
    const char* opened;
    bool isEndedByHost;
    Told told = {};
    Told pieces = {};
};

void carry(Carried& carried, quarloCapture* capture) {
    Wire wire(carried.kind);
    const quarloObserver observer = carried.told.observer();
    quarloObserver pieces = carried.pieces.observer();
    pieces.packet = nullptr;
    quarloObserver tooOld = observer;
    tooOld.size = sizeof(size_t);
    const auto countOf = [&](unsigned type, UInt64* packets) {
        return quarloLink_GetPacketCount(wire.link, eDIRECTION_ToPhone, type, packets, nullptr);
    };
    EXPECT_EQ(countOf(1, nullptr), eRETURN_NOT_SUPPORTED);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &tooOld), eRETURN_PARAM_VALUE);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &observer), eRETURN_OKAY);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &pieces), eRETURN_OKAY);
    EXPECT_EQ(quarloLink_Note(wire.link, "early"), eRETURN_NOT_SUPPORTED);
    EXPECT_EQ(quarloLink_SetCapture(wire.link, capture), eRETURN_OKAY);
    EXPECT_EQ(quarloLink_SetCapture(wire.link, capture), eRETURN_ALREADY_IN_LIST);
    EXPECT_EQ(quarloLink_Note(wire.link, "before"), eRETURN_OKAY);
    converse(wire);
    quarloLink_Note(wire.link, "after");
    UInt64 packets = 0;
    EXPECT_EQ(countOf(34, &packets), eRETURN_OKAY);
    EXPECT_EQ(packets, count / 2);
    EXPECT_EQ(countOf(256, nullptr), eRETURN_PARAM_VALUE);
    EXPECT_EQ(quarloLink_GetCaptureFailure(wire.link, nullptr, 0), 0U);
    if (carried.isEndedByHost) return;
    wire.closeFar();
    Bytes none;
    while (receive(wire.link, none, 1) >= 0) continue;
}

TEST(Capture, HoldsWhatEachTransportHasCarriedInTrueOrder) {
    const Directory directory;
    const std::string path = directory / "all";
    quarloCapture* capture = openCapture(path);
    Carried all[] = {{Kind::Pair, "quarlo open descriptor socket:", false},
                     {Kind::Tcp, "quarlo open tcp 127.0.0.1:", true},
                     {Kind::Pipes, "quarlo open descriptor pipe:", false},
                     {Kind::Serial, "quarlo open serial /dev/pts/", false}};
    {
        Wire silent(Kind::Pair);
        EXPECT_EQ(quarloLink_SetCapture(silent.link, capture), eRETURN_OKAY);
        std::vector<std::thread> threads;
        for (Carried& each : all) threads.emplace_back([&] { carry(each, capture); });
        for (std::thread& each : threads) each.join();
    }
    const std::map<unsigned, Connection> captured = closeAndRead(capture, path, true);
    EXPECT_EQ(captured.size(), std::size(all));
    for (const Carried& each : all) {
        SCOPED_TRACE(each.opened);
        expectTrueOrder(each.told);
        EXPECT_EQ(each.pieces.bytes[ToPhone], each.told.bytes[ToPhone]);
        EXPECT_TRUE(each.pieces.order.empty());
        EXPECT_EQ(each.told.closed, 1);
        const auto found = std::find_if(captured.begin(), captured.end(), [&](const auto& one) {
            return one.second.comments.at(0).rfind(each.opened, 0) == 0;
        });
        ASSERT_NE(found, captured.end());
        const Connection& connection = found->second;
        EXPECT_TRUE(connection.streams[ToPhone] == each.told.bytes[ToPhone]);
        EXPECT_TRUE(connection.streams[FromPhone] == each.told.bytes[FromPhone]);
        const std::string end = each.isEndedByHost ? "host" : "phone";
        EXPECT_EQ(std::vector(connection.comments.begin() + 1, connection.comments.end()),
                  (std::vector<std::string>{"quarlo note before", "quarlo note after",
                                            "quarlo end the " + end + " closed the connection"}));
        EXPECT_EQ(connection.closing, each.isEndedByHost ? "1:17 0:17 1:16 " : "0:17 1:17 0:16 ");
    }
}

TEST(Capture, ShowsPlacesResetsAndTimeOutsAsSuch) {
    const Directory directory;
    const std::string path = directory / "ends";
    quarloCapture* capture = openCapture(path);
    for (const bool isReset : {true, false}) {
        Wire wire(isReset ? Kind::Tcp : Kind::Pair);
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
            send(wire.link, packet(26, Bytes(4U << 20, 1)));
        }
        // More than the capture keeps for a packet that never comes.
        eReturnCode result = eRETURN_OKAY;
        for (int i = 0; i < 100; ++i) {
            result = quarloLink_Note(wire.link, std::string(2000, 'n').c_str());
        }
        EXPECT_EQ(result, eRETURN_MEM_ALLOC);
    }
    // A phone that connected to a Unix socket is named by the listener's path.
    const std::string place = directory / "socket";
    quarloListener* listener = quarloListener_OpenUnix(place.c_str(), nullptr);
    quarloLink* phone = quarloLink_ConnectUnix(place.c_str(), nullptr);
    quarloLink* accepted = quarloListener_Accept(listener, 0, nullptr);
    quarloLink_SetCapture(accepted, capture);
    send(accepted, packet(25));
    quarloLink_Close(accepted);
    quarloLink_Close(phone);
    quarloListener_Close(listener);
    const std::map<unsigned, Connection> captured = closeAndRead(capture, path);
    EXPECT_EQ(captured.at(49154).comments[0], "quarlo open unix " + place);
    EXPECT_EQ(captured.at(49152).closing, "0:20 ");
    EXPECT_EQ(captured.at(49153).closing, "1:20 ");
    EXPECT_GT(captured.at(49153).streams[ToPhone].size(), 1000U);
    EXPECT_EQ(captured.at(49152).comments[1], "quarlo note " + std::string(1000, 'n'));
}

TEST(Capture, OfASessionHasAConnectionForEachAttemptWithItsStates) {
    const Library library;
    const Directory directory;
    const std::string path = directory / "session";
    quarloCapture* capture = openCapture(path);
    Reports reports;
    Phone phone([](quarloLink* link, int connection) {
        nextPacket(link);  // RUN is reached
        if (connection > 0) send(link, packet(200));
        if (connection > 1) stay(link);
    });
    SessionSetup setup = configOf(reports, phone.port());
    setup.capture = capture;
    Session session = startSession(setup);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 3, 60));
    session.reset();
    const std::map<unsigned, Connection> captured = closeAndRead(capture, path);
    ASSERT_GE(captured.size(), 3U);
    for (unsigned i = 0; i < 3; ++i) {
        const Connection& connection = captured.at(49152 + i);
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

// Each connection is deleted wherever the transfer stands; nothing hangs.
TEST(Capture, StandsDeletionsInMidTransfer) {
    const Library library;
    const Directory directory;
    const std::string path = directory / "deletions";
    quarloCapture* capture = openCapture(path);
    constexpr unsigned rounds = 40;
    for (unsigned round = 0; round < rounds; ++round) {
        Wire wire(Kind::Pair);
        std::thread far([&] {
            quarloLink* phone = quarloLink_FromDescriptors(wire.farInput, wire.farInput, nullptr);
            wire.farInput = wire.farOutput = -1;
            shakeHands(phone);
            while (quarloLink_GetError(phone) == 0)
                send(phone, packet(64) + packet(26, Bytes(300)));
            quarloLink_Close(phone);
        });
        quarloLink_SetCapture(wire.link, capture);
        void* instance = quarlo_CreateInstance(wire.link, "round");
        quarlo_SetInitialisationTimeout(instance, 0);
        quarlo_SetTraceOutput(instance, [](void*, eTraceClass, char*) {});
        quarloLink_Attach(wire.link, instance, nullptr);
        quarlo_StartMainThread(instance);
        while (quarloLink_GetBytesReceived(wire.link) < UInt64{round} * 200) {
            std::this_thread::yield();
        }
        quarlo_DeleteInstance(instance);
        wire.closeLink();
        far.join();
    }
    EXPECT_EQ(closeAndRead(capture, path).size(), rounds);
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
