// Lets all that is known about single packets and all onlookers speak about each packet; the docket
// sees to it that only the first rule that is broken counts. One thread.
#include "Judge.h"

#include "common/PixelLayout.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds silenceAfterEnd{1000};
constexpr auto onlookerMakers = {makeHandshakeOnlooker, makePingOnlooker,    makeAudioOnlooker,
                                 makeVehicleOnlooker,   makeRawDataOnlooker, makeVoiceOnlooker,
                                 makeAppOnlooker,       makeFrameOnlooker};

/// These rules are about all packets; the others tell by their own names which they are about.
std::string prefix(const Decoded& packet, Rule rule) {
    return rule <= Rule::WireStrings ? nameOf(packet) + ": " : "";
}

}  // namespace

void Judge::connect(TimePoint now, const std::set<int>& softkeys) {
    docket.connect(now);
    facts = {};
    judgement = {};
    around = {};
    around.softkeys = softkeys;
    closed.reset();
    lastTold = "nothing";
    onlookers.clear();
    for (const auto make : onlookerMakers) onlookers.push_back(make(docket, facts));
}

Decoded Judge::hear(TimePoint now, Bytes bytes) {
    pass(now);
    docket.beginPacket();
    if (around.screens.size() > 1 && now > screenChange + changeover)
        around.screens.erase(around.screens.begin(), around.screens.end() - 1);
    const Opinion opinion = judgement.judge(bytes, around);
    for (const Rule rule : opinion.judged) docket.judgeBy(rule);
    for (const Finding& finding : opinion.findings) {
        if (finding.rule)
            docket.find(*finding.rule, prefix(opinion.packet, *finding.rule) + finding.text);
    }
    if (closed && now > *closed + silenceAfterEnd)
        docket.find(Rule::SessionEnd, nameOf(opinion.packet) + " after the end");
    const bool isTheirs = opinion.packet.isFromHeadUnit() && opinion.packet.isReadable();
    if (isTheirs) {
        learn(opinion.packet);
        for (const auto& onlooker : onlookers) onlooker->hear(opinion.packet);
    }
    docket.endEvent();
    return isTheirs ? opinion.packet : Decoded();
}

void Judge::hearTooMuch(TimePoint now, std::size_t size) {
    pass(now);
    docket.beginPacket();
    docket.judgeBy(Rule::WireFraming);
    docket.find(Rule::WireFraming, "a packet of " + std::to_string(size) + " bytes");
    docket.endEvent();
}

void Judge::tell(TimePoint now, Bytes bytes, Pace pace) {
    docket.setNow(now);
    const Decoded packet(bytes);
    lastTold = nameOf(packet);
    const auto* done = packet.as<packetServerInitDone>();
    if (done != nullptr && done->Successful == eFLAG_TRUE && !facts.isRunning) begin();
    for (const auto& onlooker : onlookers) onlooker->tell({packet, pace == Pace::InPieces});
}

void Judge::begin() {
    facts.isRunning = true;
    docket.judgeBy(Rule::SessionStay);
}

void Judge::pass(TimePoint now) {
    docket.setNow(now);
    for (const auto& onlooker : onlookers) onlooker->pass();
}

void Judge::close(TimePoint now) {
    pass(now);
    for (const auto& onlooker : onlookers) onlooker->forget();
    if (!facts.isRunning) return;
    closed = now;
    docket.judgeBy(Rule::SessionEnd);
}

void Judge::end(TimePoint now, std::size_t unfinished) {
    pass(now);
    docket.beginEvent();
    docket.expect(unfinished == 0, Rule::WireFraming,
                  "the connection ended within a packet, behind " + std::to_string(unfinished) +
                      " bytes of it");
    if (facts.isRunning && !closed)
        docket.find(Rule::SessionStay, "the head unit left after the phone's " + lastTold);
    docket.endEvent();
}

void Judge::learn(const Decoded& packet) {
    if (const auto* init = packet.as<packetClientInit>()) {
        const qrFrameProperties& frame = *init->FrameProperties;
        const qrNonTouchConfiguration& keys = *init->NonTouchConfig;
        facts.capabilities = init->Capabilities;
        facts.keys = {keys.pSupportedKeyCodes,
                      keys.pSupportedKeyCodes + keys.NumberOfKeysSupported};
        if (pixelLayoutOf(frame.Format, frame.Endianess, frame.BytesPerPixel))
            learnScreen({init->ScreenWidth, init->ScreenHeight}, false);
    } else if (const auto* size = packet.as<packetSetFrameSize>()) {
        learnScreen({size->ScreenWidth, size->ScreenHeight}, true);
    } else if (const auto* voice = packet.as<packetClientVoiceSupportInfo>()) {
        facts.hasVoice = voice->Value != eVOICESUPPORT_NotSupported;
    }
}

void Judge::learnScreen(Size size, bool isChange) {
    if (size.empty()) return;
    constexpr std::size_t mostScreens = 16;
    // Where no screen could be judged, every position counts as one of the former screen.
    constexpr Size anywhere{1 << 20, 1 << 20};
    if (isChange && around.screens.empty()) around.screens.push_back(anywhere);
    facts.screen = size;
    facts.isScreenUsable = true;
    if (around.screens.size() == mostScreens) around.screens.erase(around.screens.begin());
    around.screens.push_back(size);
    screenChange = docket.now();
}

Verdicts Judge::verdicts() const {
    return Verdicts(docket);
}

}  // namespace quarlo::phone
