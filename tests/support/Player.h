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

#include "ApiCalls.h"
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
        configure();
        listen(handle(), *this);
        forgetLines();
    }
    ~Player() override { remove(); }
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

    void heard(const Heard& what) override {
        Host::heard(what);
        if (what.callback == Callback::EndReceiverRequest) return;
        const bool isStuck = told(what);
        answer(what);
        if (isStuck) stay();
        if (what.callback == Callback::OnMainThreadEnd) finish();
    }
    std::size_t read(UInt8* buffer, std::size_t size) override {
        mark();
        if (position == plan.length) return ending();
        const std::size_t count = std::min(pieceAt(), size);
        std::copy_n(played.bytes.begin() + static_cast<std::ptrdiff_t>(position), count, buffer);
        position += count;
        return count;
    }
    void write(const UInt8* buffer, std::size_t size) override {
        Host::write(buffer, size);
        if (sent().size() == plan.stuckSend) stay();
    }

  private:
    void configure() const {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_All, 1);
        quarlo_SetFrameSize(handle(), 32, 16, 10, 5);
        ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
        quarlo_SetSupportedCustomData(handle(), 1, types);
        quarlo_SetPixelFormatEx(handle(), eGRAPHICTYPE_Icon, ePIXELFORMAT_ARGB8888, 4,
                                ePIXELENDIANESS_LittleEndian);
    }

    static std::string lineOf(const Heard& what) {
        if (what.callback == Callback::Protocol) {
            const auto state = static_cast<eProtocolState>(what.numbers[0]);
            return std::string("state ") + _quarlo_getStateName(state);
        }
        if (what.callback == Callback::Error) {
            const auto code = static_cast<eErrorCode>(what.numbers[0]);
            return std::string("error ") + _quarlo_getErrorName(code);
        }
        return what.name();
    }

    /** Whether the player is to stay in this callback. */
    bool told(const Heard& what) {
        const std::string line = lineOf(what);
        note(line);
        return line == plan.stuckIn;
    }

    /**
     * What a host does about it, inside the callback. Nothing with a destructor is alive meanwhile:
     * the thread may be cancelled in a call, and AddressSanitizer ends a program that cleans up
     * then.
     */
    void answer(const Heard& what) const {
        void* const h = handle();
        switch (what.callback) {
            case Callback::OnMainThreadStart:
                return plan.atStart();
            case Callback::Protocol:
                if (what.numbers[0] != ePROTOCOL_STATE_RUN) return;
                quarlo_SetPixelFormat(h, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
                return quarlo_FramebufferUpdateRequest(h, 0, 0, 32, 16, 0);
            case Callback::FrameUpdateEnd:
                return quarlo_FramebufferUpdateRequest(h, 0, 0, 32, 16, 1);
            case Callback::AppListChanged:
                quarlo_RequestAppIcon(h, sample::url, 1, 1);
                // Larger than what is built on the stack.
                return void(quarlo_StartApp(h, std::string(3000, 'u').c_str(), nullptr, nullptr));
            case Callback::AudioRequest:
                return void(quarlo_SetAudioStatus(h, sample::request, eAUDIOSTATUS_Open,
                                                  eAUDIOREQUESTRESULTCODE_NoError));
            case Callback::VehicleDataRequest:
                return void(quarlo_VehicleData(h, 5, eSTRINGENCODING_UTF8, "{}"));
            case Callback::VoiceSessionRequest:
                return quarlo_VoiceSessionStatus(h, eVOICESESSIONSTATUS_Active,
                                                 eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
            default:
                return;
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

    [[nodiscard]] std::size_t pieceAt() const {
        std::size_t limit = plan.length;
        if (plan.keepsPackets) limit = std::min(limit, played.ends[played.wholeIn(position)]);
        return std::min(limit - position, plan.piece);
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

    const Recording& played;
    Plan plan;
    std::size_t position = 0;
    unsigned stalls = 0;
    std::vector<std::size_t> seenBefore;
    std::vector<std::size_t> sentBefore;
    std::atomic<bool> isDone{false};
    std::atomic<bool> isReleased{false};
};

}  // namespace quarlo::test

#endif
