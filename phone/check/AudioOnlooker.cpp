// Requests for audio from their first word to their last, and what is heard meanwhile. One thread.
#include <algorithm>

#include "Onlooker.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds releaseLimit{3000};
constexpr std::chrono::milliseconds overtime{2500};
/// An answer that crosses an audio packet on its way tells nothing.
constexpr std::chrono::milliseconds crossing{300};
/// Who closes a source at its time does so a little before or after, by the phone's clock.
constexpr std::chrono::milliseconds clockError{500};

/// How much the types are heard, each more than those before it.
constexpr AudioType ranks[] = {eAUDIOTYPE_Ignore,
                               eAUDIOTYPE_Silent,
                               eAUDIOTYPE_Chime,
                               eAUDIOTYPE_Announcement,
                               eAUDIOTYPE_CriticalAnnouncement,
                               eAUDIOTYPE_Main};

AudioType mixed(AudioType one, AudioType other) {
    const auto rank = [](AudioType type) {
        return std::find(std::begin(ranks), std::end(ranks), type) - std::begin(ranks);
    };
    return rank(one) < rank(other) ? other : one;
}

struct Source {
    AudioType type;
    TimePoint requested;
    Seconds most;  ///< how long it may be open; 0: without limit
    bool isAnswered = false;
    bool wasOpen = false;
    bool isOpen = false;
    TimePoint openSince{};
    Seconds openBefore{0};
    bool isReleased = false;
    TimePoint releaseEnd = TimePoint::max();
    bool isOverdue = false;

    Seconds openTime(TimePoint now) const {
        return openBefore + (isOpen ? Seconds(now - openSince) : Seconds(0));
    }
    void suspend(TimePoint now) {
        openBefore = openTime(now);
        isOpen = false;
    }
    /// When its time is over and the overtime, too; as if it stayed open.
    TimePoint end() const {
        if (most.count() == 0 || !isOpen) return TimePoint::max();
        return openSince + std::chrono::duration_cast<TimePoint::duration>(most - openBefore) +
               overtime;
    }
};

class AudioOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        if (told.packet.as<packetRequestAudioType>() != nullptr && known.isRunning)
            questions.push_back(now());
        const auto* audio = told.packet.as<packetServerAudio>();
        if (audio == nullptr) return;
        if (audio->Command == eAUDIOCONTROL_Request) return request(*audio);
        const auto source = sources.find(audio->RequestID);
        if (source == sources.end() || !source->second.wasOpen || source->second.isReleased) return;
        source->second.isReleased = true;
        source->second.releaseEnd = now() + releaseLimit;
    }

    void hear(const Decoded& packet) override {
        if (const auto* answer = packet.as<packetAudioTypeResponse>()) return hearType(*answer);
        const auto* audio = packet.as<packetClientAudio>();
        if (audio == nullptr) return;
        lastAudio = now();
        hasAudio = true;
        docket.expect(known.can(eCLIENTCAPABILITIES_AudioHandling), Rule::AudioLife,
                      "audio handling was not announced");
        const auto source = sources.find(audio->RequestID);
        if (source == sources.end())
            return docket.find(Rule::AudioLife, nameOfRequest(audio->RequestID) + " does not live");
        source->second.isAnswered = true;
        hearStatus(*source, audio->Status);
    }

    void pass() override {
        if (isForgotten) return;
        while (!questions.empty() && now() > questions.front() + answerLimit) {
            docket.findOverdue(questions.front() + answerLimit, Rule::AudioType,
                               "no answer to RequestAudioType");
            questions.pop_front();
        }
        for (auto& [id, source] : sources) passSource(id, source);
    }

    void forget() override {
        isForgotten = true;
        questions.clear();
    }

  private:
    static std::string nameOfRequest(UInt32 id) { return "request " + std::to_string(id); }

    void request(const packetServerAudio& audio) {
        sources.insert(
            {audio.RequestID, {audio.Type, now(), std::chrono::seconds(audio.MaximumDuration)}});
        if (known.can(eCLIENTCAPABILITIES_AudioHandling)) docket.judgeBy(Rule::AudioAnswer);
    }

    void hearStatus(std::pair<const UInt32, Source>& entry, AudioStatus status) {
        auto& [id, source] = entry;
        const bool isClosed = status == eAUDIOSTATUS_Close;
        if (!source.wasOpen && (isClosed || status == eAUDIOSTATUS_Suspend))
            return docket.find(Rule::AudioLife, nameOfRequest(id) + " was never open");
        if (status == eAUDIOSTATUS_Open) {
            if (!source.isOpen) source.openSince = now();
            source.wasOpen = source.isOpen = true;
            heard = mixed(heard, source.type);
        } else if (status == eAUDIOSTATUS_Suspend) {
            source.suspend(now());
            heard = mixed(heard, eAUDIOTYPE_Silent);
        } else if (isClosed || status == eAUDIOSTATUS_Reject) {
            end(id, source);
        }
        hasAnswers = true;
    }

    void end(UInt32 id, const Source& source) {
        const bool isDue =
            source.isReleased || (source.most.count() > 0 && source.wasOpen &&
                                  source.openTime(now()) + clockError >= source.most);
        if (isDue && !source.isOverdue) docket.judgeBy(Rule::AudioEnd);
        sources.erase(id);
        heard = eAUDIOTYPE_Silent;
        for (const auto& [other, left] : sources) heard = std::max(heard, left.type);
    }

    void passSource(UInt32 id, Source& source) {
        const bool isOwed = known.can(eCLIENTCAPABILITIES_AudioHandling);
        if (isOwed && !source.isAnswered && now() > source.requested + answerLimit) {
            docket.findOverdue(source.requested + answerLimit, Rule::AudioAnswer,
                               "no answer to " + nameOfRequest(id));
            source.isAnswered = true;
        }
        const TimePoint limit = std::min(source.releaseEnd, source.end());
        if (source.isOverdue || now() <= limit) return;
        source.isOverdue = true;
        docket.findOverdue(limit, Rule::AudioEnd, nameOfRequest(id) + " is not closed");
    }

    void hearType(const packetAudioTypeResponse& packet) {
        if (questions.empty())
            return docket.find(Rule::AudioType, "nobody has asked, or asked in time");
        const TimePoint asked = questions.front();
        questions.pop_front();
        if (hasAudio && lastAudio > asked - crossing) return;
        const AudioType told = packet.CurrentAudioType;
        const bool handles = known.can(eCLIENTCAPABILITIES_AudioHandling);
        const AudioType right = handles ? heard : eAUDIOTYPE_Ignore;
        const bool isOpenQuestion = handles && !hasAnswers && told == eAUDIOTYPE_Silent;
        docket.expect(told == right || isOpenQuestion, Rule::AudioType,
                      "the type is " + std::to_string(told) + ", not " + std::to_string(right));
    }

    std::map<UInt32, Source> sources;
    std::deque<TimePoint> questions;
    AudioType heard = eAUDIOTYPE_Ignore;
    bool hasAnswers = false;
    bool hasAudio = false;
    TimePoint lastAudio{};
    bool isForgotten = false;
};

}  // namespace

std::unique_ptr<Onlooker> makeAudioOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<AudioOnlooker>(docket, known);
}

}  // namespace quarlo::phone
