/*
 * Custom data channels, head unit to phone, and the lists announced in the handshake. Host threads,
 * and the receiver thread for the version announcement; internalLock guards the announced lists.
 */
#include <algorithm>
#include <cstring>

#include "QUARLO-Core-CustomDataChecks.h"
#include "QUARLO-Core-Strings.h"

namespace quarlo {
namespace {

constexpr UInt16 testControl = 65534;
constexpr UInt16 identifierMask = 0x0FFF;
constexpr UInt8 mostCanBytes = 8;
constexpr std::size_t shortText = 512;

constexpr const char* creationFailed = "creation of ClientCustomData packet failed.";

using Message = packetClientCustomData;

/** A packet's way out; fill says whether it is valid. */
template <class Fill>
eReturnCode sendOn(quarlo_CoreInstance* obj, CustomDataEvent event, const char* text, Fill fill) {
    trace(obj, eTRACECLASS_INFORMATION, "%s", text);
    return send<Message>(obj, creationFailed, [&](Message& packet) {
        packet.Event = event;
        return fill(packet);
    });
}

/** Lets the packet lead to the bytes. */
void carry(Message& packet, const UInt8* bytes, std::size_t length) {
    packet.pData = const_cast<UInt8*>(bytes);
    packet.Length = static_cast<UInt16>(length);
}

eReturnCode checkString(quarlo_CoreInstance* obj, UInt16 type, StringEncoding encoding) {
    if (type == eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionF) {
        trace(obj, eTRACECLASS_INFORMATION,
              "Type '_IVIFirmwareVersionF' is reserved for Core Version.");
    } else if (type == testControl) {
        trace(obj, eTRACECLASS_INFORMATION, "CustomDataString called for test control [%d]", type);
    } else if (type < eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress ||
               type > eCLIENTCUSTOMDATASTRINGTYPE_BundleIdiOS) {
        return refuse(obj, invalidType, eCUSTOMDATAEVENT_String, type);
    }
    if (encoding != eSTRINGENCODING_UTF8 && encoding != eSTRINGENCODING_ASCII_LATIN1) {
        return refuse(obj, invalidEncoding, eCUSTOMDATAEVENT_String, encoding);
    }
    return eRETURN_OKAY;
}

qrString stringOf(StringEncoding encoding, const char* text) {
    constexpr std::size_t tooLong = 65536 - 3;
    std::size_t length = text == nullptr ? 0 : std::strlen(text);
    // Deliberate: a text that does not fit is sent empty, not cut: the phone would take the part
    // for the whole, and it might end inside a character.
    if (length >= tooLong) length = 0;
    qrString string = borrowBytes(text, static_cast<UInt16>(length));
    string.Encoding = encoding;
    return string;
}

Built buildString(wire::Outgoing<Message>& outgoing, UInt16 type, const qrString& string) {
    wire::Room<shortText> room;
    const UInt32 size = sizeOf_String(&string);
    UInt8* payload = room.take(size);
    if (payload == nullptr) {
        return {eRETURN_MEM_ALLOC, "cannot allocate data memory for packet ClientCustomData."};
    }
    writeToBuffer_String(payload, &string);
    return build(outgoing, [&](Message& packet) {
        packet.Event = eCUSTOMDATAEVENT_String;
        packet.Type = type;
        carry(packet, payload, size);
    });
}

eReturnCode sendString(quarlo_CoreInstance* obj, UInt16 type, StringEncoding encoding,
                       const char* text) {
    trace(obj, eTRACECLASS_INFORMATION, "Client Custom Data String");
    const eReturnCode checked = checkString(obj, type, encoding);
    if (checked != eRETURN_OKAY) return checked;
    wire::Outgoing<Message> outgoing;
    const Built built = buildString(outgoing, type, stringOf(encoding, text));
    return conclude(obj, outgoing, built, creationFailed);
}

eReturnCode checkInt(quarlo_CoreInstance* obj, UInt16 type, UInt16 length) {
    switch (type) {
        case eCLIENTCUSTOMDATAINTTYPE_ScreenTest:
            trace(obj, eTRACECLASS_WARNING, "ScreenTest is for internal use only");
            break;
        case eCLIENTCUSTOMDATAINTTYPE_ZelHUTunerClient:
            trace(obj, eTRACECLASS_WARNING, "ZelHUTunerClient is for internal use only");
            break;
        case eCLIENTCUSTOMDATAINTTYPE_GetCanAmbientlight:
            trace(obj, eTRACECLASS_WARNING,
                  "GetCanAmbientlight is deprecated, use CustomData CAN instead");
            break;
        default:
            return refuse(obj, invalidType, eCUSTOMDATAEVENT_Int, type);
    }
    return isIntLength(length) ? eRETURN_OKAY
                               : refuse(obj, invalidLength, eCUSTOMDATAEVENT_Int, length);
}

eReturnCode checkKey(quarlo_CoreInstance* obj, ClientCustomDataKeyType type,
                     ClientCustomDataKeyCode code) {
    if (type < eCLIENTCUSTOMDATAKEYTYPE_Press || type > eCLIENTCUSTOMDATAKEYTYPE_Abort) {
        return refuse(obj, invalidType, eCUSTOMDATAEVENT_Key, type);
    }
    // Deliberate: the text for a wrong code shows the type, because a number that stands for no key
    // tells nothing, and the type which of the host's calls it was.
    return quarlo_IsClientCustomDataKeyCodeValid(code) != 0
               ? eRETURN_OKAY
               : refuse(obj, invalidCode, eCUSTOMDATAEVENT_Key, type);
}

eReturnCode checkCan(quarlo_CoreInstance* obj, ClientCustomDataCanType type, UInt8 length) {
    if (type != eCLIENTCUSTOMDATACANTYPE_Generic &&
        type != eCLIENTCUSTOMDATACANTYPE_CanAmbientlight) {
        return refuse(obj, invalidType, eCUSTOMDATAEVENT_Can, type);
    }
    return length <= mostCanBytes
               ? eRETURN_OKAY
               : refuse(obj, invalidDataLengthCode, eCUSTOMDATAEVENT_Can, length);
}

void fillRaw(quarlo_CoreInstance* obj, Message& packet, UInt16 identifier, UInt16 length,
             const UInt8* data) {
    const bool isEmpty = length == 0 || data == nullptr;
    if (isEmpty) {
        trace(obj, eTRACECLASS_INFORMATION,
              "quarlo_CustomDataRaw() called with 0/NULL length/pointer to value; will send "
              "empty data.");
    }
    if (identifier > identifierMask) {
        trace(obj, eTRACECLASS_WARNING, "type opcode (highest nibble) shall be 0 (mask 0x0FFF)");
    }
    packet.Type = identifier & identifierMask;
    if (!isEmpty) carry(packet, data, length);
}

/* ---- custom keys ---- */

/** Installs a list of keys in place of the old one. */
void installKeys(quarlo_CoreInstance* obj, ClientCustomDataKeyCode* keys, UInt8 count) {
    {
        const Lock lock(obj);
        std::swap(obj->customKeyList, keys);
        obj->numberOfCustomKeys = count;
    }
    quarlo_free(keys);
}

void traceKeys(quarlo_CoreInstance* obj, UInt8 numberOfKeys,
               const ClientCustomDataKeyCode* keyList) {
    trace(obj, eTRACECLASS_VERBOSE, "%d CustomKeys supported", numberOfKeys);
    for (unsigned i = 0; i < numberOfKeys; ++i) {
        trace(obj, eTRACECLASS_VERBOSE, "   %d %s", keyList[i],
              _quarlo_getClientCustomDataKeyCodeName(keyList[i]));
    }
}

/** Takes the valid codes in their order; how many there are. */
UInt8 takeValidKeys(quarlo_CoreInstance* obj, UInt8 numberOfKeys,
                    const ClientCustomDataKeyCode* keyList, ClientCustomDataKeyCode* valid) {
    UInt8 count = 0;
    for (unsigned i = 0; i < numberOfKeys; ++i) {
        if (quarlo_IsClientCustomDataKeyCodeValid(keyList[i]) != 0) {
            valid[count++] = keyList[i];
        } else {
            trace(obj, eTRACECLASS_INFORMATION, "ignored unknown key code %d (0x%2.2X)", keyList[i],
                  static_cast<unsigned>(keyList[i]));
        }
    }
    return count;
}

eReturnCode setKeys(quarlo_CoreInstance* obj, UInt8 numberOfKeys,
                    const ClientCustomDataKeyCode* keyList) {
    trace(obj, eTRACECLASS_INFORMATION, "SetCustomKeysSupported()");
    if (obj->currentState != ePROTOCOL_STATE_STOP) {
        return warn(obj, "cannot set or change CustomKey list while running.", eRETURN_NOT_ALLOWED);
    }
    traceKeys(obj, numberOfKeys, keyList);
    installKeys(obj, nullptr, 0);
    ClientCustomDataKeyCode valid[255];
    const UInt8 count = takeValidKeys(obj, numberOfKeys, keyList, valid);
    const eReturnCode result = count == numberOfKeys ? eRETURN_OKAY : eRETURN_PARAM_VALUE;
    if (count == 0) return result;
    auto* keys = wire::Heap::make<ClientCustomDataKeyCode>(count);
    if (keys == nullptr) {
        trace(obj, eTRACECLASS_ERROR, "error allocating CustomDataKey list");
        return eRETURN_MEM_ALLOC;
    }
    std::copy_n(valid, count, keys);
    installKeys(obj, keys, count);
    return result;
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode quarlo_CustomDataString(void* instanceHandle, ClientCustomDataStringType type,
                                    StringEncoding encoding, const char* messageString) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (!inRun(obj, "quarlo_CustomDataString() called outside RUN state.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        return sendString(obj, type, encoding, messageString);
    });
}

eReturnCode quarlo_CustomDataInt(void* instanceHandle, ClientCustomDataIntType type, UInt16 length,
                                 UInt8* pValue) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (!inRun(obj, "quarlo_CustomDataInt() called outside RUN state.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        if (pValue == nullptr) {
            return warn(obj, "quarlo_CustomDataInt() called with NULL pointer to value.",
                        eRETURN_NULL_PARAM);
        }
        return sendOn(obj, eCUSTOMDATAEVENT_Int, "Client Custom Data Int", [&](Message& packet) {
            packet.Type = type;
            carry(packet, pValue, length);
            return checkInt(obj, type, length);
        });
    });
}

