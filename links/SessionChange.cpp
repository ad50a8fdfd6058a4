// Changes of frames in RUN, made by the session thread so that no frame is decoded by settings that
// it was not drawn for. A phone cannot be asked which frames are under way, but it keeps the order:
// suspended, it begins no more of them, and once it has acknowledged something sent after that, all
// that it had begun has arrived.
#include <cerrno>
#include <new>

#include "Session.h"

using namespace quarlo::links;

namespace {

constexpr unsigned mostRequests = 64;

struct Part {
    unsigned bit;
    Setting setting;
};
// In the order in which they are sent, and so acknowledged.
constexpr Part parts[] = {{eFRAMECHANGE_PixelFormat, Setting::PixelFormat},
                          {eFRAMECHANGE_Size, Setting::Size},
                          {eFRAMECHANGE_Compression, Setting::Compression}};

// Of a session that is over, or about to be.
quarloChangeResult howEnded(const Watch& watch) {
    const std::uint8_t refusal = watch.refusal();
    const bool isRefused =
        refusal == eEVENTTYPE_PixelFormatAcknowledge || refusal == eEVENTTYPE_FrameSizeAcknowledge;
    return isRefused ? eCHANGERESULT_Refused : eCHANGERESULT_Lost;
}

// Frames say themselves how they are compressed.
bool needsFence(const quarloFrameChange& change) {
    return (change.what & ~static_cast<UInt32>(eFRAMECHANGE_Compression)) != 0;
}

// Of what the one names, as the other says.
void merge(const quarloFrameChange& change, quarloFrameChange& into) {
    const UInt32 what = change.what & into.what;
    if ((what & eFRAMECHANGE_Size) != 0) {
        into.width = change.width;
        into.height = change.height;
        into.physicalWidth = change.physicalWidth;
        into.physicalHeight = change.physicalHeight;
    }
    if ((what & eFRAMECHANGE_PixelFormat) != 0) {
        into.bytesPerPixel = change.bytesPerPixel;
        into.format = change.format;
        into.order = change.order;
    }
    if ((what & eFRAMECHANGE_Compression) != 0) into.compression = change.compression;
}

// What was lost has yet to come, with the next connection.
void keep(const quarloFrameChange& change, quarloChangeResult result, quarloFrameChange& frames) {
    if (result == eCHANGERESULT_Refused) return;
    quarloFrameChange made = change;
    if (result == eCHANGERESULT_CompressionRefused) {
        made.what &= ~static_cast<UInt32>(eFRAMECHANGE_Compression);
    }
    merge(made, frames);
}

void send(unsigned part, const quarloFrameChange& change, void* instance) {
    switch (part) {
        case eFRAMECHANGE_PixelFormat:
            return quarlo_SetPixelFormat(instance, static_cast<PixelFormat>(change.format),
                                         change.bytesPerPixel,
                                         static_cast<PixelEndianess>(change.order));
        case eFRAMECHANGE_Size:
            return quarlo_SetFrameSize(instance, change.width, change.height, change.physicalWidth,
                                       change.physicalHeight);
        default:
            return quarlo_OverrideCompressionFormat(instance, change.compression);
    }
}

}  // namespace

void ChangeQueue::append(ChangeRequest* request) {
    ChangeRequest** end = &first;
    while (*end != nullptr) end = &(*end)->next;
    *end = request;
    ++count;
}

ChangeRequest* ChangeQueue::take() {
    ChangeRequest* taken = first;
    if (taken == nullptr) return nullptr;
    first = taken->next;
    taken->next = nullptr;
    --count;
    return taken;
}

// ---- who asks for a change
// ------------------------------------------------------------------------

eReturnCode quarloSession::change(const quarloFrameChange& wanted, quarloChangeResult* result) {
    auto* request = new (std::nothrow) ChangeRequest{wanted, result != nullptr};
    if (request == nullptr) return eRETURN_MEM_ALLOC;
    std::unique_lock<std::mutex> guard(lock);
    const bool canBeMade = isRunning && !isEnding();
    if (!canBeMade || requests.count == mostRequests) {
        delete request;
        return canBeMade ? eRETURN_MEM_ALLOC : eRETURN_STATE_NOT_RUN;
    }
    requests.append(request);
    raise(eventChange);
    if (result == nullptr) return eRETURN_OKAY;
    ++waiters;
    changed.wait(guard, [request] { return request->isOver; });
    *result = request->result;
    delete request;
    --waiters;
    changed.notify_all();
    return eRETURN_OKAY;
}

void quarlo::links::tellAnswered(quarloSession& session) {
    session.raise(eventAnswer);
}

// ---- the session thread
// ------------------------------------------------------------------------

// One fence is enough for all that are asked for while it stands.
void quarloSession::makeChanges(Watch& watch, void* instance) {
    events.fetch_and(~static_cast<unsigned>(eventChange));
    ChangeQueue over;
    bool isFenced = false;
    bool isQuiet = true;
    setChanging(true);
    for (ChangeRequest* request = nextRequest(); request != nullptr; request = nextRequest()) {
        if (needsFence(request->change) && !isFenced) {
            isFenced = true;
            isQuiet = raiseFence(watch, instance);
        }
        if (!isEnding()) request->result = make(request->change, isQuiet, watch, instance);
        const bool isMade = request->result == eCHANGERESULT_Done ||
                            request->result == eCHANGERESULT_Unacknowledged;
        if (isMade && !isQuiet) request->result = eCHANGERESULT_Unfenced;
        over.append(request);
    }
    if (isFenced && !isEnding()) suspend(instance, watch.isSuspended());
    setChanging(false);
    while (ChangeRequest* request = over.take()) finish(request);
}

