/*
 * A host whose phone is a recording: the receiver link plays it packet by packet (or in smaller
 * pieces) up to a given byte, and then ends or says "nothing now" for ever. The host registers
 * every callback, answers the phone inside of them, and can stay in one of them, or in its sender
 * link, for ever. Between plays nothing is shared: everything runs on the receiver thread.
 */
#ifndef QUARLO_TESTS_PLAYER_H
#define QUARLO_TESTS_PLAYER_H

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <thread>

#include "Host.h"

namespace quarlo::test {

/** All bytes of a phone, and where its packets end. */
struct Recording {
    explicit Recording(const std::vector<Bytes>& packets) {
        for (const Bytes& packet : packets) {
            bytes.insert(bytes.end(), packet.begin(), packet.end());
            ends.push_back(bytes.size());
        }
    }
    /** How many packets are whole in so many bytes. */
    [[nodiscard]] std::size_t wholeIn(std::size_t count) const {
        return static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), count) -
                                        ends.begin());
    }
    [[nodiscard]] std::size_t size() const { return bytes.size(); }

    Bytes bytes;
    std::vector<std::size_t> ends;
};

/** A callback's name as a template argument. */
template <std::size_t N>
struct Name {
    // NOLINTNEXTLINE(google-explicit-constructor): a literal is to be enough
    constexpr Name(const char (&literal)[N]) { std::copy_n(literal, N, text); }
    char text[N] = {};
};

class Player : public Host {
  public:
    /** What the receiver link returns when everything was played; 0 for ever, or once negative. */
    enum End : int { Stall = 0, Closed = -1, Failed = -5 };

    struct Plan {
        std::size_t length = static_cast<std::size_t>(-1);
        End end = Closed;
        std::size_t piece = static_cast<std::size_t>(-1);  // most bytes of one read
        bool keepsPackets = true;                          // no read goes beyond a packet's end
        std::string stuckIn = {};               // name of the callback that never returns
        std::function<void()> atStart = [] {};  // on the receiver, before it reads
        std::size_t stuckSend = 0;  // number of the packet whose sending never returns; from 1
    };

    Player(const Recording& recording, Plan what) : played(recording), plan(std::move(what)) {
        plan.length = std::min(plan.length, played.size());
        quarlo_SetTraceClass(handle(), static_cast<eTraceClass>(0));
        quarlo_SetReceiverLink(handle(), &Player::read);
        quarlo_SetSenderLink(handle(), &Player::write);
        configure();
        listen();
        forgetLines();
    }
    ~Player() { remove(); }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /** Returns when the receiver has ended, finds nothing more, or is stuck. */
    void play() {
        start();
        isDone.wait(false);
    }
    /** Lets whoever is stuck go on. */
    void release() { isReleased = true; }
    /** So much was seen when the packet with this number was asked for, and at last. */
    [[nodiscard]] const std::vector<std::size_t>& seenAt() const { return seenBefore; }
    [[nodiscard]] const std::vector<std::size_t>& sentAt() const { return sentBefore; }

  private:
    static Player& of(void* context) { return *static_cast<Player*>(static_cast<Host*>(context)); }

