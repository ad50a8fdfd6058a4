// The C functions of sessions: checks of what the host hands in. Any thread may call them.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "Session.h"

using namespace quarlo::links;

namespace {

bool hasPlace(const quarloTransport& transport) {
    const bool hasAddress = transport.address != nullptr && transport.address[0] != 0;
    switch (transport.kind) {
        case eTRANSPORT_TcpClient:
            return hasAddress && transport.port != 0;
        case eTRANSPORT_TcpServer:
            return true;
        case eTRANSPORT_UnixClient:
        case eTRANSPORT_UnixServer:
            return hasAddress;
        case eTRANSPORT_Serial:
            return hasAddress && transport.baudRate != 0;
        case eTRANSPORT_Custom:
            return transport.open != nullptr;
    }
    return false;
}

// Takes as many members as the host's release knows; the rest keep their defaults.
SessionSettings settingsOf(const quarloSessionConfig& config) {
    SessionSettings settings{};
    memcpy(&settings.config, &config, std::min(config.size, sizeof config));
    const char* address = settings.config.transport.address;
    if (address != nullptr) settings.address = address;
    if (settings.config.description != nullptr) settings.description = settings.config.description;
    return settings;
}

quarloSession* refuse(quarloLinkFailure* failure, int number) {
    describe(failure, number, "cannot start", "session");
    return nullptr;
}

}  // namespace

quarloSession* quarloSession_Start(const quarloSessionConfig* config, quarloLinkFailure* failure) {
    constexpr size_t oldestSize = sizeof(quarloSessionConfig);
    if (config == nullptr || config->size < oldestSize || !hasPlace(config->transport)) {
        return refuse(failure, EINVAL);
    }
    auto* session = new (std::nothrow) quarloSession(settingsOf(*config));
    if (session == nullptr) return refuse(failure, ENOMEM);
    const int error = session->start();
    if (error == 0) return session;
    delete session;
    return refuse(failure, error);
}

void* quarloSession_Acquire(quarloSession* session) {
    return session != nullptr ? session->acquire() : nullptr;
}

void quarloSession_Release(quarloSession* session) {
    if (session != nullptr) session->release();
}

void quarloSession_Reconnect(quarloSession* session) {
    if (session != nullptr) session->raise(eventReconnect);
}

void quarloSession_Stop(quarloSession* session) {
    if (session != nullptr) session->raise(eventStop);
}

eReturnCode quarloSession_Delete(quarloSession* session) {
    if (session == nullptr) return eRETURN_NULL_HANDLE;
    if (session->isOwnThread()) return eRETURN_NOT_ALLOWED;
    session->raise(eventStop);
    session->join();
    delete session;
    return eRETURN_OKAY;
}
