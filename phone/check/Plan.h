/**
 * @file
 * What the phone of a check says in a session of its own accord, and when. One thread.
 */
#ifndef PHONE_CHECK_PLAN_H
#define PHONE_CHECK_PLAN_H

#include <set>
#include <string>

#include "Agenda.h"
#include "Pipe.h"

namespace quarlo::phone {

/** The softkeys that the phone of a check has. */
inline const std::set<int> checkedSoftkeys{eSOFTKEY_Home, eSOFTKEY_Back, eSOFTKEY_Menu};

/** The number of the icon of an app in the catalogue of the check; 0 for others. */
UInt32 iconOf(const std::string& url);

PacketBytes pingOf(UInt32 counter);

class Plan {
  public:
    /** The length of the session, after which the phone ends it. */
    static constexpr std::chrono::milliseconds duration{10500};

    Plan(Pipe& connection, Agenda& times, TimePoint begin);
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    /** The one packet that the plan waits for is the answer to a Get. */
    void hear(const Decoded& packet);

  private:
    using Say = void (Plan::*)();

    void beginPings();
    void ping();
    void sayStates();
    void sayApps();
    void sayAudio(UInt32 id, AudioControl command, AudioType type, UInt16 seconds);
    void sayCustom(CustomDataEvent event, UInt16 type, const PacketBytes& content);
    void sayRaw(UInt16 operation, UInt16 block, const std::string& content = "");
    void sayFilter(const std::vector<UInt32>& keys);
    void askAudioType();
    void sayVoice(VoiceRequest request);
    void sayCustomOfEachKind();
    void storeAndGet();
    void storeAndGetAgain();
    void getCore();
    void sayToBeRefused();
    void callAndNavigate();
    void sayToBeIgnored();
    void sayInPieces();
    void at(int milliseconds, Agenda::Task task);

    Pipe& pipe;
    Agenda& agenda;
    const TimePoint start;
    UInt32 counter = 41;  ///< of the ping before the session
    int blocksAwaited = 0;
    bool hasStoredAgain = false;
    bool hasAskedCore = false;
};

}  // namespace quarlo::phone

#endif
