/*
 * One screen update: each rectangle is decoded by its plug-in, enlarged when it was sent at reduced
 * size, and handed to the host. Receiver thread only, which alone uses the two picture buffers; the
 * configuration is read once per update.
 */
#include <algorithm>

#include "QUARLO-Core-Library.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

/** Whether the update goes on with the next rectangle or ends. */
enum class Flow { Next, Finish };

constexpr const char* line =
    "==============================================================================";

struct Update {
    quarlo_CoreInstance* obj;
    coreConfiguration config;
    UInt8 index;
};

/** A rectangle's pixels as they are handed on. */
struct Pixels {
    UInt8* data;
    UInt32 length;
};

Flow finishWith(const Update& update, const char* error) {
    trace(update.obj, eTRACECLASS_ERROR, "%s", error);
    return Flow::Finish;
}

void handOn(const Update& update, const qrRectangle& at, const Pixels& pixels) {
    notify(update.obj, update.obj->frameUpdateCallback, update.index, at.X, at.Y, at.Width,
           at.Height, pixels.data, pixels.length);
}

void handOnRaw(const Update& update, const qrFrameRectangle& r) {
    const bool isHandedOn =
        notify(update.obj, update.obj->frameUpdateRawCallback, update.index, r.Rectangle->X,
               r.Rectangle->Y, r.Rectangle->Width, r.Rectangle->Height, r.pData, r.DataLength,
               r.ScalingPercentageHorizontal, r.ScalingPercentageVertical, r.Properties->Format,
               r.Properties->Endianess, r.Properties->Compression);
    if (isHandedOn) return;
    trace(update.obj, eTRACECLASS_ERROR,
          "RAW frame output requested, but no callback set. Please correct adaptor layer code!");
}

/* ---- decompression ---- */

/** Makes the decompression buffer hold the rectangle. */
bool prepareDecompression(const Update& update, std::uint64_t needed) {
    quarlo_CoreInstance* obj = update.obj;
    if (obj->decompressionBufferSize >= needed) return true;
    const eReturnCode made =
        allocatePicture(obj, &obj->decompressionBuffer, &obj->decompressionBufferSize, needed,
                        pictureLimit(update.config));
    if (made != eRETURN_OKAY || obj->decompressionBufferSize < needed) {
        trace(obj, eTRACECLASS_ERROR, "compressed frame: cannot allocate output data buffer");
        return false;
    }
    trace(obj, eTRACECLASS_INFORMATION, "Allocated new decompression buffer");
    return true;
}

void traceCompression(quarlo_CoreInstance* obj, FrameCompression compression) {
    if (compression == eFRAMECOMPRESSION_JPEG) {
        trace(obj, eTRACECLASS_INF_FRAME, "data sent uses JPEG compression");
    } else if (compression == eFRAMECOMPRESSION_ZLIB) {
        trace(obj, eTRACECLASS_INF_FRAME, "data sent uses ZLIB compression");
    }
}

Flow decompressRectangle(const Update& update, const qrFrameRectangle& r, unsigned decompressor,
                         Pixels& pixels) {
    quarlo_CoreInstance* obj = update.obj;
    const qrRectangle& at = *r.Rectangle;
    const qrFrameProperties& properties = *r.Properties;
    trace(obj, eTRACECLASS_VER_FRAME, "perform decompression");
    // Deliberate: the output size follows the configured bytes per pixel, not the rectangle's: that
    // is the layout of the host's surface, and a rectangle of another one fails in the plug-in
    // instead of reaching it.
    const std::uint64_t needed =
        std::uint64_t{update.config.frameProperties.BytesPerPixel} * at.Width * at.Height;
    if (!prepareDecompression(update, needed)) return Flow::Finish;
    pixels = {obj->decompressionBuffer, static_cast<UInt32>(needed)};
    decompressParameter parameter{at.Width,
                                  at.Height,
                                  properties.BytesPerPixel,
                                  properties.Format,
                                  properties.Endianess,
                                  properties.Compression,
                                  r.pData,
                                  r.DataLength,
                                  pixels.data,
                                  pixels.length};
    traceCompression(obj, properties.Compression);
    const Decompression made = decompress(decompressor, parameter);
    if (!made.isDone()) {
        const eErrorCode error = traceFailure(obj, made);
        if (error != eERRORCODE_NONE) _errorCall(obj, error);
        return Flow::Finish;
    }
    trace(obj, eTRACECLASS_VER_FRAME, "decompression finished");
    return Flow::Next;
}

