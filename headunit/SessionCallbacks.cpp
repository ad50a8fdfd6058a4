#include "Session.h"

namespace quarlo::headunit {
namespace {

Session& sessionOf(void* context) {
    return *static_cast<Session*>(context);
}

// What is wrong with an update is judged when it ends.
bool isOfAPicture(eErrorCode code) {
    return code == eERRORCODE_Z_DATA_ERROR || code == eERRORCODE_JPEG_ERROR ||
           code == eERRORCODE_FRAME_SIZE_MISMATCH;
}

}  // namespace

void Session::traced(void* context, eTraceClass traceClass, char* text) {
    Session& session = sessionOf(context);
    const std::string line = text;
    if ((session.options.trace & traceClass) != eTRACECLASS_NONE) {
        session.log.line(quarlo_getTraceClassPrefix(traceClass), line);
    }
    // No callback says that the phone has acknowledged.
    const bool isInformation = traceClass == eTRACECLASS_INFORMATION;
    if (isInformation && line.starts_with("OverrideCompressionAcknowledge"))
        session.mailbox.acknowledged();
    const bool isReport = line.starts_with("error callback with code");
    if (traceClass == eTRACECLASS_ERROR && !isReport) session.setLastError(printable(line));
}

void Session::stateChanged(void* context, eProtocolState state) {
    Session& session = sessionOf(context);
    session.log.line("CALL", format("protocol state %s", nameOf(state)));
    session.mailbox.happened({"state", nameOf(state)});
    if (state == ePROTOCOL_STATE_RUN) {
        session.services.reportPhone();
        session.mailbox.running();
    } else {
        session.mailbox.failed(session.stopCause());
    }
}

void Session::errorReported(void* context, eErrorCode code) {
    Session& session = sessionOf(context);
    session.services.tell("error", nameOf(code));
    if (!isOfAPicture(code)) session.mailbox.failed(session.causeOf(code));
}

void Session::threadStarted(void* context) {
    sessionOf(context).log.line("CALL", "receiver thread started");
}

void Session::threadEnded(void* context) {
    sessionOf(context).log.line("CALL", "receiver thread ended");
}

void Session::endRequested(void* context) {
    Session& session = sessionOf(context);
    session.log.line("CALL", "end of the receiver requested");
    quarloLink_EndReceiverRequest(context);
}

void Session::updateStarted(void* context, UInt8 rectangles) {
    Session& session = sessionOf(context);
    session.log.line("CALL", format("update of %u rectangles", unsigned{rectangles}));
    session.screen.begin(rectangles);
}

void Session::rectangleDecoded(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                               UInt16 height, UInt8* data, UInt32 length) {
    Session& session = sessionOf(context);
    const Area area{x, y, width, height};
    const std::string remark = session.screen.drawDecoded(index, area, {data, length});
    session.logRectangle(index, area, length, remark);
}

void Session::rectangleSent(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                            UInt16 height, UInt8* data, UInt32 length, UInt8 horizontal,
                            UInt8 vertical, PixelFormat format, PixelEndianess order,
                            FrameCompression compression) {
    Session& session = sessionOf(context);
    const Area area{x, y, width, height};
    const RawRectangle rectangle{area,        horizontal,    vertical, {format, order},
                                 compression, {data, length}};
    std::string remark = " " + nameOfCompressions(compression);
    const std::string problem = session.screen.drawRaw(index, rectangle);
    if (!problem.empty()) remark += ", " + problem;
    session.logRectangle(index, area, length, remark);
}

void Session::updateEnded(void* context) {
    Session& session = sessionOf(context);
    Update update = session.screen.end();
    session.log.line("CALL", format("end of update %u", update.number));
    if (update.arrived != update.announced) {
        const std::string reason = session.lastErrorText();
        if (!reason.empty()) update.problem += ": " + reason;
    }
    session.mailbox.post(std::move(update));
}

void Session::logRectangle(unsigned index, const Area& area, UInt32 length,
                           const std::string& remark) {
    log.line("CALL", format("  rectangle %u at (%u, %u) of %u x %u, %u bytes", index, area.x,
                            area.y, area.width, area.height, length) +
                         (remark.empty() ? "" : ": " + remark));
}

void Session::setLastError(const std::string& text) {
    const std::lock_guard guard(lock);
    lastError = text;
}

std::string Session::lastErrorText() {
    const std::lock_guard guard(lock);
    return lastError;
}

std::string Session::endOfLink() const {
    char text[120];
    quarloLink_GetEndText(link.get(), text, sizeof text);
    return text;
}

// Why the library says STOP: the stream's own end, or what the last error trace says.
std::string Session::stopCause() {
    if (std::string end = endOfLink(); !end.empty()) return end;
    const std::string reason = lastErrorText();
    return "the session was stopped" + (reason.empty() ? "" : ": " + reason);
}

std::string Session::causeOf(eErrorCode code) {
    switch (code) {
        case eERRORCODE_CONNECTION_TIMEOUT:
            return format("no sign of life from the phone for %u s", options.watchdog);
        case eERRORCODE_INITIALIZATION_TIMEOUT:
            return format("RUN was not reached within %u s", options.initTimeout);
        case eERRORCODE_PROTOCOL_STOP:
        case eERRORCODE_CONNECTION_EOF_ZERO:
        case eERRORCODE_INITIALIZATION_ABORT:
            return stopCause();
        default:
            break;
    }
    const std::string reason = lastErrorText();
    return std::string("error ") + nameOf(code) + (reason.empty() ? "" : ": " + reason);
}

}  // namespace quarlo::headunit
