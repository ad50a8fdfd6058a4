#include <cerrno>
#include <utility>

#include "Host.h"

namespace quarlo::headunit {
namespace {

Host& hostOf(void* context) {
    return *static_cast<Host*>(context);
}

Frame frameOf(const quarloFrameChange& frames) {
    return {{static_cast<int>(frames.width), static_cast<int>(frames.height)},
            {static_cast<PixelFormat>(frames.format), static_cast<PixelEndianess>(frames.order)},
            frames.compression};
}

}  // namespace

/* ---- the session's thread ---- */

void Host::stateChanged(void* context, quarloSession* session, const quarloSessionInfo* info) {
    Host& host = hostOf(context);
    const bool isOver = info->state == eSESSIONSTATE_Waiting && !host.options.reconnect;
    if (isOver) quarloSession_Stop(session);
    host.mailbox.tell({info->state, host.reasonOf(*info), info->remaining});
}

// What the phone has said no to is best told by the library's own trace.
std::string Host::reasonOf(const quarloSessionInfo& info) {
    const bool isOfThePhone = info.errorNumber == ECONNREFUSED || info.errorNumber == EPROTO;
    if (!isOfThePhone || stopError.empty()) return info.reason;
    return info.reason + (": " + std::exchange(stopError, {}));
}

eReturnCode Host::configure(void* context, quarloSession* session, void* instance) {
    Host& host = hostOf(context);
    host.screen.reshape(host.frame.size, host.frame.layout);
    host.setLastError({});
    host.registerCallbacks(instance);
    const std::string problem = host.setUp(instance);
    if (problem.empty()) return eRETURN_OKAY;
    host.mailbox.failed(problem);
    quarloSession_Stop(session);
    return eRETURN_NOT_SUPPORTED;
}

void Host::frameChanged(void* context, quarloSession*, const quarloFrameChangeInfo* info) {
    Host& host = hostOf(context);
    const Frame frame = frameOf(*info->frames);
    if (info->phase == eCHANGEPHASE_Changing) host.screen.reshape(frame.size, frame.layout);
    if (info->phase == eCHANGEPHASE_Over) host.frame = frame;
    host.mailbox.tell({info->phase, info->result, frame});
}

/* ---- the library's threads ---- */

void Host::carried(void* context, const quarloPiece* piece) {
    Host& host = hostOf(context);
    (piece->direction == eDIRECTION_ToPhone ? host.sent : host.received) += piece->count;
}

void Host::traced(void* context, eTraceClass traceClass, char* text) {
    Host& host = hostOf(context);
    const std::string line = text;
    if ((host.options.trace & traceClass) != eTRACECLASS_NONE) {
        host.log.line(quarlo_getTraceClassPrefix(traceClass), line);
    }
    const bool isReport = line.starts_with("error callback with code");
    if (traceClass == eTRACECLASS_ERROR && !isReport) host.setLastError(printable(line));
}

void Host::protocolChanged(void* context, eProtocolState state) {
    Host& host = hostOf(context);
    host.log.line("CALL", format("protocol state %s", quarloName_OfState(state)));
    host.mailbox.happened({"state", quarloName_OfState(state)});
    if (state == ePROTOCOL_STATE_RUN) return host.services.reportPhone();
    host.stopError = host.lastErrorText();
}

void Host::errorReported(void* context, eErrorCode code) {
    hostOf(context).services.tell("error", quarloName_OfError(code));
}

void Host::threadStarted(void* context) {
    hostOf(context).log.line("CALL", "receiver thread started");
}

void Host::threadEnded(void* context) {
    hostOf(context).log.line("CALL", "receiver thread ended");
}

void Host::updateStarted(void* context, UInt8 rectangles) {
    Host& host = hostOf(context);
    host.log.line("CALL", format("update of %u rectangles", unsigned{rectangles}));
    host.screen.begin(rectangles);
}

void Host::rectangleDecoded(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                            UInt16 height, UInt8* data, UInt32 length) {
    Host& host = hostOf(context);
    const Area area{x, y, width, height};
    const std::string remark = host.screen.drawDecoded(index, area, {data, length});
    host.logRectangle(index, area, length, remark);
}

void Host::rectangleSent(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                         UInt16 height, UInt8* data, UInt32 length, UInt8 horizontal,
                         UInt8 vertical, PixelFormat format, PixelEndianess order,
                         FrameCompression compression) {
    Host& host = hostOf(context);
    const Area area{x, y, width, height};
    const RawRectangle rectangle{area,        horizontal,    vertical, {format, order},
                                 compression, {data, length}};
    std::string remark = " " + nameOfCompressions(compression);
    const std::string problem = host.screen.drawRaw(index, rectangle);
    if (!problem.empty()) remark += ", " + problem;
    host.logRectangle(index, area, length, remark);
}

void Host::updateEnded(void* context) {
    Host& host = hostOf(context);
    Update update = host.screen.end();
    host.log.line("CALL", format("end of update %u", update.number));
    if (update.arrived != update.announced) {
        const std::string reason = host.lastErrorText();
        if (!reason.empty()) update.problem += ": " + reason;
    }
    host.mailbox.post(std::move(update));
}

void Host::logRectangle(unsigned index, const Area& area, UInt32 length,
                        const std::string& remark) {
    log.line("CALL", format("  rectangle %u at (%u, %u) of %u x %u, %u bytes", index, area.x,
                            area.y, area.width, area.height, length) +
                         (remark.empty() ? "" : ": " + remark));
}

void Host::setLastError(const std::string& text) {
    const std::lock_guard guard(lock);
    lastError = text;
}

std::string Host::lastErrorText() {
    const std::lock_guard guard(lock);
    return lastError;
}

}  // namespace quarlo::headunit