/** Finds the rectangle's pixels: as received, or decompressed. */
Flow decode(const Update& update, const qrFrameRectangle& r, Pixels& pixels) {
    const FrameCompression compression = r.Properties->Compression;
    if ((compression & supportedCompressions) == 0) {
        return finishWith(update, "compression not supported.");
    }
    if (compression == eFRAMECOMPRESSION_Uncompressed) {
        trace(update.obj, eTRACECLASS_VERBOSE, "no compression");
        pixels = {r.pData, r.DataLength};
        return Flow::Next;
    }
    if (compression == eFRAMECOMPRESSION_All || compression == eFRAMECOMPRESSION_None) {
        return finishWith(update, "frame received with invalid compression value.");
    }
    // A mask widened in raw mode names compressions without a plug-in, and so do combined bits.
    const unsigned decompressor = decompressorOf(compression);
    if (decompressor == noDecompressor) return finishWith(update, "compression not supported.");
    return decompressRectangle(update, r, decompressor, pixels);
}

/* ---- scaling ---- */

qrRectangle enlarged(const qrRectangle& r, UInt8 horizontal, UInt8 vertical) {
    const auto grow = [](UInt16 value, UInt8 percentage) {
        return static_cast<UInt16>(100U * value / percentage);
    };
    return {grow(r.X, horizontal), grow(r.Y, vertical), grow(r.Width, horizontal),
            grow(r.Height, vertical)};
}

void traceScaling(quarlo_CoreInstance* obj, const qrFrameRectangle& r) {
    const qrRectangle& at = *r.Rectangle;
    trace(obj, eTRACECLASS_VER_FRAME, "%s", line);
    trace(obj, eTRACECLASS_VER_FRAME, "I M A G E   S C A L I N G");
    trace(obj, eTRACECLASS_VER_FRAME, "%s", line);
    trace(obj, eTRACECLASS_VER_FRAME, "rectangle sent ...: position (%3d, %3d) size (%3d, %3d)",
          at.X, at.Y, at.Width, at.Height);
    trace(obj, eTRACECLASS_VER_FRAME, "factors ..........:                          (%3d, %3d)",
          r.ScalingPercentageHorizontal, r.ScalingPercentageVertical);
}

/** Enlarges into the scale buffer, which holds the target; false when the picture does not fit. */
bool enlarge(const Update& update, const qrFrameRectangle& r, const Pixels& pixels,
             const qrRectangle& target, const Pixels& output, UInt8 bytesPerPixel) {
    scaleParameter parameter{
        r.Rectangle->Width,   r.Rectangle->Height,     pixels.length, pixels.data,
        target.Width,         target.Height,           output.length, output.data,
        r.Properties->Format, r.Properties->Endianess, bytesPerPixel};
    Int32 detailCode = 0;
    if (scale(parameter, detailCode) == eSCALEERROR_NONE) return true;
    trace(update.obj, eTRACECLASS_WARNING, "scaling image failed");
    return false;
}