    void configure() const {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_All, 1);
        quarlo_SetFrameSize(handle(), 32, 16, 10, 5);
        ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
        quarlo_SetSupportedCustomData(handle(), 1, types);
        quarlo_SetPixelFormatEx(handle(), eGRAPHICTYPE_Icon, ePIXELFORMAT_ARGB8888, 4,
                                ePIXELENDIANESS_LittleEndian);
    }

    /* ---- the callbacks ---- */

    template <Name name, class... Arguments>
    static void hear(void* context, Arguments...) {
        of(context).heard(name.text);
    }

    void heard(const std::string& line) {
        note(line);
        answer(line);
        if (line == plan.stuckIn) stay();
        if (line == "thread end") finish();
    }

    void listen();

    /** What a host does about it, inside the callback. */
    void answer(const std::string& line) const {
        void* const h = handle();
        if (line == "thread start") {
            plan.atStart();
        } else if (line == "state RUN") {
            quarlo_SetPixelFormat(h, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
            quarlo_FramebufferUpdateRequest(h, 0, 0, 32, 16, 0);
        } else if (line == "frame end") {
            quarlo_FramebufferUpdateRequest(h, 0, 0, 32, 16, 1);
        } else if (line == "apps") {
            quarlo_RequestAppIcon(h, "a://1", 1, 1);
            // Larger than what is built on the stack.
            quarlo_StartApp(h, std::string(3000, 'u').c_str(), nullptr, nullptr);
        } else if (line == "audio") {
            quarlo_SetAudioStatus(h, 1, eAUDIOSTATUS_Open, eAUDIOREQUESTRESULTCODE_NoError);
        } else if (line == "vehicle") {
            quarlo_VehicleData(h, 5, eSTRINGENCODING_UTF8, "{}");
        } else if (line == "voice") {
            quarlo_VoiceSessionStatus(h, eVOICESESSIONSTATUS_Active,
                                      eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
        }
    }

    /**
     * Stays in the host's code until it is released or cancelled. Told is it where no cancellation
     * can come: who waits for it may cancel at once, and a notification must not be torn.
     */
    void stay() {
        int former = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
        finish();
        pthread_setcancelstate(former, nullptr);
        while (!isReleased) usleep(1000);
    }

    void finish() {
        isDone = true;
        isDone.notify_all();
    }

    /* ---- the links ---- */

    std::size_t pieceAt() const {
        std::size_t limit = plan.length;
        if (plan.keepsPackets) limit = std::min(limit, played.ends[played.wholeIn(position)]);
        return std::min(limit - position, plan.piece);
    }

    static std::size_t read(void* context, UInt8* buffer, std::size_t size, void*) {
        Player& self = of(context);
        self.mark();
        if (self.position == self.plan.length) return self.ending();
        const std::size_t count = std::min(self.pieceAt(), size);
        std::copy_n(self.played.bytes.begin() + static_cast<std::ptrdiff_t>(self.position), count,
                    buffer);
        self.position += count;
        return count;
    }

    std::size_t ending() {
        if (plan.end != Stall) return static_cast<std::size_t>(std::ptrdiff_t{plan.end});
        // The first asks follow steps of the protocol that still belong to what was played.
        if (++stalls == 4) finish();
        std::this_thread::yield();
        return 0;
    }

    void mark() {
        const std::size_t whole = played.wholeIn(position);
        while (seenBefore.size() <= whole) {
            seenBefore.push_back(lines().size());
            sentBefore.push_back(sent().size());
        }
    }

    static void write(void* context, UInt8* buffer, std::size_t size, void* connection) {
        Player& self = of(context);
        send(context, buffer, size, connection);
        if (self.sent().size() == self.plan.stuckSend) self.stay();
    }

    const Recording& played;
    Plan plan;
    std::size_t position = 0;
    unsigned stalls = 0;
    std::vector<std::size_t> seenBefore;
    std::vector<std::size_t> sentBefore;
    std::atomic<bool> isDone{false};
    std::atomic<bool> isReleased{false};
};

inline void Player::listen() {
    void* const h = handle();
    quarlo_SetProtocolCallback(h, [](void* context, eProtocolState state) {
        of(context).heard(std::string("state ") + _quarlo_getStateName(state));
    });
    quarlo_SetErrorCallback(h, [](void* context, eErrorCode code) {
        of(context).heard(std::string("error ") + _quarlo_getErrorName(code));
    });
    quarlo_SetOnMainThreadStartCallback(h, &hear<"thread start">);
    quarlo_SetOnMainThreadEndCallback(h, &hear<"thread end">);
    quarlo_SetFrameUpdateStartCallback(h, &hear<"frame start">);
    quarlo_SetFrameUpdateCallback(h, &hear<"frame">);
    quarlo_SetFrameUpdateEndCallback(h, &hear<"frame end">);
    quarlo_SetBlockStatusCallback(h, &hear<"blocked">);
    quarlo_SetAudioRequestCallback(h, &hear<"audio">);
    quarlo_SetPhonecallStatusCallback(h, &hear<"phone call">);
    quarlo_SetAppTransitionStatusCallback(h, &hear<"transition">);
    quarlo_SetAppInactiveCallback(h, &hear<"inactive">);
    quarlo_SetLauncherStateCallback(h, &hear<"launcher">);
    quarlo_SetPTTAvailableCallback(h, &hear<"push to talk">);
    quarlo_SetInitiatePhoneCallCallback(h, &hear<"call">);
    quarlo_SetNavigateToCallback(h, &hear<"navigate">);
    quarlo_SetVoiceSessionRequestCallback(h, &hear<"voice">);
    quarlo_SetVehicleDataRequestCallback(h, &hear<"vehicle">);
    quarlo_SetAppListChangedCallback(h, &hear<"apps">);
    quarlo_SetAppIconResponseCallback(h, &hear<"icon">);
    quarlo_SetAppStartedResponseCallback(h, &hear<"started">);
    quarlo_SetCustomDataStringCallback(h, &hear<"custom string">);
    quarlo_SetCustomDataIntCallback(h, &hear<"custom int">);
    quarlo_SetCustomDataKeyCallback(h, &hear<"custom key">);
    quarlo_SetCustomDataCanCallback(h, &hear<"custom can">);
    quarlo_SetCustomDataRawCallback(h, &hear<"custom raw">);
}

}  // namespace quarlo::test

#endif
