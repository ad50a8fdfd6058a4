#include "Session.h"

#include <algorithm>

#include "PlugIns.h"

namespace quarlo::headunit {
namespace {

// The library wants texts that it does not write to as pointers to char.
char* asArgument(const std::string& text) {
    return const_cast<char*>(text.c_str());
}

}  // namespace

Session::Session(const Options& given, Log& output, Mailbox& receiver)
    : options(given),
      log(output),
      mailbox(receiver),
      size(given.size),
      layout(given.layout),
      compression(given.compression),
      screen(given.size, given.layout, given.output.empty() || given.script ? 0 : given.every),
      services(given, output, receiver) {}

std::string Session::start(Link opened) {
    link = std::move(opened);
    instance = quarlo_CreateInstance(link.get(), options.name.c_str());
    if (instance == nullptr) return "no memory for the session";
    mailbox.reopen();
    setLastError({});
    registerCallbacks();
    if (std::string problem = configure(); !problem.empty()) return problem;
    declareLargest();
    Int32 error = 0;
    if (quarlo_StartMainThreadEx(instance, &error) == 0) {
        return format("the library does not start (error %d)", error);
    }
    return {};
}

void Session::close() {
    mailbox.close();
    quarlo_DeleteInstance(instance);
    instance = nullptr;
    services.detach();
    earlierReceived = bytesReceived();
    earlierSent = bytesSent();
    link.reset();
}

UInt64 Session::bytesReceived() const {
    return earlierReceived + quarloLink_GetBytesReceived(link.get());
}

UInt64 Session::bytesSent() const {
    return earlierSent + quarloLink_GetBytesSent(link.get());
}

void Session::registerCallbacks() {
    quarloLink_Attach(link.get(), instance, this);
    quarlo_SetTraceOutput(instance, traced);
    // Error traces are wanted for the reason of a failure, whether they are shown or not.
    quarlo_SetTraceClass(instance, options.trace | eTRACECLASS_ERROR | eTRACECLASS_INFORMATION);
    quarlo_SetEndReceiverRequestCallback(instance, endRequested);
    quarlo_SetProtocolCallback(instance, stateChanged);
    quarlo_SetErrorCallback(instance, errorReported);
    quarlo_SetOnMainThreadStartCallback(instance, threadStarted);
    quarlo_SetOnMainThreadEndCallback(instance, threadEnded);
    quarlo_SetFrameUpdateStartCallback(instance, updateStarted);
    quarlo_SetFrameUpdateCallback(instance, rectangleDecoded);
    quarlo_SetFrameUpdateRawCallback(instance, rectangleSent);
    quarlo_SetFrameUpdateEndCallback(instance, updateEnded);
    services.attach(instance);
}

std::string Session::configure() {
    if (!options.dump.empty()) {
        quarlo_SetDumpProperties(instance, 1, 0, 0, asArgument(options.dump));
    }
    quarlo_SetInitialisationTimeout(instance, static_cast<UInt8>(options.initTimeout));
    if (options.watchdog != 0) {
        quarlo_EnablePingWatchdog(instance, 1, static_cast<UInt8>(options.watchdog));
    }
    if (!options.language.empty()) {
        quarlo_SetISO639LanguageCode(instance,
                                     reinterpret_cast<UInt8*>(asArgument(options.language)));
    }
    quarlo_SetFrameOutputType(instance, options.rawOutput ? 1 : 0);
    quarlo_OverrideCompressionFormat(instance, compression);
    explainMissing(wantedCompressions());
    if (options.supported &&
        quarlo_SetSupportedCompressions(instance, *options.supported) != eRETURN_OKAY) {
        return "no plug-in decodes all of " + nameOfCompressions(*options.supported);
    }
    return {};
}

FrameCompression Session::wantedCompressions() const {
    FrameCompression wanted = compression;
    if (options.supported) wanted |= *options.supported;
    for (const Command& command : options.commands) {
        const auto* other = std::get_if<SetCompression>(&command.change);
        if (other != nullptr) wanted |= other->compression;
    }
    return wanted;
}

// What the user has excluded himself is no news to him.
void Session::explainMissing(FrameCompression wanted) {
    if (options.rawOutput) return;
    if (options.supported) wanted &= *options.supported;
    for (const std::string& line : missingPlugIns(wanted)) log.line("LIB", line);
}

void Session::setLayout(PixelLayout wanted) {
    quarlo_SetPixelFormat(instance, wanted.format, bytesPerPixel(wanted.format), wanted.order);
}

void Session::setSize(Size wanted) {
    const auto length = [](int value) { return static_cast<UInt32>(value); };
    const Size physical = options.physicalSize;
    quarlo_SetFrameSize(instance, length(wanted.width), length(wanted.height),
                        length(physical.width), length(physical.height));
}

// The library's receive buffer is as large as the frame declared at the start, and a phone that
// knows this cuts what is larger into several updates. So the largest frame that the session will
// come to is declared first.
void Session::declareLargest() {
    Size largest{std::max(size.width, options.largest.width),
                 std::max(size.height, options.largest.height)};
    PixelLayout deepest = layout;
    for (const Command& command : options.commands) {
        if (const auto* other = std::get_if<SetSize>(&command.change)) {
            largest.width = std::max(largest.width, other->size.width);
            largest.height = std::max(largest.height, other->size.height);
        }
        const auto* other = std::get_if<SetFormat>(&command.change);
        if (other != nullptr && bytesPerPixel(other->format) > bytesPerPixel(deepest.format)) {
            deepest.format = other->format;
        }
    }
    if (options.script) {
        const Script& script = *options.script;
        largest.width = std::max(largest.width, script.largest.width);
        largest.height = std::max(largest.height, script.largest.height);
        const PixelFormat other = script.deepest.value_or(deepest.format);
        if (bytesPerPixel(other) > bytesPerPixel(deepest.format)) deepest.format = other;
    }
    setLayout(deepest);
    setSize(largest);
    isLayoutOpen = deepest != layout;
    isSizeOpen = largest != size;
}

void Session::settle() {
    if (isLayoutOpen) setLayout(layout);
    if (isSizeOpen) setSize(size);
}

void Session::request(bool isFull) {
    quarlo_FramebufferUpdateRequest(instance, 0, 0, static_cast<UInt16>(size.width),
                                    static_cast<UInt16>(size.height), isFull ? 0 : 1);
}

void Session::changeNothing() {
    quarlo_OverrideCompressionFormat(instance, compression);
}

void Session::change(const Change& change) {
    if (const auto* suspended = std::get_if<SetSuspended>(&change)) {
        quarlo_FrameRequestStatus(instance, suspended->isSuspended ? 1 : 0);
    } else if (const auto* asked = std::get_if<SetCompression>(&change)) {
        compression = asked->compression;
        explainMissing(compression);
        quarlo_OverrideCompressionFormat(instance, compression);
    } else if (const auto* other = std::get_if<SetSize>(&change)) {
        size = other->size;
        screen.reshape(size, layout);
        setSize(size);
    } else if (!std::holds_alternative<Refresh>(change)) {
        if (const auto* format = std::get_if<SetFormat>(&change)) layout.format = format->format;
        if (const auto* order = std::get_if<SetOrder>(&change)) layout.order = order->order;
        screen.reshape(size, layout);
        setLayout(layout);
    }
}

}  // namespace quarlo::headunit