eReturnCode quarlo_CustomDataKey(void* instanceHandle, ClientCustomDataKeyType type,
                                 ClientCustomDataKeyCode code) {
    return quarlo_CustomDataKeyTimed(instanceHandle, type, code, quarlo_GetTimestamp());
}

eReturnCode quarlo_CustomDataKeyTimed(void* instanceHandle, ClientCustomDataKeyType type,
                                      ClientCustomDataKeyCode code, UInt32 timestamp) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (!inRun(obj, "quarlo_CustomDataKey() called outside RUN state.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        UInt8 payload[sizeof code + sizeof timestamp];
        writeToBuffer_UInt32(writeToBuffer_ClientCustomDataKeyCode(payload, code), timestamp);
        return sendOn(obj, eCUSTOMDATAEVENT_Key, "Client Custom Data Key", [&](Message& packet) {
            packet.Type = type;
            carry(packet, payload, sizeof payload);
            return checkKey(obj, type, code);
        });
    });
}

eReturnCode quarlo_CustomDataCan(void* instanceHandle, ClientCustomDataCanType type,
                                 UInt32 identifier, UInt8 dataLengthCode, UInt8* data) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (dataLengthCode != 0 && data == nullptr) return eRETURN_NULL_PARAM;
        if (!inRun(obj, "quarlo_CustomDataCan() called outside RUN state.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        UInt8 payload[sizeof identifier + sizeof dataLengthCode + mostCanBytes];
        return sendOn(obj, eCUSTOMDATAEVENT_Can, "Client Custom Data CAN", [&](Message& packet) {
            const eReturnCode checked = checkCan(obj, type, dataLengthCode);
            if (checked != eRETURN_OKAY) return checked;
            const qrCANMessage message{identifier, dataLengthCode, data};
            writeToBuffer_CANMessage(payload, &message);
            packet.Type = type;
            carry(packet, payload, sizeOf_CANMessage(&message));
            return eRETURN_OKAY;
        });
    });
}

