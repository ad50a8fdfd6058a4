/* The callbacks that look at everything; see the header. */
#include "Subject.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace quarlo::fuzz {
namespace {

using test::operator+;
using test::packet;
using test::text;
using test::u32;
using test::u8;

void lookAtText(const char* text) {
    if (text != nullptr) look(text, std::strlen(text) + 1);
}

/** What is given to a callback stays valid until it returns, whatever the host does in it. */
template <class LookAtAll>
void show(void* context, LookAtAll lookAtAll) {
    lookAtAll();
    static_cast<Subject*>(context)->react();
    lookAtAll();
}

/** A callback that has nothing to look at but values. */
template <class... P>
void onValues(void* context, P...) {
    show(context, [] {});
}

void onFrame(void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8* data, UInt32 length) {
    show(context, [&] { look(data, length); });
}

void onRawFrame(void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8* data, UInt32 length,
                UInt8, UInt8, PixelFormat, PixelEndianess, FrameCompression) {
    show(context, [&] { look(data, length); });
}

void onPhoneCall(void* context, char* number, char* displayName) {
    show(context, [&] {
        lookAtText(number);
        lookAtText(displayName);
    });
}

void lookAtPlace(const LocationStrings& place) {
    const char* const texts[] = {place.Country, place.StateRegion, place.ZipCode,    place.City,
                                 place.Street,  place.CrossStreet, place.Housenumber};
    unsigned bit = 1;
    for (const char* text : texts) {
        require((place.validMask & bit) == 0 || text != nullptr, "a valid text is null");
        lookAtText(text);
        bit <<= 1;
    }
}

void onNavigateTo(void* context, char* displayName, NavigateToType, double, double,
                  LocationStrings* location) {
    show(context, [&] {
        lookAtText(displayName);
        if (location != nullptr) lookAtPlace(*location);
    });
}

void onKeys(void* context, Flag, UInt8 count, UInt32* keys) {
    show(context, [&] { look(keys, count * sizeof *keys); });
}

void onIcon(void* context, AppIconResponse* icon) {
    show(context, [&] {
        lookAtText(icon->IdentifierURL);
        look(icon->uncompressedData, icon->uncompressedDataLength);
    });
}

void onStarted(void* context, const char* url, AppStartStatus) {
    show(context, [&] { lookAtText(url); });
}

void onString(void* context, ServerCustomDataStringType, StringEncoding, char* text) {
    show(context, [&] { lookAtText(text); });
}

void onInt(void* context, ServerCustomDataIntType, UInt16 length, UInt8* value) {
    show(context, [&] { look(value, length); });
}

void onCan(void* context, ServerCustomDataCanType, UInt32, UInt8 length, UInt8* data) {
    show(context, [&] { look(data, length); });
}

void onRaw(void* context, ServerCustomDataRawType, UInt16, UInt16 length, UInt8* data) {
    show(context, [&] { look(data, length); });
}

void onTrace(void*, eTraceClass, char* line) {
    static const bool isShown = std::getenv("QUARLO_FUZZ_TRACE") != nullptr;
    lookAtText(line);
    if (isShown) std::fprintf(stderr, "%s\n", line);
}

bool goesToPhone(UInt8 type) {
    switch (type) {
#define QUARLO_SENT_ToPhone(Event) case Event:
#define QUARLO_SENT_FromPhone(Event)
#define QUARLO_PACKET(Event, Direction, ...) QUARLO_SENT_##Direction(Event)
#define QUARLO_EMPTY_PACKET(Event, Direction, ...) QUARLO_SENT_##Direction(Event)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        return true;
        default:
            return false;
    }
}

std::size_t receive(void*, UInt8* buffer, std::size_t size, void* connection) {
    return static_cast<Subject*>(connection)->read(buffer, size);
}

void lookAtPacket(const UInt8* buffer, std::size_t size) {
    look(buffer, size);
    require(size >= wire::headerSize && goesToPhone(buffer[0]), "no packet was sent");
    const UInt32 payload = Input(buffer + 5, 4).u32();
    require(size == wire::headerSize + payload, "a packet of another size was sent");
}

void transmit(void*, UInt8* buffer, std::size_t size, void* connection) {
    lookAtPacket(buffer, size);
    static_cast<Subject*>(connection)->sending();
    lookAtPacket(buffer, size);
}

}  // namespace

test::Bytes handshakeStart() {
    return packet(2, u8(1));
}

test::Bytes handshakeEnd() {
    return packet(12, u8(1)) +
           packet(14, text("phone") + u8(1) + u8(2) + u8(1) + u8(2) + u32(7) + text("PhoneOS 4") +
                          text("uuid")) +
           packet(18, u8(1));
}

