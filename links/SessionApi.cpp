// The C functions of sessions: checks of what the host hands in. Any thread may call them.
#include <cerrno>
#include <new>

#include "Session.h"
#include "Structs.h"
#include "Threads.h"

using namespace quarlo::links;

namespace {

const char* wrongPlace(const quarloTransport& transport) {
    const bool hasAddress = transport.address != nullptr && transport.address[0] != 0;
    switch (transport.kind) {
        case eTRANSPORT_TcpClient:
            if (transport.port == 0) return "the transport has no port";
            break;
        case eTRANSPORT_Serial:
            if (transport.baudRate == 0) return "the transport has no baud rate";
            break;
        case eTRANSPORT_UnixClient:
        case eTRANSPORT_UnixServer:
            break;
        case eTRANSPORT_TcpServer:
            return nullptr;
        case eTRANSPORT_Custom:
            return transport.open == nullptr ? "the transport has no open function" : nullptr;
        case eTRANSPORT_Listener:
            return transport.listener == nullptr ? "the transport has no listener" : nullptr;
        default:
            return "there is no transport of this kind";
    }
    return hasAddress ? nullptr : "the transport has no address";
}

const char* wrongLimit(const quarloSessionConfig& config) {
    if (!isSilenceLimit(config.silenceLimit)) return "the silence limit is out of range";
    if (config.jitter > 100) return "the jitter is out of range";
    return nullptr;
}

void setDefaults(quarloSessionConfig& config) {
    const auto byDefault = [](UInt32& value, UInt32 wanted) {
        if (value == 0) value = wanted;
    };
    byDefault(config.handshakeLimit, 60000);
    byDefault(config.sendLimit, defaultSendLimit);
    byDefault(config.silenceLimit, defaultSilenceLimit);
    byDefault(config.changeLimit, 3000);
    byDefault(config.firstDelay, 500);
    byDefault(config.longestDelay, 10000);
    byDefault(config.jitter, 20);
    byDefault(config.lastingRun, 10000);
}

// The largest must be something that can be gone back from.
const char* wrongFrames(const SessionSettings& read) {
    constexpr UInt32 all = eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat | eFRAMECHANGE_Compression;
    const quarloFrameChange& frames = read.frames;
    const quarloFrameChange& largest = read.largest;
    const bool areFrames = frames.what == 0 || ((frames.what & ~all) == 0 && isChange(frames));
    if (!areFrames) return "the frames make no sense";
    const UInt32 both = frames.what & ~static_cast<UInt32>(eFRAMECHANGE_Compression);
    const bool isLargest = largest.what == 0 || ((largest.what & ~both) == 0 && isChange(largest));
    return isLargest ? nullptr : "the largest frames make no sense";
}

quarloSession* refuse(quarloLinkFailure* failure, int number, const char* why = nullptr) {
    describe(failure, number, "cannot start", "session", why);
    return nullptr;
}

// On these threads the session, or the library for it, would wait for the caller.
bool mayWait(quarloSession& session, const char* warning) {
    const bool isRefused = LibraryThread::isThis();
    if (isRefused) session.warn(warning);
    return !isRefused;
}

}  // namespace

bool quarlo::links::isChange(const quarloFrameChange& change) {
    constexpr UInt32 all = eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat | eFRAMECHANGE_Compression |
                           eFRAMECHANGE_Fence;
    const auto fits = [](UInt32 value, UInt32 least, UInt32 most) {
        return value >= least && value <= most;
    };
    if (change.what == 0 || (change.what & ~all) != 0) return false;
    if ((change.what & eFRAMECHANGE_PixelFormat) != 0 &&
        !(fits(change.format, ePIXELFORMAT_RGB888, ePIXELFORMAT_RGBA8888) &&
          fits(change.order, ePIXELENDIANESS_BigEndian, ePIXELENDIANESS_LittleEndian) &&
          fits(change.bytesPerPixel, 1, UINT8_MAX))) {
        return false;
    }
    return (change.what & eFRAMECHANGE_Size) == 0 ||
           (fits(change.width, 1, UINT16_MAX) && fits(change.height, 1, UINT16_MAX) &&
            fits(change.physicalWidth, 0, UINT16_MAX) &&
            fits(change.physicalHeight, 0, UINT16_MAX));
}

const char* quarlo::links::readConfig(const quarloSessionConfig* config, SessionSettings& read) {
    if (!take(config, read.config)) return "the configuration has no size";
    quarloSessionConfig& known = read.config;
    if (!take(known.transport, read.transport)) return "the transport has no size";
    if (known.observer != nullptr && !take(known.observer, read.observer)) {
        return "the observer has no size";
    }
    if (known.frames != nullptr && !take(known.frames, read.frames)) {
        return "the frames have no size";
    }
    if (known.largest != nullptr && !take(known.largest, read.largest)) {
        return "the largest frames have no size";
    }
    if (read.transport.address != nullptr) read.address = read.transport.address;
    if (known.description != nullptr) read.description = known.description;
    setDefaults(known);
    if (const char* problem = wrongPlace(read.transport); problem != nullptr) return problem;
    const char* problem = wrongLimit(known);
    return problem != nullptr ? problem : wrongFrames(read);
}

quarloSession* quarloSession_Start(const quarloSessionConfig* config, quarloLinkFailure* failure) {
    SessionSettings wanted{};
    if (const char* problem = readConfig(config, wanted); problem != nullptr) {
        return refuse(failure, EINVAL, problem);
    }
    auto* session = new (std::nothrow) quarloSession(wanted);
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

eReturnCode quarloSession_ChangeFrames(quarloSession* session, const quarloFrameChange* change,
                                       quarloChangeResult* result) {
    if (session == nullptr) return eRETURN_NULL_HANDLE;
    if (change == nullptr) return eRETURN_NULL_PARAM;
    quarloFrameChange known;
    if (!take(change, known) || !isChange(known)) return eRETURN_PARAM_VALUE;
    const char* warning =
        "quarloSession_ChangeFrames would wait on a thread of the library or of a session; "
        "refused.";
    if (result != nullptr && !mayWait(*session, warning)) return eRETURN_NOT_ALLOWED;
    return session->change(known, result);
}

eReturnCode quarloSession_GetPacketCount(quarloSession* session, quarloDirection direction,
                                         UInt32 type, UInt64* packets, UInt64* bytes) {
    if (session == nullptr) return eRETURN_NULL_HANDLE;
    return readCount(session->counts(), direction, type, packets, bytes);
}

int quarloSession_GetInterrupt(quarloSession* session) {
    return session != nullptr ? session->interrupt() : -1;
}

void quarloSession_Reconnect(quarloSession* session) {
    if (session != nullptr) session->ask(eventReconnect);
}

void quarloSession_Stop(quarloSession* session) {
    if (session != nullptr) session->ask(eventStop);
}

eReturnCode quarloSession_Delete(quarloSession* session) {
    if (session == nullptr) return eRETURN_NULL_HANDLE;
    const char* warning =
        "quarloSession_Delete called on a thread of the library or of a session; refused.";
    if (!mayWait(*session, warning)) return eRETURN_NOT_ALLOWED;
    session->ask(eventStop);
    session->join();
    delete session;
    return eRETURN_OKAY;
}
