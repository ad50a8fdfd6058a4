#include "Names.h"

namespace quarlo::links {

const char* nameOf(eProtocolState state) {
    constexpr const char* names[] = {"NONE",      "HANDSHAKE", "INIT_CLIENT", "INIT_SERVER",
                                     "INIT_DONE", "RUN",       "STOP"};
    return names[state];
}

const char* nameOf(eErrorCode code) {
    constexpr const char* names[] = {"NONE",
                                     "CONNECTION_TIMEOUT",
                                     "CONNECTION_EOF_ZERO",
                                     "PROTOCOL_STOP",
                                     "Z_DATA_ERROR",
                                     "MEM_ALLOC",
                                     "FRAME_SIZE_MISMATCH",
                                     "INITIALIZATION_TIMEOUT",
                                     "RECEIVER_START_FAILED",
                                     "MESSAGE_PROCESSING_FAILED",
                                     "JPEG_ERROR",
                                     "INITIALIZATION_ABORT"};
    return names[code];
}

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
