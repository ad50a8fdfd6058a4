/*
 * Host-facing half of the frame path: how the host wants the screen, and requests for it. Any host
 * thread; internalLock guards the configuration, which the receiver thread reads.
 */
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

using namespace quarlo;

namespace {

/** Changes the configuration under its lock. */
template <class Change>
void configure(quarlo_CoreInstance* obj, Change change) {
    const Lock lock(obj);
    change(obj->config);
}

void sendPixelFormat(quarlo_CoreInstance* obj) {
    qrFrameProperties wanted{};
    configure(obj, [&](coreConfiguration& config) { wanted = config.frameProperties; });
    send<packetSetPixelFormat>(obj, [&](packetSetPixelFormat& packet) {
        packet.Format = wanted.Format;
        packet.Endianess = wanted.Endianess;
        packet.BytesPerPixel = wanted.BytesPerPixel;
    });
}

eReturnCode setIconFormat(quarlo_CoreInstance* obj, PixelFormat format, PixelEndianess endian) {
    if (inRun(obj)) {
        trace(obj, eTRACECLASS_WARNING,
              "quarlo_SetPixelFormatEx - icon settings not allowed during RUN state.");
        return eRETURN_NOT_ALLOWED;
    }
    const bool hasFourBytes = format == ePIXELFORMAT_ARGB8888 || format == ePIXELFORMAT_RGBA8888;
    {
        const Lock lock(obj);
        qrFrameProperties& icon = obj->iconConfig.IconProperties;
        icon.BytesPerPixel = hasFourBytes ? 4 : 0;
        if (hasFourBytes) {
            icon.Format = format;
            icon.Endianess = endian;
        }
    }
    if (hasFourBytes) return eRETURN_OKAY;
    trace(obj, eTRACECLASS_WARNING,
          "quarlo_SetPixelFormatEx - icon settings have to use 4 byte coding.");
    return eRETURN_PARAM_VALUE;
}

/** Whether the host can decode what it asks for: by itself in raw mode, else with the plug-ins. */
eReturnCode checkCompressions(quarlo_CoreInstance* obj, UInt32 compressions, UInt32 requested) {
    bool isRaw = false;
    configure(obj, [&](coreConfiguration& config) { isRaw = config.rawFrameOutput == eFLAG_TRUE; });
    if (isRaw && obj->frameUpdateRawCallback == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "SetSupportedCompressions() with RAW output requested but no callback set");
        return eRETURN_NOT_ALLOWED;
    }
    if (isRaw && compressions > eFRAMECOMPRESSION_All) {
        trace(obj, eTRACECLASS_WARNING,
              "SetSupportedCompressions() undefined compression type requested 0x%8.8X", requested);
        return eRETURN_PARAM_VALUE;
    }
    if (!isRaw && (requested & ~supportedCompressions.get()) != 0) {
        trace(obj, eTRACECLASS_WARNING,
              "SetSupportedCompressions() compressions requested not (all) available 0x%8.8X",
              requested);
        return eRETURN_PARAM_VALUE;
    }
    return eRETURN_OKAY;
}

}  // namespace

extern "C" {

void quarlo_SetFrameUpdateStartCallback(void* instanceHandle,
                                        quarloFrameUpdateStartCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::frameUpdateStartCallback, callback,
          "Set Frame Update Start Callback");
}

void quarlo_SetFrameUpdateCallback(void* instanceHandle, quarloFrameUpdateCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::frameUpdateCallback, callback,
          "Set Frame Update Callback");
}

void quarlo_SetFrameUpdateRawCallback(void* instanceHandle, quarloFrameUpdateRawCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::frameUpdateRawCallback, callback,
          "Set Frame Update Raw Callback");
}

void quarlo_SetFrameUpdateEndCallback(void* instanceHandle, quarloContextCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::frameUpdateEndCallback, callback,
          "Set Frame Update End Callback");
}

void quarlo_SetPixelFormat(void* instanceHandle, PixelFormat format, UInt32 bpp,
                           PixelEndianess endian) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Set Pixel Format");
        trace(obj, eTRACECLASS_VERBOSE, "    format = %d, bytes per pixel = %d, endian = %d",
              format, static_cast<int>(bpp), endian);
        configure(obj, [&](coreConfiguration& config) {
            config.frameProperties.Format = format;
            config.frameProperties.Endianess = endian;
            config.frameProperties.BytesPerPixel = static_cast<UInt8>(bpp);
        });
        if (inRun(obj)) sendPixelFormat(obj);
    });
}

