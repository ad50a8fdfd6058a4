/*
 * Custom data channels, phone to head unit: each message is checked, dropped with a warning when it
 * is refused, and handed to its callback. Receiver thread.
 */
#include <cstring>

#include "QUARLO-Core-CustomDataChecks.h"

namespace quarlo {
namespace {

constexpr UInt16 opcodeMask = 0xF000;
constexpr UInt16 identifierMask = 0x0FFF;
constexpr UInt16 smallestString = 3;
constexpr UInt16 smallestCan = 5;
constexpr UInt16 largestCan = 13;

bool isStringType(UInt16 type) {
    return type == eSERVERCUSTOMDATASTRINGTYPE_BTName ||
           type == eSERVERCUSTOMDATASTRINGTYPE_BundleIdiOS;
}

eReturnCode refuseCanLength(quarlo_CoreInstance* obj, UInt16 length) {
    trace(obj, eTRACECLASS_WARNING,
          "_quarlo_ProcessCustomDataCan() called with wrong length information %d <= %d <= %d",
          smallestCan, length, largestCan);
    return eRETURN_PARAM_VALUE;
}

/** Traces what is special about an accepted integer type; false for a type that is not accepted. */
bool acceptIntType(quarlo_CoreInstance* obj, UInt16 type) {
    if (type == eSERVERCUSTOMDATAINTTYPE_ZelHUTunerServer) {
        trace(obj, eTRACECLASS_WARNING, "ZelHUTunerServer is for internal use only");
        return true;
    }
    if (type == eSERVERCUSTOMDATAINTTYPE_SetCanAmbientlight) {
        trace(obj, eTRACECLASS_WARNING,
              "SetCanAmbientlight is deprecated, use CustomData CAN instead");
        return true;
    }
    return type >= eSERVERCUSTOMDATAINTTYPE_BatteryLevel &&
           type <= eSERVERCUSTOMDATAINTTYPE_DateTimeLocal;
}

bool isServerKeyCode(UInt8 code) {
    return std::strcmp(
               _quarlo_getServerCustomDataKeyCodeName(static_cast<ServerCustomDataKeyCode>(code)),
               "unknown") != 0;
}

bool isStore(UInt16 opcode) {
    return opcode == eSERVERCUSTOMDATARAWTYPE_StoreInstance ||
           opcode == eSERVERCUSTOMDATARAWTYPE_StoreCore ||
           opcode == eSERVERCUSTOMDATARAWTYPE_StorePersistent ||
           opcode == eSERVERCUSTOMDATARAWTYPE_StoreHost;
}

bool isOpcode(UInt16 opcode) {
    return opcode >= eSERVERCUSTOMDATARAWTYPE_StoreInstance &&
           opcode <= eSERVERCUSTOMDATARAWTYPE_DeleteHost;
}

/** What a store must bring and a get or delete must not. */
eReturnCode checkRawLength(quarlo_CoreInstance* obj, ServerCustomDataRawType opcode, UInt16 length,
                           const UInt8* data) {
    const char* event = _quarlo_getCustomDataEventName(eCUSTOMDATAEVENT_Raw);
    const char* name = _quarlo_getServerCustomDataRawTypeName(opcode);
    if (isStore(opcode)) {
        if (length != 0) return eRETURN_OKAY;
        trace(obj, eTRACECLASS_WARNING,
              "CustomData '%s' opcode '%s': length should not be 0 for all STORE operations", event,
              name);
        return eRETURN_OKAY;
    }
    if (length == 0 && data == nullptr) return eRETURN_OKAY;
    trace(obj, eTRACECLASS_WARNING,
          "CustomData '%s' opcode '%s': length/data shall be 0/NULL for all GET and DELETE "
          "operations",
          event, name);
    return eRETURN_PARAM_VALUE;
}

eReturnCode performRaw(quarlo_CoreInstance* obj, ServerCustomDataRawType opcode, UInt16 identifier,
                       UInt16 length, UInt8* data) {
    switch (opcode) {
        case eSERVERCUSTOMDATARAWTYPE_StoreInstance:
            return _quarlo_storeRawData(obj, &obj->rawDataList, identifier, length, data);
        case eSERVERCUSTOMDATARAWTYPE_GetInstance:
            return _quarlo_getAndSendRawData(obj, &obj->rawDataList, identifier);
        case eSERVERCUSTOMDATARAWTYPE_StoreCore:
            return _quarlo_storeRawData(obj, &coreRawDataList, identifier, length, data);
        case eSERVERCUSTOMDATARAWTYPE_GetCore:
            return _quarlo_getAndSendRawData(obj, &coreRawDataList, identifier);
        default:
            notify(obj, obj->onCustomDataRawCallback, opcode, identifier, length, data);
            return eRETURN_OKAY;
    }
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode _quarlo_ProcessCustomDataString(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                            UInt8* data) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (data == nullptr) {
        return warn(obj, "_quarlo_ProcessCustomDataString() called with NULL data",
                    eRETURN_NULL_PARAM);
    }
    if (!isStringType(type)) return refuse(obj, invalidType, eCUSTOMDATAEVENT_String, type);
    // Both lengths are judged before the text is read: the outer one, then the text's own.
    if (length < smallestString || wire::load<UInt16>(data + 1) > length - smallestString) {
        return warn(obj, "unexpected low length in ProcessCustomDataString", eRETURN_PARAM_VALUE);
    }
    wire::Bounded in{data, data + length};
    wire::Reader<wire::Bounded, wire::Scratch> reader{in, obj->scratch};
    const auto* string = reader.record<qrString>();
    if (string == nullptr) {
        trace(obj, eTRACECLASS_ERROR, "Error reading string in _quarlo_ProcessCustomDataString()");
        return eRETURN_MEM_ALLOC;
    }
    char* text = obj->scratch.make<char>(std::uint64_t{string->Length} + 1);
    if (text == nullptr) {
        trace(obj, eTRACECLASS_ERROR,
              "Error reading content from string in _quarlo_ProcessCustomDataString()");
        return eRETURN_MEM_ALLOC;
    }
    if (string->Length != 0) std::memcpy(text, string->pContent, string->Length);
    notify(obj, obj->onCustomDataStringCallback, static_cast<ServerCustomDataStringType>(type),
           string->Encoding, text);
    return eRETURN_OKAY;
}

eReturnCode _quarlo_ProcessCustomDataInt(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (data == nullptr) {
        return warn(obj, "_quarlo_ProcessCustomDataInt() called with NULL data",
                    eRETURN_NULL_PARAM);
    }
    if (!acceptIntType(obj, type)) return refuse(obj, invalidType, eCUSTOMDATAEVENT_Int, type);
    if (!isIntLength(length)) return refuse(obj, invalidLength, eCUSTOMDATAEVENT_Int, length);
    notify(obj, obj->onCustomDataIntCallback, static_cast<ServerCustomDataIntType>(type), length,
           data);
    return eRETURN_OKAY;
}

eReturnCode _quarlo_ProcessCustomDataKey(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (data == nullptr) {
        return warn(obj, "_quarlo_ProcessCustomDataKey() called with NULL data",
                    eRETURN_NULL_PARAM);
    }
    if (type < eSERVERCUSTOMDATAKEYTYPE_Press || type > eSERVERCUSTOMDATAKEYTYPE_Abort) {
        return refuse(obj, invalidType, eCUSTOMDATAEVENT_Key, type);
    }
    if (length != 1) {
        return warn(obj, "_quarlo_ProcessCustomDataKey() called with wrong length information",
                    eRETURN_PARAM_VALUE);
    }
    if (!isServerKeyCode(*data)) return refuse(obj, invalidKeyCode, eCUSTOMDATAEVENT_Key, *data);
    notify(obj, obj->onCustomDataKeyCallback, static_cast<ServerCustomDataKeyType>(type),
           static_cast<ServerCustomDataKeyCode>(*data));
    return eRETURN_OKAY;
}

eReturnCode _quarlo_ProcessCustomDataCan(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (data == nullptr) {
        return warn(obj, "_quarlo_ProcessCustomDataCan() called with NULL data",
                    eRETURN_NULL_PARAM);
    }
    if (type != eSERVERCUSTOMDATACANTYPE_Generic &&
        type != eSERVERCUSTOMDATACANTYPE_CanAmbientlight) {
        return refuse(obj, invalidType, eCUSTOMDATAEVENT_Can, type);
    }
    if (length < smallestCan || length > largestCan ||
        data[smallestCan - 1] > length - smallestCan) {
        return refuseCanLength(obj, length);
    }
    wire::Bounded in{data, data + length};
    wire::Reader<wire::Bounded, wire::Scratch> reader{in, obj->scratch};
    const auto* message = reader.record<qrCANMessage>();
    if (message == nullptr) {
        trace(obj, eTRACECLASS_ERROR, "error reading CAN message from data");
        return eRETURN_MEM_ALLOC;
    }
    notify(obj, obj->onCustomDataCanCallback, static_cast<ServerCustomDataCanType>(type),
           message->Identifier, message->DataLengthCode, message->pData);
    return eRETURN_OKAY;
}

eReturnCode _quarlo_ProcessCustomDataRaw(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    const UInt16 identifier = type & identifierMask;
    const char* event = _quarlo_getCustomDataEventName(eCUSTOMDATAEVENT_Raw);
    if (!isOpcode(type & opcodeMask)) {
        trace(obj, eTRACECLASS_WARNING,
              "CustomData '%s' called with invalid opcode in type value 0x%4.4X", event,
              static_cast<unsigned>(type));
        return eRETURN_PARAM_VALUE;
    }
    const auto opcode = static_cast<ServerCustomDataRawType>(type & opcodeMask);
    trace(obj, eTRACECLASS_INFORMATION,
          "CustomData '%s' called with type '%s'; identification value 0x%4.4X", event,
          _quarlo_getServerCustomDataRawTypeName(opcode), static_cast<unsigned>(identifier));
    const eReturnCode checked = checkRawLength(obj, opcode, length, data);
    return checked != eRETURN_OKAY ? checked : performRaw(obj, opcode, identifier, length, data);
}

void onReceiveServerCustomData(quarlo_CoreInstance* obj, packetServerCustomData* pPacket) {
    if (!accept(obj, pPacket, "ServerCustomData called with NULL packet.",
                "ServerCustomData received in state != RUN; ignored.")) {
        return;
    }
    const packetServerCustomData& p = *pPacket;
    trace(obj, eTRACECLASS_INFORMATION, "ServerCustomData event=%s",
          _quarlo_getCustomDataEventName(p.Event));
    switch (p.Event) {
        case eCUSTOMDATAEVENT_String:
            _quarlo_ProcessCustomDataString(obj, p.Type, p.Length, p.pData);
            break;
        case eCUSTOMDATAEVENT_Int:
            _quarlo_ProcessCustomDataInt(obj, p.Type, p.Length, p.pData);
            break;
        case eCUSTOMDATAEVENT_Raw:
            _quarlo_ProcessCustomDataRaw(obj, p.Type, p.Length, p.pData);
            break;
        case eCUSTOMDATAEVENT_Can:
            _quarlo_ProcessCustomDataCan(obj, p.Type, p.Length, p.pData);
            break;
        case eCUSTOMDATAEVENT_Key:
            _quarlo_ProcessCustomDataKey(obj, p.Type, p.Length, p.pData);
            break;
        default:
            trace(obj, eTRACECLASS_WARNING, "ServerCustomData with unknown event type %d", p.Event);
            break;
    }
}

}  // extern "C"
