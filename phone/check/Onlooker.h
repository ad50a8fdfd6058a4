/**
 * @file
 * An onlooker is one file: it follows one matter of a connection, by what both sides say and by the
 * time that passes, and tells the docket. Onlookers do not know each other; what several need is
 * known to all. One thread.
 */
#ifndef PHONE_CHECK_ONLOOKER_H
#define PHONE_CHECK_ONLOOKER_H

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Decoded.h"
#include "Docket.h"
#include "common/Picture.h"

namespace quarlo::phone {

using Seconds = std::chrono::duration<double>;

/** How long an answer may take unless its rule says otherwise. */
inline constexpr std::chrono::milliseconds answerLimit{2000};
/** After a change the state before it still counts for so long. */
inline constexpr std::chrono::milliseconds changeover{1000};

/** What the head unit has said about itself, and how far the session is. */
struct Known {
    bool isRunning = false;  ///< ServerInitDone was sent
    ClientCapabilities capabilities = eCLIENTCAPABILITIES_None;
    bool hasVoice = false;  ///< the last voice support was more than none
    std::set<UInt8> keys;   ///< those beside the screen
    Size screen;
    bool isScreenUsable = false;

    bool can(ClientCapabilities what) const { return (capabilities & what) != 0; }
};

/** A packet of the phone, and how it was sent. */
struct Told {
    const Decoded& packet;
    bool isInPieces = false;
};

class Onlooker {
  public:
    Onlooker(Docket& record, const Known& facts) : docket(record), known(facts) {}
    virtual ~Onlooker() = default;
    /** A readable packet of the head unit has come. */
    virtual void hear(const Decoded&) {}
    /** The last byte of a packet of the phone was handed over. */
    virtual void tell(const Told&) {}
    /** Time has passed: what was owed may be overdue. */
    virtual void pass() {}
    /** From here on nothing is owed any more. */
    virtual void forget() {}

  protected:
    TimePoint now() const { return docket.now(); }

    Docket& docket;
    const Known& known;
};

std::unique_ptr<Onlooker> makeHandshakeOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makePingOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeAudioOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeVehicleOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeRawDataOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeVoiceOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeAppOnlooker(Docket& docket, const Known& known);
std::unique_ptr<Onlooker> makeFrameOnlooker(Docket& docket, const Known& known);

}  // namespace quarlo::phone

#endif
