#include "Rig.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "Host.h"

namespace quarlo::test {

int receive(quarloLink* link, Bytes& into, std::size_t size) {
    Bytes buffer(std::max<std::size_t>(size, 1));
    const int result = static_cast<Int32>(quarloLink_Receive(nullptr, buffer.data(), size, link));
    if (result > 0) into.insert(into.end(), buffer.begin(), buffer.begin() + result);
    return result;
}

Bytes receiveAll(quarloLink* link, std::size_t count) {
    Bytes bytes;
    while (bytes.size() < count && receive(link, bytes, count - bytes.size()) >= 0) {
    }
    return bytes;
}

void send(quarloLink* link, Bytes bytes) {
    quarloLink_Send(nullptr, bytes.data(), bytes.size(), link);
}

Bytes readFully(int descriptor, std::size_t count) {
    Bytes bytes(count);
    std::size_t have = 0;
    while (have < count) {
        const ssize_t got = read(descriptor, bytes.data() + have, count - have);
        if (got <= 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

bool writeFully(int descriptor, const Bytes& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put =
            ::send(descriptor, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        const ssize_t written = put < 0 && errno == ENOTSOCK
                                    ? write(descriptor, bytes.data() + done, bytes.size() - done)
                                    : put;
        if (written <= 0) return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

int openTerminal(std::string& device) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, name, sizeof name) != 0) {
        ADD_FAILURE() << "no pseudo terminal";
    }
    device = name;
    return master;
}

Wire::Wire(Kind kind) {
    int one[2];
    int other[2];
    quarloLinkFailure failure{};
    std::string device;
    switch (kind) {
        case Kind::Pair:
            EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, one), 0);
            link = quarloLink_FromDescriptors(one[0], one[0], &failure);
            farInput = farOutput = one[1];
            break;
        case Kind::Pipes:
            EXPECT_EQ(pipe2(one, O_CLOEXEC) + pipe2(other, O_CLOEXEC), 0);
            link = quarloLink_FromDescriptors(one[0], other[1], &failure);
            farInput = other[0];
            farOutput = one[1];
            break;
        case Kind::Serial:
            farInput = farOutput = openTerminal(device);
            link = quarloLink_OpenSerial(device.c_str(), 20000000, 0, &failure);
            break;
        default:
            makeSocket(kind);
    }
    EXPECT_NE(link, nullptr) << failure.text;
}

void Wire::makeSocket(Kind kind) {
    const std::string path = "/tmp/quarlo-links-" + std::to_string(getpid());
    quarloListener* listener = kind == Kind::Tcp ? quarloListener_OpenTcp(nullptr, 0, nullptr)
                                                 : quarloListener_OpenUnix(path.c_str(), nullptr);
    const int domain = kind == Kind::Tcp ? AF_INET : AF_UNIX;
    farInput = farOutput = socket(domain, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (kind == Kind::Tcp) {
        auto& in = reinterpret_cast<sockaddr_in&>(address);
        in = {AF_INET, htons(quarloListener_GetPort(listener)), {htonl(INADDR_LOOPBACK)}, {}};
        size = sizeof in;
    } else {
        address.ss_family = AF_UNIX;
        size = sizeof(sockaddr_un);
        std::copy(path.begin(), path.end(), reinterpret_cast<char*>(&address) + 2);
    }
    EXPECT_EQ(connect(farInput, reinterpret_cast<sockaddr*>(&address), size), 0);
    link = quarloListener_Accept(listener, 1000, nullptr);
    quarloListener_Close(listener);
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "socket file left behind";
}

void Wire::closeFar() {
    if (farInput >= 0) close(farInput);
    if (farOutput != farInput) close(farOutput);
    farInput = farOutput = -1;
}

void Wire::closeLink() {
    quarloLink_Close(link);
    link = nullptr;
}

Wire::~Wire() {
    closeLink();
    closeFar();
}

Phone::Phone(Script afterRun, bool isListening) : script(std::move(afterRun)) {
    listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listening, reinterpret_cast<sockaddr*>(&address), size), 0);
    if (isListening && listen(listening, 8) != 0) ADD_FAILURE() << "cannot listen";
    getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size);
    listeningPort = ntohs(address.sin_port);
    if (isListening) thread = std::thread([this] { serve(); });
}

