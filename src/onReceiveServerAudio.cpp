/* The phone asks for an audio channel, or gives one back. Receiver thread; syncLock guards the
 * sources. */
#include <utility>

#include "QUARLO-Core-Audio.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo {
namespace {

/** What one process keeps; a request beyond it is one without memory. */
constexpr int mostSources = 256;

enum class Outcome { New, Retriggered, Known, NoMemory };

/** Fills and links the source; false when there is no room or the instance is being deleted. */
bool append(quarlo_CoreInstance* obj, const packetServerAudio& packet, audioSource* source) {
    const bool isRefused = source == nullptr || obj->isAlreadyDeleted != 0 ||
                           listGetLength(&audioSourceList) >= mostSources;
    if (isRefused) return false;
    source->handle = obj;
    source->duration = packet.MaximumDuration;
    source->type = packet.Type;
    source->requestID = packet.RequestID;
    source->requestPending = eFLAG_TRUE;
    source->requestThreadEnd = eFLAG_TRUE;
    listAudioSource(source);
    return true;
}

/** Looks the request up and enters it; takes the source when it is linked. */
Outcome enter(quarlo_CoreInstance* obj, const packetServerAudio& packet, audioSource*& source) {
    const Lock library(nullptr);
    audioSource* found = findAudioSource(packet.RequestID);
    if (found == nullptr) {
        if (!append(obj, packet, source)) return Outcome::NoMemory;
        source = nullptr;
        return Outcome::New;
    }
    const bool isRunningMain =
        found->type == eAUDIOTYPE_Main && found->duration != 0 && found->timeoutRunning != 0;
    if (!isRunningMain) return Outcome::Known;
    found->timerCount = 0;
    found->duration = packet.MaximumDuration;
    return Outcome::Retriggered;
}

void request(quarlo_CoreInstance* obj, const packetServerAudio& packet, const char* name) {
    auto* source = wire::Heap::make<audioSource>();
    const Outcome outcome = enter(obj, packet, source);
    quarlo_free(source);
    const int id = static_cast<int>(packet.RequestID);
    switch (outcome) {
        case Outcome::NoMemory:
            trace(obj, eTRACECLASS_WARNING, "audio source structure allocation failed.");
            break;
        case Outcome::New:
            notify(obj, obj->onAudioRequestCallback, eAUDIOCONTROL_Request, packet.RequestID,
                   packet.Type);
            break;
        case Outcome::Retriggered:
            trace(obj, eTRACECLASS_INFORMATION, "%s: timer re-triggered for requestID %d.", name,
                  id);
            break;
        case Outcome::Known:
            trace(obj, eTRACECLASS_WARNING,
                  "%s: entry already existent for requestID %d; request ignored.", name, id);
            break;
    }
}

/** Marks the release; false when there is no such source. */
bool markRelease(UInt32 requestID, bool& isFirst) {
    const Lock library(nullptr);
    audioSource* source = findAudioSource(requestID);
    if (source == nullptr) return false;
    isFirst = std::exchange(source->releasePending, eFLAG_TRUE) == 0;
    if (source->timeoutRunning != 0) source->requestThreadEnd = eFLAG_TRUE;
    return true;
}

void release(quarlo_CoreInstance* obj, const packetServerAudio& packet, const char* name) {
    bool isFirst = false;
    if (!markRelease(packet.RequestID, isFirst)) {
        trace(obj, eTRACECLASS_WARNING, "%s: no entry found for requestID %d; ignored.", name,
              static_cast<int>(packet.RequestID));
        return;
    }
    wakeThreads();
    if (!isFirst) return;
    notify(obj, obj->onAudioRequestCallback, eAUDIOCONTROL_Release, packet.RequestID, packet.Type);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveServerAudio(quarlo_CoreInstance* obj, packetServerAudio* pPacket) {
    if (!accept(obj, pPacket, "ServerAudio called with NULL packet.",
                "ServerAudio received in wrong state; ignored.")) {
        return;
    }
    const char* name = _quarlo_getAudioControlName(pPacket->Command);
    trace(obj, eTRACECLASS_INFORMATION,
          "ServerAudio requestID=%d type=%s command=%s maxDuration=%d",
          static_cast<int>(pPacket->RequestID), _quarlo_getAudioTypeName(pPacket->Type), name,
          pPacket->MaximumDuration);
    if ((obj->hostServices & eCLIENTCAPABILITIES_AudioHandling) == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "ServerAudio received, but audio handling not supported; ignored.");
        return;
    }
    reapThreads();
    if (pPacket->Command == eAUDIOCONTROL_Request) {
        request(obj, *pPacket, name);
    } else if (pPacket->Command == eAUDIOCONTROL_Release) {
        release(obj, *pPacket, name);
    } else {
        trace(obj, eTRACECLASS_WARNING, "unknown Command in ServerAudio packet.");
    }
}