eReturnCode quarlo_SetPixelFormatEx(void* instanceHandle, eGraphicType type, PixelFormat format,
                                    UInt32 bpp, PixelEndianess endian) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "quarlo_SetPixelFormatEx");
        if (type == eGRAPHICTYPE_Icon) return setIconFormat(obj, format, endian);
        if (type == eGRAPHICTYPE_Frame) {
            quarlo_SetPixelFormat(obj, format, bpp, endian);
            return eRETURN_OKAY;
        }
        trace(obj, eTRACECLASS_WARNING, "quarlo_SetPixelFormatEx unhandled graphic type=%d", type);
        return eRETURN_PARAM_VALUE;
    });
}

void quarlo_SetFrameSize(void* instanceHandle, UInt32 frameWidth, UInt32 frameHeight,
                         UInt32 physicalWidth, UInt32 physicalHeight) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Set Frame Size");
        trace(obj, eTRACECLASS_VERBOSE, "    width = %d (%dmm), height  = %d (%dmm)",
              static_cast<int>(frameWidth), static_cast<int>(physicalWidth),
              static_cast<int>(frameHeight), static_cast<int>(physicalHeight));
        configure(obj, [&](coreConfiguration& config) {
            config.hostWidth = frameWidth;
            config.hostHeight = frameHeight;
            config.hostPhysicalWidth = physicalWidth;
            config.hostPhysicalHeight = physicalHeight;
        });
        if (!inRun(obj)) return;
        send<packetSetFrameSize>(obj, [&](packetSetFrameSize& packet) {
            packet.ScreenWidth = static_cast<UInt16>(frameWidth);
            packet.ScreenHeight = static_cast<UInt16>(frameHeight);
            packet.PhysicalScreenWidth = static_cast<UInt16>(physicalWidth);
            packet.PhysicalScreenHeight = static_cast<UInt16>(physicalHeight);
        });
    });
}

void quarlo_OverrideCompressionFormat(void* instanceHandle, FrameCompression compression) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Override Compression Format");
        trace(obj, eTRACECLASS_VERBOSE, "    compression format = %d (%s)",
              static_cast<int>(compression), _quarlo_getFrameCompressionName(compression));
        configure(obj, [&](coreConfiguration& config) {
            config.frameProperties.Compression = compression;
        });
        if (!inRun(obj)) return;
        send<packetOverrideCompression>(
            obj, [&](packetOverrideCompression& packet) { packet.Compression = compression; });
    });
}

void quarlo_SetCompressionFormat(void* instanceHandle, FrameCompression compression) {
    quarlo_OverrideCompressionFormat(instanceHandle, compression);
}

eReturnCode quarlo_SetSupportedCompressions(void* instanceHandle, UInt32 compressions) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        const UInt32 requested = compressions | eFRAMECOMPRESSION_Uncompressed;
        const eReturnCode checked = checkCompressions(obj, compressions, requested);
        if (checked != eRETURN_OKAY) return checked;
        supportedCompressions = requested;
        closeDecompressorsExcept(obj, compressions);
        trace(obj, eTRACECLASS_INFORMATION, "SetSupportedCompressions() to 0x%8.8X", requested);
        return eRETURN_OKAY;
    });
}

void quarlo_SetFrameOutputType(void* instanceHandle, Flag useRaw) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Set Frame Output Type to %s",
              useRaw == eFLAG_TRUE ? "RAW" : "DECODED");
        configure(obj, [&](coreConfiguration& config) { config.rawFrameOutput = useRaw; });
    });
}

void quarlo_FramebufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0, UInt16 width,
                                     UInt16 height, Flag incremental) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INF_FRAME, "Framebuffer Update Request");
        trace(obj, eTRACECLASS_VER_FRAME, "    incremental update = %s",
              incremental == eFLAG_TRUE ? "TRUE" : "FALSE");
        trace(obj, eTRACECLASS_VER_FRAME, "    region starts at (%d, %d) with size (%d, %d) ", x0,
              y0, width, height);
        if (!inRun(obj)) return;
        send<packetFramebufferUpdateRequest>(obj, [&](packetFramebufferUpdateRequest& packet) {
            packet.Incremental = incremental;
            *packet.UpdateRegion = {x0, y0, width, height};
        });
    });
}

void quarlo_FrambufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0, UInt16 width,
                                    UInt16 height, Flag incremental) {
    // Deliberate: the interface has the call under two names, and hosts may be linked against
    // either.
    quarlo_FramebufferUpdateRequest(instanceHandle, x0, y0, width, height, incremental);
}

eReturnCode quarlo_FrameRequestStatus(void* instanceHandle, Flag isSuspended) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Frame request status set to %s ",
              isSuspended == eFLAG_TRUE ? "SUSPENDED" : "ACTIVE");
        if (!inRun(obj)) return eRETURN_STATE_NOT_RUN;
        send<packetClientState>(obj, [&](packetClientState& packet) {
            packet.DataType = eCLIENTDATATYPE_FrameRequestsSuspended;
            packet.Value = isSuspended;
        });
        return eRETURN_OKAY;
    });
}

}  // extern "C"