eReturnCode quarlo_CustomDataRaw(void* instanceHandle, UInt16 identifier, UInt16 length,
                                 UInt8* pData) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (!inRun(obj, "quarlo_CustomDataRaw() called outside RUN state.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        return sendOn(obj, eCUSTOMDATAEVENT_Raw, "Client Custom Data Raw",
                      [&](Message& packet) { fillRaw(obj, packet, identifier, length, pData); });
    });
}

Flag quarlo_IsClientCustomDataKeyCodeValid(ClientCustomDataKeyCode code) {
    return std::strcmp(_quarlo_getClientCustomDataKeyCodeName(code), "unknown") != 0;
}

eReturnCode quarlo_SetCustomKeysSupported(void* instanceHandle, UInt8 numberOfKeys,
                                          ClientCustomDataKeyCode* keyList) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (numberOfKeys != 0 && keyList == nullptr) return eRETURN_NULL_PARAM;
        return setKeys(obj, numberOfKeys, keyList);
    });
}

void quarlo_SetSupportedCustomData(void* instanceHandle, UInt8 numberOfEntries,
                                   ClientCustomDataIntType* supportedItemsList) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Supported Custom Data");
        _quarlo_fillSupportedCustomDataList(obj, numberOfEntries, supportedItemsList);
    });
}

