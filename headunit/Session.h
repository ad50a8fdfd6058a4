/*
 * The connection to the phone: on each open link an instance of the library, configured from the
 * options and the changes made since, its callbacks turned into log lines and news for the main
 * thread. The main thread starts it, changes it and closes it; callbacks come on the library's
 * threads.
 */
#ifndef HEADUNIT_SESSION_H
#define HEADUNIT_SESSION_H

#include <mutex>
#include <string>

#include "Connect.h"
#include "Features.h"
#include "Mailbox.h"
#include "MirroredScreen.h"
#include "Options.h"
#include "QUARLO-Core.h"
#include "common/Log.h"

namespace quarlo::headunit {

/** The library's process-wide state, while it exists. */
struct Library {
    Library() { quarlo_Init(); }
    ~Library() { quarlo_Shutdown(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Session {
  public:
    Session(const Options& options, Log& log, Mailbox& mailbox);
    ~Session() { close(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /** @return empty, or why the session could not be started */
    std::string start(Link opened);
    /** Ends the library's threads, then the connection. May be started anew afterwards. */
    void close();
    bool isOpen() const { return instance != nullptr; }

    /** To be called once per start, in RUN and before the first request: goes to the frame of the
     * options. */
    void settle();
    /** Asks for the whole screen, or for what has changed on it. */
    void request(bool isFull);
    /** While it is not open: for the next start. */
    void change(const Change& change);
    /** Asks for the compression that was asked for last: the phone acknowledges it. */
    void changeNothing();

    Features& features() { return services; }
    void* handle() const { return instance; }
    Picture picture() { return screen.copy(); }
    Size extent() const { return size; }
    /* Of all connections. */
    UInt64 bytesReceived() const;
    UInt64 bytesSent() const;

  private:
    static void traced(void* context, eTraceClass traceClass, char* text);
    static void stateChanged(void* context, eProtocolState state);
    static void errorReported(void* context, eErrorCode code);
    static void threadStarted(void* context);
    static void threadEnded(void* context);
    static void endRequested(void* context);
    static void updateStarted(void* context, UInt8 rectangles);
    static void rectangleDecoded(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                                 UInt16 height, UInt8* data, UInt32 length);
    static void rectangleSent(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width,
                              UInt16 height, UInt8* data, UInt32 length, UInt8 horizontal,
                              UInt8 vertical, PixelFormat format, PixelEndianess order,
                              FrameCompression compression);
    static void updateEnded(void* context);

    void registerCallbacks();
    std::string configure();
    FrameCompression wantedCompressions() const;
    void explainMissing(FrameCompression wanted);
    void declareLargest();
    void setLayout(PixelLayout wanted);
    void setSize(Size wanted);
    void logRectangle(unsigned index, const Area& area, UInt32 length, const std::string& remark);
    std::string causeOf(eErrorCode code);
    std::string stopCause();
    std::string endOfLink() const;
    std::string lastErrorText();
    void setLastError(const std::string& text);

    const Options& options;
    Log& log;
    Mailbox& mailbox;
    Size size;                     // main thread
    PixelLayout layout;            // main thread
    FrameCompression compression;  // main thread
    bool isLayoutOpen = false;     // declared otherwise at the start; main thread
    bool isSizeOpen = false;       // main thread
    MirroredScreen screen;
    Features services;
    std::mutex lock;
    std::string lastError;     // the last error trace; guarded by lock
    Link link;                 // outlives the instance
    void* instance = nullptr;  // main thread
    UInt64 earlierReceived = 0;
    UInt64 earlierSent = 0;
};

}  // namespace quarlo::headunit

#endif