Phone::~Phone() {
    isEnding = true;
    if (thread.joinable()) thread.join();
    close(listening);
}

void Phone::serve() {
    while (!isEnding) {
        pollfd waiting = {listening, POLLIN, 0};
        if (poll(&waiting, 1, 20) != 1) continue;
        const int descriptor = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) continue;
        const int connection = count++;
        if (shakeHands(descriptor)) script(descriptor, connection);
        close(descriptor);
    }
}

// The far end of a conversation may itself be a link.
static Bytes readFully(quarloLink* link, std::size_t count) {
    return receiveAll(link, count);
}
static bool writeFully(quarloLink* link, const Bytes& bytes) {
    send(link, bytes);
    return true;
}

namespace {

template <class Stream>
Bytes packetFrom(Stream stream) {
    constexpr std::size_t headerSize = 9;
    Bytes bytes = readFully(stream, headerSize);
    if (bytes.size() < headerSize) return {};
    std::size_t size = 0;
    for (std::size_t at = headerSize - 1; at > 4; --at) size = size << 8 | bytes[at];
    if (size > 100000) return {};
    const Bytes payload = readFully(stream, size);
    return payload.size() == size ? bytes + payload : Bytes{};
}

template <class Stream>
bool answer(Stream stream, unsigned acknowledge) {
    for (;;) {
        const Bytes packetSeen = packetFrom(stream);
        if (packetSeen.empty()) return false;
        switch (packetSeen[0]) {
            case 1:
                writeFully(stream, packet(2, u8(acknowledge)));
                break;
            case 11:
                writeFully(stream, packet(12, u8(1)) + Host::serverInit());
                break;
            case 17:
                return writeFully(stream, packet(18, u8(1)));
            default:
                break;
        }
    }
}

}  // namespace

Bytes Phone::nextPacket(int descriptor) {
    return packetFrom(descriptor);
}

bool Phone::shakeHands(int descriptor, unsigned acknowledge) {
    return answer(descriptor, acknowledge);
}

bool Phone::shakeHands(quarloLink* link) {
    return answer(link, 1);
}

void Reports::onState(void* context, quarloSession* session, const quarloSessionInfo* info) {
    auto* self = static_cast<Reports*>(context);
    {
        const std::lock_guard lock(self->mutex);
        self->reports.push_back(
            {info->state, info->attempt, info->remaining, info->errorNumber, info->reason});
        self->changed.notify_all();
    }
    if (self->reaction) self->reaction(session, *info);
}

bool Reports::waitFor(quarloSessionState state, unsigned times, int seconds) {
    const auto end = std::chrono::system_clock::now() + std::chrono::seconds(seconds);
    std::unique_lock lock(mutex);
    return changed.wait_until(lock, end, [&] {
        return std::count_if(reports.begin(), reports.end(), [&](const Report& report) {
                   return report.state == state;
               }) >= static_cast<long>(times);
    });
}

std::vector<Reports::Report> Reports::all() const {
    const std::lock_guard lock(mutex);
    return reports;
}

SessionSetup configOf(Reports& reports, UInt16 port) {
    SessionSetup setup = {};
    setup.size = sizeof(quarloSessionConfig);
    setup.place.size = sizeof setup.place;
    setup.place.kind = eTRANSPORT_TcpClient;
    setup.place.address = "127.0.0.1";
    setup.place.port = port;
    setup.description = "session test";
    setup.context = &reports;
    setup.stateCallback = Reports::onState;
    setup.firstDelay = 10;
    return setup;
}

Session startSession(SessionSetup setup) {
    quarloLinkFailure failure{};
    setup.transport = &setup.place;
    Session session(quarloSession_Start(&setup, &failure));
    EXPECT_NE(session, nullptr) << failure.text;
    return session;
}

void stay(int descriptor, int /*connection*/) {
    while (!Phone::nextPacket(descriptor).empty()) {
    }
}

}  // namespace quarlo::test