void Subject::create() {
    handle = quarlo_CreateInstance(this, "fuzzed");
    if (handle == nullptr) return;
    quarlo_SetCallbackContext(handle, this);
    quarlo_SetTraceOutput(handle, &onTrace);
    quarlo_SetTraceClass(handle, static_cast<eTraceClass>(63));
    quarlo_SetReceiverLink(handle, &receive);
    quarlo_SetSenderLink(handle, &transmit);
    registerCallbacks(~std::uint64_t{0});
}

void Subject::remove() {
    quarlo_DeleteInstance(handle);
    handle = nullptr;
}

void Subject::registerCallbacks(std::uint64_t which) const {
    // Each takes the lowest bit that is left.
    const auto chosen = [&which](auto* callback) {
        const bool isChosen = (which & 1) != 0;
        which >>= 1;
        return isChosen ? callback : nullptr;
    };
    quarlo_SetEndReceiverRequestCallback(
        handle, chosen(+[](void* context) { static_cast<Subject*>(context)->endReading(); }));
    quarlo_SetProtocolCallback(handle, chosen(&onValues<eProtocolState>));
    quarlo_SetErrorCallback(handle, chosen(&onValues<eErrorCode>));
    quarlo_SetOnMainThreadStartCallback(handle, chosen(&onValues<>));
    quarlo_SetOnMainThreadEndCallback(handle, chosen(&onValues<>));
    quarlo_SetFrameUpdateStartCallback(handle, chosen(&onValues<UInt8>));
    quarlo_SetFrameUpdateCallback(handle, chosen(&onFrame));
    quarlo_SetFrameUpdateRawCallback(handle, chosen(&onRawFrame));
    quarlo_SetFrameUpdateEndCallback(handle, chosen(&onValues<>));
    quarlo_SetBlockStatusCallback(handle, chosen(&onValues<Flag>));
    quarlo_SetVehicleDataRequestCallback(handle, chosen(&onKeys));
    quarlo_SetAudioRequestCallback(handle, chosen(&onValues<AudioControl, UInt32, AudioType>));
    quarlo_SetPhonecallStatusCallback(handle, chosen(&onValues<Flag>));
    quarlo_SetAppTransitionStatusCallback(handle, chosen(&onValues<Flag>));
    quarlo_SetAppInactiveCallback(handle, chosen(&onValues<Flag>));
    quarlo_SetLauncherStateCallback(handle, chosen(&onValues<LauncherState>));
    quarlo_SetPTTAvailableCallback(handle, chosen(&onValues<Flag>));
    quarlo_SetInitiatePhoneCallCallback(handle, chosen(&onPhoneCall));
    quarlo_SetNavigateToCallback(handle, chosen(&onNavigateTo));
    quarlo_SetVoiceSessionRequestCallback(handle, chosen(&onValues<VoiceRequest>));
    quarlo_SetAppListChangedCallback(handle, chosen(&onValues<>));
    quarlo_SetAppIconResponseCallback(handle, chosen(&onIcon));
    quarlo_SetAppStartedResponseCallback(handle, chosen(&onStarted));
    quarlo_SetCustomDataStringCallback(handle, chosen(&onString));
    quarlo_SetCustomDataIntCallback(handle, chosen(&onInt));
    quarlo_SetCustomDataKeyCallback(
        handle, chosen(&onValues<ServerCustomDataKeyType, ServerCustomDataKeyCode>));
    quarlo_SetCustomDataCanCallback(handle, chosen(&onCan));
    quarlo_SetCustomDataRawCallback(handle, chosen(&onRaw));
}

Setup::Setup(Input& in) : options(in.u8()), size(in.u8()), refused(in.u16()) {}

void Setup::apply(Subject& subject) const {
    void* handle = subject.handle;
    quarlo_SetFrameOutputType(handle, has(Raw) ? 1 : 0);
    if (!has(EndRequest)) quarlo_SetEndReceiverRequestCallback(handle, nullptr);
    if (has(Dump)) quarlo_SetDumpProperties(handle, 1, size & 1, 1, nullptr);
    if (has(Watchdog)) quarlo_EnablePingWatchdog(handle, 1, 2);
    quarlo_SetInitialisationTimeout(handle, has(InitTimer) ? 3 : 0);
    if (has(AllCapabilities)) quarlo_SetClientCapabilities(handle, eCLIENTCAPABILITIES_All, 1);
    quarlo_SetFrameSize(handle, 8U << (size & 7), 8U << (size >> 3 & 7), 100, 100);
    if ((size & 128) != 0) quarlo_SetTraceOutput(handle, &_quarlo_traceOutCore);
    if ((size & 64) != 0) {
        quarlo_SetPixelFormat(handle, ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_BigEndian);
    }
}

}  // namespace quarlo::fuzz
