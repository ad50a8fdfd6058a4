/* A host in RUN that plays audio, and the phone's side of it. */
#ifndef QUARLO_TESTS_RADIO_H
#define QUARLO_TESTS_RADIO_H

#include "Feature.h"
#include "QUARLO-Core-Audio.h"

namespace quarlo::test {

inline Bytes serverAudio(UInt32 id, unsigned command, unsigned type, unsigned duration) {
    return packet(58, u32(id) + u8(command) + u8(type) + u16(duration));
}

/** The resulting audio type of the process. */
inline unsigned mixed() {
    const Lock library(nullptr);
    return currentAudioType;
}

class Radio : public Session {
  public:
    Radio() {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_AudioHandling, 1);
        listenTo<Callback::AudioRequest>(quarlo_SetAudioRequestCallback);
    }

    /** What the host does when a release is called back, on that thread. */
    void onRelease(std::function<void(UInt32 id)> reaction) {
        host.reaction = [=](const Heard& what) {
            if (what.numbers[0] == eAUDIOCONTROL_Release) reaction(what.numbers[1]);
        };
    }
    Lines ask(UInt32 id, AudioType type, unsigned duration) {
        return hear(serverAudio(id, eAUDIOCONTROL_Request, type, duration));
    }
    Lines giveBack(UInt32 id, AudioType type) {
        return hear(serverAudio(id, eAUDIOCONTROL_Release, type, 0));
    }
    eReturnCode answer(UInt32 id, AudioStatus status) const {
        return quarlo_SetAudioStatus(handle(), id, status, eAUDIOREQUESTRESULTCODE_NoError);
    }

    /** The sources of the process: "5 type 3 status 0 requested released". */
    static Lines sources() {
        Lines result;
        const Lock library(nullptr);
        for (auto* at = listGetFirstElement(&audioSourceList); at != nullptr;
             at = listGetNextElement(&audioSourceList)) {
            const audioSource& source = *audioSourceOf(at);
            std::string line = std::to_string(source.requestID) + " type " +
                               std::to_string(source.type) + " status " +
                               std::to_string(source.status);
            // A release outlasts the request that was not answered.
            if (source.releasePending != 0) {
                line += " released";
            } else if (source.requestPending != 0) {
                line += " requested";
            }
            result.push_back(line);
        }
        return result;
    }
    struct Source {
        UInt32 timerCount, duration;
        bool hasTimer;
    };
    /** What a source is at; all zeros when there is none. */
    static Source source(UInt32 id) {
        const Lock library(nullptr);
        const audioSource* found = findAudioSource(id);
        if (found == nullptr) return {};
        return {found->timerCount, found->duration, found->hasTimer != 0};
    }
};

}  // namespace quarlo::test

#endif
