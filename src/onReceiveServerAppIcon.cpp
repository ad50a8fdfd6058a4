/*
 * An app's icon: decompressed to the requested size and handed to the host. Everything made for the
 * callback lies in the scratch memory; the icon request is read once under internalLock.
 */
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Texts.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

struct Request {
    UInt16 width;
    UInt16 height;
    qrFrameProperties properties;
    std::uint64_t limit;
};

struct Pixels {
    UInt8* data;
    UInt32 length;
};

/** A matching answer releases the request, also when it is then refused. */
Request takeRequest(quarlo_CoreInstance* obj, const qrString* url) {
    const Lock lock(obj);
    iconConfiguration& icon = obj->iconConfig;
    if (quarlo_utilStringCompare(url, icon.IdentifierURL) != 0) {
        icon.eIconReqState = eICONREQUESTSTATE_Received;
    }
    return {icon.Width, icon.Height, icon.IconProperties, pictureLimit(obj->config)};
}

void traceChoice(quarlo_CoreInstance* obj, FrameCompression compression) {
    if (compression == eFRAMECOMPRESSION_JPEG) {
        // Deliberate: warned of and decoded all the same, because the plug-in is there, and it is
        // the user who would miss the icon.
        trace(obj, eTRACECLASS_WARNING, "data sent uses JPEG compression - not allowed for icons");
    } else if (compression == eFRAMECOMPRESSION_ZLIB) {
        trace(obj, eTRACECLASS_VERBOSE, "data sent uses ZLIB compression");
    }
}

/** Room for the decompressed icon: the requested size, not the packet's. */
UInt8* makeOutput(quarlo_CoreInstance* obj, const Request& request, std::uint64_t size) {
    UInt8* output = size == 0 || size > request.limit ? nullptr : obj->scratch.make<UInt8>(size);
    if (output == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "onReceiveServerAppIcon could not allocate uncompressed buffer.");
    }
    return output;
}

/** The entry for the icon's compression; none when that is not supported. */
unsigned chooseDecompressor(FrameCompression compression) {
    const bool isSupported = (compression & supportedCompressions) != 0;
    return isSupported ? iconDecompressorOf(compression) : noDecompressor;
}

bool decompressIcon(quarlo_CoreInstance* obj, const packetServerAppIcon& packet,
                    const Request& request, Pixels& pixels) {
    const qrFrameProperties& wanted = request.properties;
    const unsigned decompressor = chooseDecompressor(packet.IconCompression);
    if (decompressor == noDecompressor) {
        trace(obj, eTRACECLASS_ERROR, "compression not supported.");
        return false;
    }
    const auto size = std::uint64_t{wanted.BytesPerPixel} * request.height * request.width;
    UInt8* output = makeOutput(obj, request, size);
    if (output == nullptr) return false;
    pixels = {output, static_cast<UInt32>(size)};
    trace(obj, eTRACECLASS_VERBOSE, "Width=%d, Height=%d, Format=%d, Endianess=%d, BPP=%d.",
          request.width, request.height, wanted.Format, wanted.Endianess, wanted.BytesPerPixel);
    traceChoice(obj, packet.IconCompression);
    decompressParameter parameter{request.width, request.height,    wanted.BytesPerPixel,
                                  wanted.Format, wanted.Endianess,  packet.IconCompression,
                                  packet.pData,  packet.DataLength, pixels.data,
                                  pixels.length};
    const Decompression made = decompress(decompressor, parameter);
    if (!made.isDone()) {
        traceFailure(obj, made);
        return false;
    }
    trace(obj, eTRACECLASS_VERBOSE, "decompression of icon finished.");
    return true;
}

void handOn(quarlo_CoreInstance* obj, const packetServerAppIcon& packet, const Pixels& pixels) {
    auto* response = obj->scratch.make<AppIconResponse>();
    if (response == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "allocation for AppIconResponse failed.");
        return;
    }
    response->UniqueIconID = packet.UniqueIconID;
    response->uncompressedDataLength = pixels.length;
    response->uncompressedData = pixels.data;
    response->IdentifierURL = textOf(obj, packet.IdentifierURL);
    if (response->IdentifierURL == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "allocation for IdentifierURL failed.");
        return;
    }
    notify(obj, obj->onAppIconResponseCallback, response);
}

/** Traces what is missing; false when there is no whole answer. */
bool isWhole(quarlo_CoreInstance* obj, const packetServerAppIcon* packet) {
    const char* missing = nullptr;
    if (packet == nullptr) {
        missing = "onReceiveServerAppIcon called with NULL packet.";
    } else if (packet->DataLength > 0 && packet->pData == nullptr) {
        missing = "onReceiveServerAppIcon called with DataLength > 0 and pData = NULL.";
    } else if (packet->IdentifierURL == nullptr) {
        missing = "onReceiveServerAppIcon called with IdentifierURL = NULL; ignored";
    }
    if (missing != nullptr) trace(obj, eTRACECLASS_WARNING, "%s", missing);
    return missing == nullptr;
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveServerAppIcon(quarlo_CoreInstance* obj, packetServerAppIcon* pPacket) {
    if (obj == nullptr) return;
    trace(obj, eTRACECLASS_INFORMATION, "Received ServerAppIcon");
    if (!isWhole(obj, pPacket)) return;
    const Request request = takeRequest(obj, pPacket->IdentifierURL);
    if (obj->onAppIconResponseCallback == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "ServerAppIcon received, but onAppIconResponseCallback not set.");
        return;
    }
    if (!inRun(obj, "ServerAppIcon received in wrong state; ignored.")) return;
    trace(obj, eTRACECLASS_VERBOSE, "\tIconCompression = %d.",
          static_cast<int>(pPacket->IconCompression));
    Pixels pixels{pPacket->pData, pPacket->DataLength};
    const bool isPlain = pPacket->IconCompression == eFRAMECOMPRESSION_Uncompressed;
    if (isPlain || decompressIcon(obj, *pPacket, request, pixels)) handOn(obj, *pPacket, pixels);
}
