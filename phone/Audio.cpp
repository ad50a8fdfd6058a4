// The player's dealings over audio channels: asks for them, gives them back and shows the head
// unit's answers. Session thread.
#include "QUARLO.Connector.IVI-API_C.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

struct Sound {
    AudioType type;
    UInt16 mostSeconds;
};
class Audio : public Feature {
  public:
    explicit Audio(Session& owner) : session(owner) {
        session.addCapability(eSERVERCAPABILITIES_EnableAudioHandling);
        session.onWish(Wish::Audio, [this](int which) { play(which); });
        session.on<packetClientAudio>([this](const auto& packet) { onAnswer(packet); });
        session.on<packetAudioTypeResponse>([this](const auto& packet) {
            say(std::string("On: ") + _quarlo_getAudioTypeName(packet.CurrentAudioType));
        });
    }

  private:
    void say(const std::string& text) { session.phone().status["music"] = text; }

    void play(int which) {
        if (which == whichSoundWish) {
            session.send<packetRequestAudioType>([](auto&) {});
        } else if (which == noSoundWish) {
            release();
        } else {
            request({static_cast<AudioType>(which >> 16), static_cast<UInt16>(which & 0xFFFF)});
        }
    }

    void request(const Sound& sound) {
        // One sound at a time: a player that starts another gives the first channel back.
        release();
        playing = sound;
        ++id;
        send(eAUDIOCONTROL_Request);
        say("Asked for " + std::string(_quarlo_getAudioTypeName(sound.type)));
    }

    void release() {
        if (!playing) return;
        send(eAUDIOCONTROL_Release);
        say("Given back");
        playing.reset();
    }

    void send(AudioControl command) {
        session.send<packetServerAudio>([&](auto& audio) {
            audio.RequestID = id;
            audio.Command = command;
            audio.Type = playing->type;
            audio.MaximumDuration = playing->mostSeconds;
        });
    }

    void onAnswer(const packetClientAudio& packet) {
        if (packet.RequestID == 0 || packet.RequestID > id)
            return session.note("ignored an audio answer that nobody asked for");
        say("Request " + std::to_string(packet.RequestID) + ": " +
            _quarlo_getAudioStatusName(packet.Status) + ", " +
            _quarlo_getAudioRequestResultCodeName(packet.ResultCode));
        const bool isOver =
            packet.Status == eAUDIOSTATUS_Close || packet.Status == eAUDIOSTATUS_Reject;
        if (isOver && packet.RequestID == id) playing.reset();
    }

    Session& session;
    std::optional<Sound> playing;
    UInt32 id = 0;
};

}  // namespace

std::unique_ptr<Feature> makeAudio(Session& session) {
    return std::make_unique<Audio>(session);
}

}  // namespace quarlo::phone
