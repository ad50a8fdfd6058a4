#include "Host.h"

#include <algorithm>
#include <fstream>

namespace quarlo::headunit {
namespace {

// The library wants texts that it does not write to as pointers to char.
char* asArgument(const std::string& text) {
    return const_cast<char*>(text.c_str());
}

UInt32 milliseconds(double seconds) {
    return static_cast<UInt32>(seconds * 1000);
}

void widen(Frame& frame, Size size, PixelFormat format) {
    frame.size = {std::max(frame.size.width, size.width), std::max(frame.size.height, size.height)};
    if (bytesPerPixel(format) > frame.layout.bytesPerPixel()) frame.layout.format = format;
}

// The library's receive buffer is as large as the frame declared at the start, and a phone that
// knows this cuts what is larger into several updates. So the largest frame that the session will
// come to is declared first.
Frame largestOf(const Options& options) {
    Frame largest = options.frame();
    widen(largest, options.largest, largest.layout.format);
    for (const Command& command : options.commands) {
        const Frame next = with(command.change, largest);
        widen(largest, next.size, next.layout.format);
    }
    if (!options.script) return largest;
    const Script& script = *options.script;
    widen(largest, script.largest, script.deepest.value_or(largest.layout.format));
    return largest;
}

UInt32 bitOf(const Change& change) {
    if (std::holds_alternative<SetSize>(change)) return eFRAMECHANGE_Size;
    if (std::holds_alternative<SetCompression>(change)) return eFRAMECHANGE_Compression;
    if (std::holds_alternative<Refresh>(change)) return eFRAMECHANGE_Fence;
    return eFRAMECHANGE_PixelFormat;
}

}  // namespace

Host::Host(const Options& given, Log& output, Mailbox& receiver)
    : options(given),
      log(output),
      mailbox(receiver),
      frame(given.frame()),
      screen(frame.size, frame.layout, given.output.empty() || given.script ? 0 : given.every),
      services(given, output, receiver) {}

std::string Host::start() {
    if (options.listens) {
        if (std::string problem = listen(); !problem.empty()) return problem;
    }
    const quarloTransport place = transport();
    quarloObserver observer{};
    observer.size = sizeof observer;
    observer.context = this;
    observer.piece = carried;
    const UInt32 surface = eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat;
    const quarloFrameChange frames = describe(surface | eFRAMECHANGE_Compression, frame);
    const quarloFrameChange largest = describe(surface, largestOf(options));
    quarloSessionConfig wanted = config();
    wanted.transport = &place;
    wanted.observer = &observer;
    wanted.frames = &frames;
    wanted.largest = &largest;
    quarloLinkFailure failure{};
    session = quarloSession_Start(&wanted, &failure);
    return session != nullptr ? std::string() : failure.text;
}

// Opened here and not by the session, so that the port is known, and that there is no second try.
std::string Host::listen() {
    const Endpoint& place = options.endpoint;
    quarloLinkFailure failure{};
    listener.reset(place.path.empty()
                       ? quarloListener_OpenTcp(place.host.c_str(), place.port, &failure)
                       : quarloListener_OpenUnix(place.path.c_str(), &failure));
    if (!listener) return failure.text;
    const UInt16 port = quarloListener_GetPort(listener.get());
    const Endpoint actual = place.path.empty() ? Endpoint::tcp(place.host, port) : place;
    log.line("LINK", "waiting on " + actual.text());
    if (options.portFile.empty() || std::ofstream(options.portFile) << port << std::endl) return {};
    return "cannot write " + options.portFile;
}

quarloTransport Host::transport() const {
    const Endpoint& place = options.endpoint;
    quarloTransport wanted{};
    wanted.size = sizeof wanted;
    if (options.listens) {
        wanted.kind = eTRANSPORT_Listener;
        wanted.listener = listener.get();
    } else if (!place.path.empty()) {
        wanted.kind = eTRANSPORT_UnixClient;
        wanted.address = place.path.c_str();
    } else if (!place.device.empty()) {
        wanted.kind = eTRANSPORT_Serial;
        wanted.address = place.device.c_str();
        wanted.baudRate = place.baudRate;
    } else {
        wanted.kind = eTRANSPORT_TcpClient;
        wanted.address = place.host.c_str();
        wanted.port = place.port;
    }
    return wanted;
}

quarloSessionConfig Host::config() {
    quarloSessionConfig wanted{};
    wanted.size = sizeof wanted;
    wanted.description = options.name.c_str();
    wanted.context = this;
    wanted.configure = configure;
    wanted.stateCallback = stateChanged;
    wanted.protocolCallback = protocolChanged;
    wanted.errorCallback = errorReported;
    wanted.changeCallback = frameChanged;
    wanted.capture = options.captured;
    wanted.connectLimit = milliseconds(options.connectTimeout.value_or(0));
    wanted.handshakeLimit = options.initTimeout == 0 ? UINT32_MAX : options.initTimeout * 1000;
    wanted.giveUpAfter = milliseconds(options.reconnect.value_or(0));
    // Who gives up sooner than the session would call a connection a success calls it so sooner.
    if (wanted.giveUpAfter != 0) wanted.lastingRun = std::min(wanted.giveUpAfter, 10000U);
    return wanted;
}

void Host::close() {
    mailbox.close();
    quarloSession_Delete(session);
    session = nullptr;
    listener.reset();
}

void Host::registerCallbacks(void* instance) {
    quarlo_SetTraceOutput(instance, traced);
    // Error traces are wanted for the reason of a failure, whether they are shown or not.
    quarlo_SetTraceClass(instance, options.trace | eTRACECLASS_ERROR);
    quarlo_SetOnMainThreadStartCallback(instance, threadStarted);
    quarlo_SetOnMainThreadEndCallback(instance, threadEnded);
    quarlo_SetFrameUpdateStartCallback(instance, updateStarted);
    quarlo_SetFrameUpdateCallback(instance, rectangleDecoded);
    quarlo_SetFrameUpdateRawCallback(instance, rectangleSent);
    quarlo_SetFrameUpdateEndCallback(instance, updateEnded);
    services.attach(instance);
}

std::string Host::setUp(void* instance) {
    if (!options.dump.empty()) {
        quarlo_SetDumpProperties(instance, 1, 0, 0, asArgument(options.dump));
    }
    if (options.watchdog != 0) {
        quarlo_EnablePingWatchdog(instance, 1, static_cast<UInt8>(options.watchdog));
    }
    if (!options.language.empty()) {
        quarlo_SetISO639LanguageCode(instance,
                                     reinterpret_cast<UInt8*>(asArgument(options.language)));
    }
    quarlo_SetFrameOutputType(instance, options.rawOutput ? 1 : 0);
    explainMissing(wantedCompressions());
    if (options.supported &&
        quarlo_SetSupportedCompressions(instance, *options.supported) != eRETURN_OKAY) {
        return "no plug-in decodes all of " + nameOfCompressions(*options.supported);
    }
    return {};
}

FrameCompression Host::wantedCompressions() const {
    FrameCompression wanted = frame.compression | options.supported.value_or(0);
    for (const Command& command : options.commands) {
        const auto* other = std::get_if<SetCompression>(&command.change);
        if (other != nullptr) wanted |= other->compression;
    }
    return wanted;
}

// What the user has excluded himself is no news to him.
void Host::explainMissing(FrameCompression wanted) {
    if (options.rawOutput) return;
    if (options.supported) wanted &= *options.supported;
    const auto say = [](void* context, const char* line) {
        static_cast<const Log*>(context)->line("LIB", line);
    };
    quarloPlugIns_Explain(wanted, say, &log);
}

void Host::request(Size size, bool isFull) {
    quarlo_FramebufferUpdateRequest(instance(), 0, 0, static_cast<UInt16>(size.width),
                                    static_cast<UInt16>(size.height), isFull ? 0 : 1);
}

void Host::suspend(bool isSuspended) {
    quarlo_FrameRequestStatus(instance(), isSuspended ? 1 : 0);
}

quarloFrameChange Host::describe(UInt32 what, const Frame& described) const {
    const auto length = [](int value) { return static_cast<UInt32>(value); };
    const auto& [size, layout, compression] = described;
    quarloFrameChange change{};
    change.size = sizeof change;
    change.what = what;
    change.width = length(size.width);
    change.height = length(size.height);
    change.physicalWidth = length(options.physicalSize.width);
    change.physicalHeight = length(options.physicalSize.height);
    change.bytesPerPixel = layout.bytesPerPixel();
    change.format = layout.format;
    change.order = layout.order;
    change.compression = compression;
    return change;
}

eReturnCode Host::change(const Change& change, Frame& wanted) {
    const Frame next = with(change, wanted);
    if (std::holds_alternative<SetCompression>(change)) explainMissing(next.compression);
    const quarloFrameChange asked = describe(bitOf(change), next);
    // The frames under way may need this thread to be taken from the mailbox: so it must not wait.
    const eReturnCode result = quarloSession_ChangeFrames(session, &asked, nullptr);
    if (result == eRETURN_OKAY) wanted = next;
    return result;
}

}  // namespace quarlo::headunit