Flow scaleRectangle(const Update& update, const qrFrameRectangle& r, const Pixels& pixels) {
    quarlo_CoreInstance* obj = update.obj;
    const UInt8 horizontal = r.ScalingPercentageHorizontal;
    const UInt8 vertical = r.ScalingPercentageVertical;
    traceScaling(obj, r);
    // One percentage of 0 names no size; it is refused like a request to shrink.
    if (horizontal > 100 || vertical > 100 || horizontal == 0 || vertical == 0) {
        return finishWith(update, "down scaling is not supported");
    }
    const qrRectangle target = enlarged(*r.Rectangle, horizontal, vertical);
    trace(obj, eTRACECLASS_VER_FRAME, "scaled sizes .....: position (%3d, %3d) size (%3d, %3d)",
          target.X, target.Y, target.Width, target.Height);
    const UInt8 bytesPerPixel = r.Properties->BytesPerPixel != 0
                                    ? r.Properties->BytesPerPixel
                                    : update.config.frameProperties.BytesPerPixel;
    const auto scaledSize = std::uint64_t{target.Height} * target.Width * bytesPerPixel;
    if (allocatePicture(obj, &obj->scaleBuffer, &obj->scaleBufferSize,
                        std::max<std::uint64_t>(scaledSize, 1),
                        pictureLimit(update.config)) != eRETURN_OKAY) {
        return finishWith(update, "scale buffer allocation failure");
    }
    const Pixels output{obj->scaleBuffer, static_cast<UInt32>(scaledSize)};
    if (enlarge(update, r, pixels, target, output, bytesPerPixel)) handOn(update, target, output);
    trace(obj, eTRACECLASS_VER_FRAME, "%s", line);
    return Flow::Next;
}

/* ---- the update ---- */

Flow processRectangle(const Update& update, const qrFrameRectangle& r) {
    const qrRectangle& at = *r.Rectangle;
    trace(update.obj, eTRACECLASS_VER_FRAME, "    rectangle[%d] at (%d,%d) with size (%d, %d)\n",
          update.index, at.X, at.Y, at.Width, at.Height);
    trace(update.obj, eTRACECLASS_VER_FRAME, "    data size is %d\n",
          static_cast<int>(r.DataLength));
    if (update.config.rawFrameOutput == eFLAG_TRUE) {
        handOnRaw(update, r);
        return Flow::Next;
    }
    Pixels pixels{};
    if (decode(update, r, pixels) == Flow::Finish) return Flow::Finish;
    const UInt8 horizontal = r.ScalingPercentageHorizontal;
    const UInt8 vertical = r.ScalingPercentageVertical;
    const bool isWhole =
        (horizontal == 100 && vertical == 100) || (horizontal == 0 && vertical == 0);
    if (!isWhole) return scaleRectangle(update, r, pixels);
    handOn(update, at, pixels);
    return Flow::Next;
}

void processRectangles(quarlo_CoreInstance* obj, const qrFrameRectangleList& list) {
    Update update{obj, {}, 0};
    {
        const Lock lock(obj);
        update.config = obj->config;
    }
    for (unsigned i = 0; i < list.Length; ++i) {
        const qrFrameRectangle* r = list.paRectangles[i];
        update.index = static_cast<UInt8>(i);
        if (r == nullptr || r->Rectangle == nullptr || r->Properties == nullptr) continue;
        if (processRectangle(update, *r) == Flow::Finish) return;
    }
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveFramebufferUpdate(quarlo_CoreInstance* obj,
                                           packetFramebufferUpdate* pPacket) {
    if (!accept(obj, pPacket, "ReceiveFramebufferUpdate called with NULL packet.",
                "FrameBufferUpdate received in wrong state; ignored")) {
        return;
    }
    const bool bracket =
        obj->frameUpdateStartCallback != nullptr && obj->frameUpdateEndCallback != nullptr;
    const qrFrameRectangleList& list = *pPacket->UpdateRegions;
    trace(obj, eTRACECLASS_INF_FRAME, "FramebufferUpdate");
    trace(obj, eTRACECLASS_VER_FRAME, "    packet contains %d rectangle%s", list.Length,
          list.Length == 1 ? "" : "s");
    if (bracket) notify(obj, obj->frameUpdateStartCallback, list.Length);
    if (list.paRectangles != nullptr) processRectangles(obj, list);
    if (bracket) notify(obj, obj->frameUpdateEndCallback);
}
