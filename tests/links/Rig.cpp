#include "Rig.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
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

Place::Place(int queue) : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), size), 0);
    if (queue >= 0 && listen(descriptor, queue) != 0) ADD_FAILURE() << "cannot listen";
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
}

Place::~Place() {
    close(descriptor);
}

Wire::Wire(Kind kind) {
    int one[2];
    int other[2];
    quarloLinkFailure failure{};
    std::string device;
    if (kind == Kind::Pair) {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, one), 0);
        link = quarloLink_FromDescriptors(one[0], one[0], &failure);
        farInput = farOutput = one[1];
    } else if (kind == Kind::Tcp) {
        const Place place(1);
        link = quarloLink_ConnectTcp("127.0.0.1", place.port, 0, &failure);
        farInput = farOutput = accept4(place.descriptor, nullptr, nullptr, SOCK_CLOEXEC);
    } else if (kind == Kind::Pipes) {
        EXPECT_EQ(pipe2(one, O_CLOEXEC) + pipe2(other, O_CLOEXEC), 0);
        link = quarloLink_FromDescriptors(one[0], other[1], &failure);
        farInput = other[0];
        farOutput = one[1];
    } else {
        farInput = farOutput = openTerminal(device);
        link = quarloLink_OpenSerial(device.c_str(), 20000000, 0, &failure);
    }
    EXPECT_NE(link, nullptr) << failure.text;
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

Bytes nextPacket(quarloLink* link) {
    constexpr std::size_t headerSize = 9;
    const Bytes head = receiveAll(link, headerSize);
    if (head.size() < headerSize) return {};
    const std::size_t size = head[5] | std::size_t{head[6]} << 8U | std::size_t{head[7]} << 16U;
    const Bytes payload = receiveAll(link, size);
    return payload.size() == size ? head + payload : Bytes{};
}

bool shakeHands(quarloLink* link, unsigned acknowledge) {
    for (Bytes seen = nextPacket(link); !seen.empty(); seen = nextPacket(link)) {
        if (seen[0] == 1) send(link, packet(2, u8(acknowledge)));
        if (seen[0] == 11) send(link, packet(12, u8(1)) + Host::serverInit());
        if (seen[0] != 17) continue;
        send(link, packet(18, u8(1)));
        return true;
    }
    return false;
}

void stay(quarloLink* link, int /*connection*/) {
    while (!nextPacket(link).empty()) {
    }
}

Phone::Phone(Script afterRun, const char* address)
    : script(std::move(afterRun)),
      listener(quarloListener_OpenTcp(address, 0, nullptr)),
      thread([this] { serve(); }) {}

Phone::~Phone() {
    quarloListener_Stop(listener);
    thread.join();
    quarloListener_Close(listener);
}

void Phone::serve() {
    while (quarloLink* link = quarloListener_Accept(listener, 0, nullptr)) {
        const int connection = count++;
        if (shakeHands(link)) script(link, connection);
        quarloLink_Close(link);
    }
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

std::vector<Reports::Report> Reports::of(quarloSessionState state) const {
    std::vector<Report> found = all();
    std::erase_if(found, [state](const Report& report) { return report.state != state; });
    return found;
}

void Reports::note(const std::string& text) {
    const std::lock_guard lock(mutex);
    texts.push_back(text);
}

std::vector<std::string> Reports::notes() const {
    const std::lock_guard lock(mutex);
    return texts;
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
    setup.configure = [](void*, quarloSession*, void* instance) {
        quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
        return eRETURN_OKAY;
    };
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

}  // namespace quarlo::test
