/*
 * What the head unit tells the phone about itself in the handshake, and again when the host changes
 * it. Host threads and the receiver thread.
 */
#ifndef QUARLO_CORE_ANNOUNCEMENTS_H
#define QUARLO_CORE_ANNOUNCEMENTS_H

#include <cstring>

#include "QUARLO-Core-Utilities.h"

namespace quarlo {

/** Three letters. */
inline void sendLanguage(quarlo_CoreInstance* obj, const UInt8* code) {
    send<packetClientSettings>(obj, [&](packetClientSettings& packet) {
        std::memcpy(packet.arrLanguage, code, sizeof packet.arrLanguage);
    });
}

inline void sendVoiceSupport(quarlo_CoreInstance* obj, VoiceSupport value,
                             VoiceSupportConstraint constraint) {
    send<packetClientVoiceSupportInfo>(obj, [&](packetClientVoiceSupportInfo& packet) {
        packet.Value = value;
        packet.Constraint = constraint;
    });
}

}  // namespace quarlo

#endif
