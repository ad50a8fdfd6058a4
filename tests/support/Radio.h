/* A host in RUN that plays audio, and the phone's side of it. */
#ifndef QUARLO_TESTS_RADIO_H
#define QUARLO_TESTS_RADIO_H

#include <map>

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
    using Reaction = std::function<void(AudioControl, UInt32)>;

    Radio() {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_AudioHandling, 1);
        quarlo_SetAudioRequestCallback(handle(), &Radio::onRequest);
        forget();
    }
    ~Radio() {
        host.remove();
        react(nullptr);
    }
    Radio(const Radio&) = delete;
    Radio& operator=(const Radio&) = delete;

    /** What the host does inside the callback, on its thread. */
    void react(Reaction reaction) {
        const std::lock_guard lock(mutex);
        reactions[&host] = std::move(reaction);
    }
    Lines ask(UInt32 id, AudioType type, unsigned duration) {
        return hear(serverAudio(id, eAUDIOCONTROL_Request, type, duration));
    }
    Lines giveBack(UInt32 id, AudioType type) {
        return hear(serverAudio(id, eAUDIOCONTROL_Release, type, 0));
    }
    eReturnCode answer(UInt32 id, AudioStatus status,
                       AudioRequestResultCode reason = eAUDIOREQUESTRESULTCODE_NoError) const {
        return quarlo_SetAudioStatus(handle(), id, status, reason);
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

  private:
    static void onRequest(void* context, AudioControl command, UInt32 id, AudioType type) {
        Host& host = hostOf(context);
        const char* const name = command == eAUDIOCONTROL_Request ? "Request " : "Release ";
        host.note(std::string("audio ") + name + std::to_string(id) + " " + std::to_string(type));
        Reaction reaction;
        {
            const std::lock_guard lock(mutex);
            reaction = reactions[&host];
        }
        if (reaction) reaction(command, id);
    }

    static inline std::mutex mutex;
    static inline std::map<const Host*, Reaction> reactions;
};

}  // namespace quarlo::test

#endif
