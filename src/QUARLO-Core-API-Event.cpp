/*
 * Touch and softkey input, the phone's description of itself, and the vehicle's status. Host
 * threads; the phone's texts and softkeys are read under internalLock, because a new description
 * may replace them.
 */
#include <cstring>
#include <limits>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

constexpr UInt16 longestSentence = 80;

UInt16 getText(void* instanceHandle, qrString* quarlo_CoreInstance::*field, const char* name,
               char* textBuffer, UInt16 textBufferLen) {
    return api(instanceHandle, UInt16{0}, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "%s", name);
        const Lock lock(obj);
        return _quarlo_GetStringToTextBuffer(obj->*field, textBuffer, textBufferLen);
    });
}

/** The touches of one call as the packet wants them. */
class Touches {
  public:
    void add(const TouchEvent& touch) {
        entries[count] = {touch.event, touch.xPosition, touch.yPosition, touch.fingerId};
        list[count] = &entries[count];
        ++count;
    }
    void showTo(qrTouchList& shown) {
        shown.Length = count;
        shown.paTouches = list;
    }

  private:
    static constexpr std::size_t most = std::numeric_limits<UInt8>::max();
    UInt8 count = 0;
    qrTouch* list[most];
    qrTouch entries[most];
};

void sendTouches(quarlo_CoreInstance* obj, const TouchEvent* touches, UInt8 number,
                 UInt32 timestamp) {
    Touches converted;
    for (unsigned i = 0; i < number; ++i) {
        const TouchEvent& touch = touches[i];
        if (traces(obj, eTRACECLASS_VERBOSE)) {
            trace(obj, eTRACECLASS_VERBOSE, "    position = (%d, %d), event = %d, uniqueID = %d",
                  touch.xPosition, touch.yPosition, touch.event, static_cast<int>(touch.fingerId));
        }
        converted.add(touch);
    }
    send<packetTouchEvent>(obj, [&](packetTouchEvent& packet) {
        converted.showTo(*packet.TouchEvents);
        packet.Timestamp = timestamp != 0 ? timestamp : quarlo_GetTimestamp();
    });
}

/** The vehicle's state is sent in RUN only, silently dropped otherwise, and never remembered. */
void sendState(quarlo_CoreInstance* obj, ClientDataType type, UInt8 value) {
    if (!inRun(obj)) return;
    send<packetClientState>(obj, [&](packetClientState& packet) {
        packet.DataType = type;
        packet.Value = value;
    });
}

/** A sentence for a packet to lead to, which is cut when it is too long. */
qrString sentenceOf(quarlo_CoreInstance* obj, const char* text) {
    std::size_t length = std::strlen(text);
    if (length > longestSentence) {
        trace(obj, eTRACECLASS_WARNING, "NMEA string truncated to 80 bytes.");
        length = longestSentence;
    }
    return borrowBytes(text, static_cast<UInt16>(length));
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

UInt16 quarlo_GetLauncherUUID(void* instanceHandle, char* textBuffer, UInt16 textBufferLen) {
    return getText(instanceHandle, &quarlo_CoreInstance::phoneLauncherUUID, "GetLauncherUUID",
                   textBuffer, textBufferLen);
}

UInt16 quarlo_GetServerOSName(void* instanceHandle, char* textBuffer, UInt16 textBufferLen) {
    return getText(instanceHandle, &quarlo_CoreInstance::operatingSystemName, "GetServerOSName",
                   textBuffer, textBufferLen);
}

UInt16 quarlo_GetServerAppName(void* instanceHandle, char* textBuffer, UInt16 textBufferLen) {
    return getText(instanceHandle, &quarlo_CoreInstance::applicationName, "GetServerAppName",
                   textBuffer, textBufferLen);
}

ServerCapabilities quarlo_GetServerCapabilities(void* instanceHandle) {
    return api(instanceHandle, ServerCapabilities{0}, [](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "GetServerCapabilities");
        // Deliberate: the deprecated flag never reaches the host: no call of this interface goes
        // with it.
        constexpr ServerCapabilities hidden = eSERVERCAPABILITIES_EnableVoiceControlDeprecated;
        return obj->serverCapabilities.get() & ~hidden;
    });
}