eReturnCode _quarlo_fillSupportedCustomDataList(quarlo_CoreInstance* obj, UInt8 count,
                                                const ClientCustomDataIntType* types) {
    if (obj == nullptr || count == 0 || types == nullptr) return eRETURN_NULL_PARAM;
    auto* copy = wire::Heap::make<ClientCustomDataIntType>(count);
    const bool isCopied = copy != nullptr;
    if (isCopied) std::copy_n(types, count, copy);
    {
        const Lock lock(obj);
        std::swap(obj->supportedCustomData.pSupported, copy);
        obj->supportedCustomData.Length = isCopied ? count : UInt8{0};
    }
    quarlo_free(copy);
    return isCopied ? eRETURN_OKAY : eRETURN_MEM_ALLOC;
}

eReturnCode quarlo_SetCustomDataStringCallback(void* instanceHandle,
                                               quarloCustomDataStringCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onCustomDataStringCallback, callback,
                 nullptr);
}

eReturnCode quarlo_SetCustomDataIntCallback(void* instanceHandle,
                                            quarloCustomDataIntCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onCustomDataIntCallback, callback, nullptr);
}

eReturnCode quarlo_SetCustomDataKeyCallback(void* instanceHandle,
                                            quarloCustomDataKeyCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onCustomDataKeyCallback, callback, nullptr);
}

eReturnCode quarlo_SetCustomDataCanCallback(void* instanceHandle,
                                            quarloCustomDataCanCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onCustomDataCanCallback, callback, nullptr);
}

eReturnCode quarlo_SetCustomDataRawCallback(void* instanceHandle,
                                            quarloCustomDataRawCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onCustomDataRawCallback, callback, nullptr);
}

}  // extern "C"
