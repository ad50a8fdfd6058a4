#include "Names.h"

#include "quarlo-names.h"

namespace quarlo::links {

const char* wordsForRefusal(std::uint8_t type) {
    switch (type) {
        case eEVENTTYPE_ServerProtocolAcknowledge:
            return "the phone refused the protocol version";
        case eEVENTTYPE_ServerInitAcknowledge:
            return "the phone refused the head unit";
        case eEVENTTYPE_ServerInitDone:
            return "the phone could not be initialised";
        case eEVENTTYPE_PixelFormatAcknowledge:
            return "the phone refused the pixel format";
        case eEVENTTYPE_FrameSizeAcknowledge:
            return "the phone refused the frame size";
        default:
            return nullptr;
    }
}

}  // namespace quarlo::links

#define QUARLO_NAMED(prefix, name) \
    case prefix##_##name:          \
        return #name

const char* quarloName_OfState(eProtocolState state) {
    switch (state) {
        QUARLO_NAMED(ePROTOCOL_STATE, NONE);
        QUARLO_NAMED(ePROTOCOL_STATE, HANDSHAKE);
        QUARLO_NAMED(ePROTOCOL_STATE, INIT_CLIENT);
        QUARLO_NAMED(ePROTOCOL_STATE, INIT_SERVER);
        QUARLO_NAMED(ePROTOCOL_STATE, INIT_DONE);
        QUARLO_NAMED(ePROTOCOL_STATE, RUN);
        QUARLO_NAMED(ePROTOCOL_STATE, STOP);
    }
    return "unknown";
}

const char* quarloName_OfError(eErrorCode code) {
    switch (code) {
        QUARLO_NAMED(eERRORCODE, NONE);
        QUARLO_NAMED(eERRORCODE, CONNECTION_TIMEOUT);
        QUARLO_NAMED(eERRORCODE, CONNECTION_EOF_ZERO);
        QUARLO_NAMED(eERRORCODE, PROTOCOL_STOP);
        QUARLO_NAMED(eERRORCODE, Z_DATA_ERROR);
        QUARLO_NAMED(eERRORCODE, MEM_ALLOC);
        QUARLO_NAMED(eERRORCODE, FRAME_SIZE_MISMATCH);
        QUARLO_NAMED(eERRORCODE, INITIALIZATION_TIMEOUT);
        QUARLO_NAMED(eERRORCODE, RECEIVER_START_FAILED);
        QUARLO_NAMED(eERRORCODE, MESSAGE_PROCESSING_FAILED);
        QUARLO_NAMED(eERRORCODE, JPEG_ERROR);
        QUARLO_NAMED(eERRORCODE, INITIALIZATION_ABORT);
    }
    return "unknown";
}

const char* quarloName_OfResult(eReturnCode result) {
    switch (result) {
        QUARLO_NAMED(eRETURN, OKAY);
        QUARLO_NAMED(eRETURN, NULL_PARAM);
        QUARLO_NAMED(eRETURN, PACKET_MEMORY);
        QUARLO_NAMED(eRETURN, STATE_NOT_RUN);
        QUARLO_NAMED(eRETURN, NULL_HANDLE);
        QUARLO_NAMED(eRETURN, PARAM_VALUE);
        QUARLO_NAMED(eRETURN, NOT_FOUND);
        QUARLO_NAMED(eRETURN, MEM_ALLOC);
        QUARLO_NAMED(eRETURN, NOT_SUPPORTED);
        QUARLO_NAMED(eRETURN, ALREADY_IN_LIST);
        QUARLO_NAMED(eRETURN, NOT_ALLOWED);
    }
    return "unknown";
}

#undef QUARLO_NAMED