void quarlo_GetAvailableSoftkeys(void* instanceHandle, UInt8* numberOfKeys, Softkey** keyList) {
    if (numberOfKeys != nullptr) *numberOfKeys = 0;
    if (keyList != nullptr) *keyList = nullptr;
    if (numberOfKeys == nullptr || keyList == nullptr) return;
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "GetAvailableSoftkeys");
        const Lock lock(obj);
        if (obj->supportedSoftkeys == nullptr) return;
        *numberOfKeys = obj->supportedSoftkeys->Length;
        *keyList = obj->supportedSoftkeys->pSoftkeys;
    });
}

void quarlo_SoftkeyEvent(void* instanceHandle, Softkey key, SoftkeyEventType event) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Softkey Event");
        trace(obj, eTRACECLASS_VERBOSE, "    key = %d, event = %d", key, event);
        if (!inRun(obj)) return;
        send<packetSoftkeyEvent>(obj, [&](packetSoftkeyEvent& packet) {
            packet.Softkey = key;
            packet.SoftkeyEvent = event;
        });
    });
}

void quarlo_TouchEvents(void* instanceHandle, TouchEvent* eventArray, UInt8 numberOfEvents) {
    quarlo_TouchEventsTimed(instanceHandle, eventArray, numberOfEvents, quarlo_GetTimestamp());
}

void quarlo_TouchEventsTimed(void* instanceHandle, TouchEvent* eventArray, UInt8 numberOfEvents,
                             UInt32 timestamp) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_VERBOSE, "Touch Event");
        if (!inRun(obj, "touch events outside RUN state.")) return;
        if (numberOfEvents == 0) {
            trace(obj, eTRACECLASS_WARNING, "touch event list size is 0.");
            return;
        }
        if (eventArray == nullptr) {
            trace(obj, eTRACECLASS_WARNING, "touch event array is NULL.");
            return;
        }
        sendTouches(obj, eventArray, numberOfEvents, timestamp);
    });
}

void quarlo_SetMovingStatus(void* instanceHandle, Flag isMoving) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Moving status set to %s ",
              isMoving == eFLAG_TRUE ? "MOVING" : "STATIONARY");
        sendState(obj, eCLIENTDATATYPE_Movement, isMoving);
    });
}

void quarlo_SetNightMode(void* instanceHandle, Flag isNight) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Set Day/Night Mode to %s",
              isNight == eFLAG_TRUE ? "NIGHT" : "DAY");
        sendState(obj, eCLIENTDATATYPE_DayNightMode, isNight);
    });
}

void quarlo_PositionInformation(void* instanceHandle, const char* NMEA) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Position Information");
        if (NMEA == nullptr || *NMEA == '\0') {
            trace(obj, eTRACECLASS_INFORMATION, "no valid NMEA string provided.");
            return;
        }
        // As it is: a formatted line would be cut at the size of its buffer.
        if (traces(obj, eTRACECLASS_VERBOSE)) {
            quarlo_Trace(obj, eTRACECLASS_VERBOSE, const_cast<char*>(NMEA));
        }
        if (!inRun(obj)) return;
        send<packetPositionInformation>(
            obj, "creation of PositionInformation packet failed.",
            [&](packetPositionInformation& packet) { *packet.NMEA = sentenceOf(obj, NMEA); });
    });
}

void quarlo_SetBlockMode(void* instanceHandle, BlockMode mode) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Set Block Mode");
        if (!inRun(obj)) return;
        send<packetSetBlockMode>(obj, [&](packetSetBlockMode& packet) { packet.ModeToSet = mode; });
    });
}

void quarlo_SetBlockStatusCallback(void* instanceHandle, quarloFlagCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::blockStatusCallback, callback,
          "Set Block Status Callback");
}

}  // extern "C"