ChangeRequest* quarloSession::nextRequest() {
    const std::lock_guard<std::mutex> guard(lock);
    return requests.take();
}

bool quarloSession::raiseFence(Watch& watch, void* instance) {
    settle(watch);
    suspend(instance, true);
    quarlo_OverrideCompressionFormat(instance, watch.compression());
    return await(watch, Setting::Compression);
}

void quarloSession::suspend(void* instance, bool isSuspended) {
    Watch::setOwn(true);
    quarlo_FrameRequestStatus(instance, isSuspended ? eFLAG_TRUE : eFLAG_FALSE);
    Watch::setOwn(false);
}

quarloChangeResult quarloSession::make(const quarloFrameChange& change, bool isQuiet, Watch& watch,
                                       void* instance) {
    merge(change, coming);
    tellChange(change, eCHANGEPHASE_Changing,
               isQuiet ? eCHANGERESULT_Done : eCHANGERESULT_Unfenced);
    settle(watch);
    for (const Part& part : parts) {
        if ((change.what & part.bit) == 0) continue;
        const std::uint32_t before = watch.sent(part.setting);
        send(part.bit, change, instance);
        // The library has left RUN, and the session has yet to hear of it.
        if (watch.sent(part.setting) == before) return howEnded(watch);
    }
    return awaitAnswers(change, watch);
}

quarloChangeResult quarloSession::awaitAnswers(const quarloFrameChange& change, Watch& watch) {
    quarloChangeResult result = eCHANGERESULT_Done;
    for (const Part& part : parts) {
        if ((change.what & part.bit) == 0) continue;
        const bool isAnswered = await(watch, part.setting);
        const bool isRefused = isAnswered && watch.isLastRefused(part.setting);
        if (isEnding() || howEnded(watch) == eCHANGERESULT_Refused) return howEnded(watch);
        if (!isAnswered) result = eCHANGERESULT_Unacknowledged;
        if (isRefused && result == eCHANGERESULT_Done) result = eCHANGERESULT_CompressionRefused;
    }
    return result;
}

// Answers that come after they were given up pay for nothing.
void quarloSession::settle(const Watch& watch) {
    for (const Part& part : parts) {
        std::uint32_t& debt = forgiven[static_cast<int>(part.setting)];
        const std::uint32_t unanswered = watch.sent(part.setting) - watch.answers(part.setting);
        if (static_cast<std::int32_t>(unanswered - debt) < 0) debt = unanswered;
    }
}

bool quarloSession::isOwed(const Watch& watch, Setting setting) const {
    const std::uint32_t unanswered = watch.sent(setting) - watch.answers(setting);
    return static_cast<std::int32_t>(unanswered - forgiven[static_cast<int>(setting)]) > 0;
}

// A phone that answers, but not to everything, is not waited for the next time; one that did not
// answer at all may only be slow, and its answers are still to come.
bool quarloSession::await(const Watch& watch, Setting setting) {
    const std::int64_t deadline = after(config.changeLimit);
    const std::uint32_t before = watch.answers(setting);
    while (isOwed(watch, setting)) {
        const unsigned seen = wait(eventsThatEnd | eventAnswer, deadline);
        events.fetch_and(~static_cast<unsigned>(eventAnswer));
        if ((seen & eventsThatEnd) != 0) return false;
        if (seen != 0) continue;
        if (watch.answers(setting) != before) {
            forgiven[static_cast<int>(setting)] = watch.sent(setting) - watch.answers(setting);
        }
        return false;
    }
    return true;
}

void quarloSession::tellChange(const quarloFrameChange& change, quarloChangePhase phase,
                               quarloChangeResult result) {
    const bool isOver = phase == eCHANGEPHASE_Over;
    const quarloFrameChangeInfo info = {sizeof info, &change, phase, result,
                                        isOver ? &frames : &coming};
    if (config.changeCallback != nullptr) config.changeCallback(config.context, this, &info);
}

// Before the start, and once more when RUN is reached.
void quarloSession::declare(const quarloFrameChange& wanted, void* instance) {
    for (const Part& part : parts) {
        if ((wanted.what & part.bit) != 0) send(part.bit, wanted, instance);
    }
}

// From the largest frames, which the start was made for, to those that are wanted.
void quarloSession::beginRun() {
    quarloFrameChange wanted{};
    void* instance = nullptr;
    {
        const std::lock_guard<std::mutex> guard(lock);
        isRunning = true;
        wanted = frames;
        instance = lent;
    }
    const quarloFrameChange& largest = settings.largest;
    wanted.what = largest.what;
    if (largest.width == wanted.width && largest.height == wanted.height) {
        wanted.what &= ~static_cast<UInt32>(eFRAMECHANGE_Size);
    }
    if (largest.format == wanted.format && largest.order == wanted.order) {
        wanted.what &= ~static_cast<UInt32>(eFRAMECHANGE_PixelFormat);
    }
    if (instance != nullptr) declare(wanted, instance);
}

void quarloSession::finish(ChangeRequest* request) {
    {
        const std::lock_guard<std::mutex> guard(lock);
        keep(request->change, request->result, frames);
    }
    tellChange(request->change, eCHANGEPHASE_Over, request->result);
    if (!request->isWaitedFor) {
        delete request;
        return;
    }
    const std::lock_guard<std::mutex> guard(lock);
    request->isOver = true;
    changed.notify_all();
}

void quarloSession::setChanging(bool isUnderWay) {
    const std::lock_guard<std::mutex> guard(lock);
    isChanging = isUnderWay;
}

void quarloSession::dropChanges() {
    {
        const std::lock_guard<std::mutex> guard(lock);
        isRunning = false;
    }
    while (ChangeRequest* request = nextRequest()) finish(request);
    for (std::uint32_t& each : forgiven) each = 0;
}
