// The host of one session. Callbacks run on the receiver thread, and for audio on its timers;
// work() runs on a thread of the host.
#include "HeadUnit.h"

#include <unistd.h>

#include <cstdlib>

#include "ApiCalls.h"
#include "Tally.h"

namespace quarlo::soak {
namespace {

/** Calls of which each is one packet. */
const std::vector<const test::ApiCall*> packetCalls = [] {
    std::vector<const test::ApiCall*> calls;
    for (const test::ApiCall& call : test::apiCalls) {
        if (call.about == test::About::Packet) calls.push_back(&call);
    }
    return calls;
}();

HeadUnit& of(void* context) {
    return *static_cast<HeadUnit*>(context);
}

/** Colours of a pixel of 16 bits. */
std::array<int, 3> colours(unsigned pixel) {
    return {static_cast<int>(pixel >> 11), static_cast<int>(pixel >> 5 & 63),
            static_cast<int>(pixel & 31)};
}

/** How far two lossily compressed rectangles are apart, in steps of a colour. */
int distance(const PixelLayout& layout, const std::vector<std::uint8_t>& a, const UInt8* b) {
    int most = 0;
    if (layout.format != ePIXELFORMAT_RGB565) {
        for (std::size_t i = 0; i < a.size(); ++i) most = std::max(most, std::abs(a[i] - b[i]));
        return most;
    }
    const bool isLittle = layout.order == ePIXELENDIANESS_LittleEndian;
    const std::size_t low = isLittle ? 0 : 1;
    const auto pixel = [&](const UInt8* at) {
        return unsigned{at[low]} | unsigned{at[1 - low]} << 8U;
    };
    for (std::size_t i = 0; i + 1 < a.size(); i += 2) {
        const auto left = colours(pixel(a.data() + i));
        const auto right = colours(pixel(b + i));
        for (std::size_t c = 0; c < 3; ++c) most = std::max(most, std::abs(left[c] - right[c]));
    }
    return most;
}

}  // namespace

HeadUnit::HeadUnit(Exchange& shared, const Setting& how, quarloLink* transport, std::uint64_t seed)
    : exchange(shared), setting(how), link(transport) {
    instance = quarlo_CreateInstance(link, setting.name.c_str());
    configure();
    listen();
    quarlo_StartMainThread(instance);
    thread = std::thread([this, seed] { work(seed); });
}

HeadUnit::~HeadUnit() {
    quieten();
    // A send that blocks would keep the host's thread.
    quarloLink_Stop(link);
    thread.join();
    quarlo_DeleteInstance(instance);
    quarloLink_Close(link);
}

void HeadUnit::configure() {
    quarlo_SetTraceClass(instance, static_cast<eTraceClass>(0));
    if (quarloLink_Attach(link, instance, this) != eRETURN_OKAY) fail("the link was not attached");
    quarlo_SetClientCapabilities(instance, eCLIENTCAPABILITIES_All, 1);
    quarlo_SetFrameSize(instance, static_cast<UInt16>(setting.width),
                        static_cast<UInt16>(setting.height), 160, 90);
    quarlo_SetPixelFormat(instance, setting.layout.format, setting.layout.bytesPerPixel(),
                          setting.layout.order);
    quarlo_SetInitialisationTimeout(instance, setting.hasInitTimer ? 60 : 0);
    if (setting.hasWatchdog) quarlo_EnablePingWatchdog(instance, 1, 60);
}

void HeadUnit::listen() {
    void* const h = instance;
    quarlo_SetProtocolCallback(h, [](void* context, eProtocolState state) {
        HeadUnit& self = of(context);
        if (state == ePROTOCOL_STATE_STOP) self.exchange.isStopped = true;
        if (state != ePROTOCOL_STATE_RUN) return;
        quarlo_FramebufferUpdateRequest(self.instance, 0, 0, 0xFFFF, 0xFFFF, 0);
        self.exchange.isRunning = true;
    });
    quarlo_SetErrorCallback(h, [](void* context, eErrorCode code) { of(context).report(code); });
    quarlo_SetFrameUpdateStartCallback(h, [](void*, UInt8) {});
    quarlo_SetFrameUpdateCallback(
        h, [](void* context, UInt8, UInt16 x, UInt16 y, UInt16 width, UInt16 height, UInt8* data,
              UInt32 length) { of(context).check(x, y, width, height, data, length); });
    quarlo_SetFrameUpdateEndCallback(h, [](void* context) {
        quarlo_FramebufferUpdateRequest(of(context).instance, 0, 0, 0xFFFF, 0xFFFF, 1);
    });
    quarlo_SetCustomDataIntCallback(
        h, [](void* context, ServerCustomDataIntType, UInt16 length, UInt8* value) {
            of(context).arrive(numberOf({value, length}));
        });
    quarlo_SetCustomDataStringCallback(
        h, [](void* context, ServerCustomDataStringType, StringEncoding, char* text) {
            of(context).arrive(std::strtoull(text, nullptr, 10));
        });
    quarlo_SetCustomDataRawCallback(
        h, [](void* context, ServerCustomDataRawType, UInt16, UInt16 length, UInt8* data) {
            of(context).arrive(numberOf({data, length}));
        });
    quarlo_SetAudioRequestCallback(h, [](void* context, AudioControl control, UInt32 id,
                                         AudioType) { of(context).answerAudio(control, id); });
    quarlo_SetVehicleDataRequestCallback(h, [](void* context, Flag, UInt8 count, UInt32* keys) {
        HeadUnit& self = of(context);
        for (unsigned i = 0; i < count; ++i) {
            if (quarlo_VehicleData(self.instance, keys[i], eSTRINGENCODING_UTF8, "{\"v\":1}") ==
                eRETURN_OKAY) {
                self.exchange.calls.next();
            }
        }
    });
}

void HeadUnit::fail(const std::string& what) const {
    tally.fail(setting.name + ": " + what);
}

/* ---- what the library hands over ---- */

void HeadUnit::report(eErrorCode code) const {
    const bool isAnEnd = code == eERRORCODE_PROTOCOL_STOP ||
                         code == eERRORCODE_CONNECTION_EOF_ZERO ||
                         code == eERRORCODE_INITIALIZATION_ABORT;
    if (!isAnEnd) fail("the library reported error " + std::to_string(code));
}

void HeadUnit::arrive(std::uint64_t number) {
    Channel& channel = exchange.fromPhone;
    if (!channel.arrive(number)) {
        return fail("a message of the phone is lost: number " + std::to_string(number) +
                    " came as number " + std::to_string(channel.received));
    }
    constexpr unsigned often = 8;
    if (number % often == 0) sendNumbered(exchange.fromCallbacks, callbackChannel, number % 100);
}

void HeadUnit::check(UInt16 x, UInt16 y, UInt16 width, UInt16 height, const UInt8* data,
                     UInt32 length) {
    Drawn drawn;
    if (!exchange.pop(drawn)) return fail("a rectangle that the phone has not sent");
    ++tally.rectangles;
    const std::string where = " of the rectangle " + std::to_string(x) + "," + std::to_string(y) +
                              " " + std::to_string(width) + "x" + std::to_string(height);
    if (Area{x, y, width, height} != drawn.area || length != drawn.pixels.size()) {
        return fail("wrong place or size" + where);
    }
    constexpr int tolerance = 3;
    const bool isLossy = drawn.compression == eFRAMECOMPRESSION_JPEG;
    const int apart = isLossy ? distance(setting.layout, drawn.pixels, data)
                              : !std::equal(drawn.pixels.begin(), drawn.pixels.end(), data);
    if (apart > (isLossy ? tolerance : 0)) {
        fail("wrong pixels" + where + ", compression " + std::to_string(drawn.compression));
    }
}

void HeadUnit::answerAudio(AudioControl control, UInt32 id) const {
    const bool isRequest = control == eAUDIOCONTROL_Request;
    quarlo_SetAudioStatus(instance, id, isRequest ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Close,
                          eAUDIOREQUESTRESULTCODE_NoError);
}

/* ---- the host's thread ---- */

void HeadUnit::sendNumbered(Channel& channel, UInt16 identifier, std::size_t length) {
    const std::uint64_t number = channel.next();
    if (tally.fault == Fault::Unsent && number == 20) return;
    std::vector<std::uint8_t> bytes = numbered(number, length);
    quarlo_CustomDataRaw(instance, identifier, static_cast<UInt16>(bytes.size()), bytes.data());
}

void HeadUnit::callOnce(Random& random) {
    constexpr unsigned numberedCalls = 6;
    const unsigned choice = random.between(0, 15);
    if (choice < numberedCalls) {
        return sendNumbered(exchange.fromHost, hostChannel, random.length(8, 60000));
    }
    if (choice == numberedCalls) {
        return quarlo_FramebufferUpdateRequest(instance, 0, 0, 0xFFFF, 0xFFFF, 0);
    }
    exchange.calls.next();
    test::Arguments samples;
    const auto last = static_cast<unsigned>(packetCalls.size() - 1);
    packetCalls[random.between(0, last)]->call(instance, samples);
}

void HeadUnit::work(std::uint64_t seed) {
    Random random(seed);
    while (!mustEnd && !exchange.isStopped) {
        if (exchange.isRunning) callOnce(random);
        usleep(random.between(1, exchange.isRunning ? setting.pause : 2000));
    }
    hasEnded = true;
}

}  // namespace quarlo::soak
