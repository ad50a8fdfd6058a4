// Each packet of the handshake is held back for a moment, so that what comes too early is seen.
// What came too early counts as having come. One thread.
#include "Conversation.h"

#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds holdBack{200};
constexpr std::chrono::milliseconds handshakeLimit{10000};
constexpr std::chrono::milliseconds refusalLimit{3000};
constexpr std::chrono::milliseconds afterRefusal{1000};
constexpr std::chrono::milliseconds initDoneLimit{1000};
constexpr std::chrono::milliseconds farewell{1800};
constexpr UInt32 counterBeforeSession = 41;

bool isOfHandshake(const Decoded& packet) {
    return packet.type() == eEVENTTYPE_ClientProtocolVersion ||
           packet.type() == eEVENTTYPE_ClientInit || packet.type() == eEVENTTYPE_ClientInitDone;
}

}  // namespace

Conversation::Conversation(Stream& bytes, Judge& judgeOfAll, const Log& log, Refused what,
                           TimePoint now)
    : stream(bytes),
      judge(judgeOfAll),
      refused(what),
      pipe(bytes, judgeOfAll, log),
      replies(pipe, agenda),
      time(now) {
    judge.connect(now, checkedSoftkeys);
    endAfter(what == Refused::Nothing ? handshakeLimit : refusalLimit);
}

bool Conversation::step(TimePoint now) {
    time = now;
    pipe.receive(now, [this](const Decoded& packet) { hear(packet); });
    judge.pass(now);
    agenda.perform(now);
    if (plan && !isClosed) replies.step(now);
    pipe.transmit(now);
    return !isOver && !pipe.hasEnded();
}

TimePoint Conversation::nextWake() const {
    return std::min({agenda.next(), pipe.nextWake(), replies.nextWake()});
}

void Conversation::hear(const Decoded& packet) {
    if (plan && !isClosed) {
        replies.hear(time, packet);
        plan->hear(packet);
    }
    if (plan || !isOfHandshake(packet) || !came.insert(packet.type()).second) return;
    if (const auto* init = packet.as<packetClientInit>()) replies.adopt(*init);
    advance();
}

/// Says what is next, if what it answers has come.
void Conversation::advance() {
    if (!came.contains(awaited)) return;
    const UInt8 answered = std::exchange(awaited, UInt8{0});
    if (answered == eEVENTTYPE_ClientProtocolVersion) {
        say([this] { acknowledgeProtocol(); });
    } else if (answered == eEVENTTYPE_ClientInit) {
        say([this] { acknowledgeInit(); });
    } else if (answered == eEVENTTYPE_ClientInitDone) {
        say([this] { finishHandshake(); });
    }
}

void Conversation::say(Agenda::Task task) {
    agenda.add(time + holdBack, std::move(task));
}

void Conversation::acknowledgeProtocol() {
    const bool isRefused = refused == Refused::Protocol;
    pipe.say(bytesOf<packetServerProtocolAcknowledge>(
        [=](auto& answer) { answer.IsAcknowledged = isRefused ? eFLAG_FALSE : eFLAG_TRUE; }));
    if (isRefused) return refuse();
    awaited = eEVENTTYPE_ClientInit;
    advance();
}

void Conversation::acknowledgeInit() {
    const bool isRefused = refused == Refused::Init;
    pipe.say(bytesOf<packetServerInitAcknowledge>(
        [=](auto& answer) { answer.IsAcknowledged = isRefused ? eFLAG_FALSE : eFLAG_TRUE; }));
    if (isRefused) return refuse();
    say([this] { describePhone(); });
}

void Conversation::describePhone() {
    pipe.say(bytesOf<packetServerInit>([](auto& answer) {
        setText(*answer.Name, "quarlo check");
        answer.IsAllowedWhileMoving = eFLAG_TRUE;
        answer.Capabilities =
            eSERVERCAPABILITIES_EnableAudioHandling | eSERVERCAPABILITIES_EnableAppStart;
        qrSoftkeyList& keys = *answer.SupportedSoftkeys;
        std::vector<Softkey> names;
        names.reserve(checkedSoftkeys.size());
        for (const int key : checkedSoftkeys) names.push_back(static_cast<Softkey>(key));
        setRun(keys.Length, keys.pSoftkeys, names);
        setText(*answer.ServerOSName, "Linux");
        setText(*answer.PhoneLauncherUUID, "");
    }));
    pipe.say(pingOf(counterBeforeSession));
    awaited = eEVENTTYPE_ClientInitDone;
    if (refused == Refused::Done) {
        agenda.add(time + initDoneLimit, [this] {
            if (!came.contains(eEVENTTYPE_ClientInitDone)) end();
        });
    }
    advance();
}

void Conversation::finishHandshake() {
    const bool isRefused = refused == Refused::Done;
    pipe.say(bytesOf<packetServerInitDone>(
        [=](auto& done) { done.Successful = isRefused ? eFLAG_FALSE : eFLAG_TRUE; }));
    if (isRefused) return refuse();
    agenda.clear();
    plan.emplace(pipe, agenda, time);
    agenda.add(time + Plan::duration, [this] { close(); });
}

void Conversation::refuse() {
    awaited = 0;
    endAfter(afterRefusal);
}

void Conversation::close() {
    agenda.clear();
    isClosed = true;
    pipe.close();
    judge.close(time);
    endAfter(farewell);
}

void Conversation::endAfter(std::chrono::milliseconds limit) {
    agenda.add(time + limit, [this] { end(); });
}

}  // namespace quarlo::phone
