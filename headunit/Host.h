/*
 * The head unit as the library's host: a session with the phone over all its connections, each
 * instance configured from the options and the changes made since, and what is called back turned
 * into log lines and news for the main thread. The main thread starts it, asks it and closes it;
 * callbacks come on the session's thread and the library's.
 */
#ifndef HEADUNIT_HOST_H
#define HEADUNIT_HOST_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "Features.h"
#include "Mailbox.h"
#include "MirroredScreen.h"
#include "Options.h"
#include "QUARLO-Core.h"
#include "common/Log.h"
#include "quarlo-links.h"

namespace quarlo::headunit {

/** The library's process-wide state, while it exists. */
struct Library {
    Library() { quarlo_Init(); }
    ~Library() { quarlo_Shutdown(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

/** The instance that a session has at present, for one call; null while it has none. */
class Borrowed {
  public:
    explicit Borrowed(quarloSession* lender)
        : session(lender), instance(quarloSession_Acquire(lender)) {}
    ~Borrowed() {
        if (instance != nullptr) quarloSession_Release(session);
    }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    operator void*() const { return instance; }

  private:
    quarloSession* const session;
    void* const instance;
};

class Host {
  public:
    Host(const Options& options, Log& log, Mailbox& mailbox);
    ~Host() { close(); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /** @return empty, or why there is no session */
    std::string start();
    /** Ends the session; nothing is called back any more. */
    void close();

    /** Asks for the whole screen, or for what has changed on it. */
    void request(Size size, bool isFull);
    void suspend(bool isSuspended);
    /**
     * Asks for a change of what frames look like; how it ends is news.
     * @param wanted what was asked for before; this change too, if the session takes it
     */
    eReturnCode change(const Change& change, Frame& wanted);

    Borrowed instance() const { return Borrowed(session); }
    Features& features() { return services; }
    Picture picture() { return screen.copy(); }
    /* Of all connections. */
    UInt64 bytesReceived() const { return received; }
    UInt64 bytesSent() const { return sent; }

  private:
    static void stateChanged(void* context, quarloSession* session, const quarloSessionInfo* info);
    static eReturnCode configure(void* context, quarloSession* session, void* instance);
    static void frameChanged(void* context, quarloSession* session,
                             const quarloFrameChangeInfo* info);
    static void carried(void* context, const quarloPiece* piece);
    static void traced(void* context, eTraceClass traceClass, char* text);
    static void protocolChanged(void* context, eProtocolState state);
    static void errorReported(void* context, eErrorCode code);
    static void threadStarted(void* context);
    static void threadEnded(void* context);
    static void updateStarted(void* context, UInt8 rectangles);
    static void rectangleDecoded(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                                 UInt16 height, UInt8* data, UInt32 length);
    static void rectangleSent(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                              UInt16 height, UInt8* data, UInt32 length, UInt8 horizontal,
                              UInt8 vertical, PixelFormat format, PixelEndianess order,
                              FrameCompression compression);
    static void updateEnded(void* context);

    std::string listen();
    quarloTransport transport() const;
    quarloSessionConfig config();
    void registerCallbacks(void* instance);
    std::string setUp(void* instance);
    FrameCompression wantedCompressions() const;
    void explainMissing(FrameCompression wanted);
    quarloFrameChange describe(UInt32 what, const Frame& described) const;
    void logRectangle(unsigned index, const Area& area, UInt32 length, const std::string& remark);
    std::string reasonOf(const quarloSessionInfo& info);
    std::string lastErrorText();
    void setLastError(const std::string& text);

    struct CloseListener {
        void operator()(quarloListener* open) const { quarloListener_Close(open); }
    };

    const Options& options;
    Log& log;
    Mailbox& mailbox;
    Frame frame;  // what the session keeps; its thread's
    MirroredScreen screen;
    Features services;
    std::atomic<UInt64> received{0};
    std::atomic<UInt64> sent{0};
    std::string stopError;  // the last one before STOP; the session's thread when that has ended
    std::mutex lock;
    std::string lastError;  // the last error trace; guarded by lock
    std::unique_ptr<quarloListener, CloseListener> listener;  // outlives the session
    quarloSession* session = nullptr;                         // main thread
};

}  // namespace quarlo::headunit

#endif
