/*
 * One instance of the library: configured from the options, its callbacks turned into log lines and
 * news for the main thread. The main thread starts it, changes it and ends it; callbacks come on
 * the library's threads.
 */
#ifndef HEADUNIT_SESSION_H
#define HEADUNIT_SESSION_H

#include <mutex>
#include <string>

#include "Features.h"
#include "Log.h"
#include "Mailbox.h"
#include "Options.h"
#include "QUARLO-Core.h"
#include "Screen.h"
#include "Transport.h"

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
    Session(const Options& options, Transport& transport, Log& log, Mailbox& mailbox);
    /** Ends the library's threads. */
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /** @return empty, or why the session could not be started */
    std::string start();

    /** To be called once, in RUN and before the first request: goes to the frame of the options. */
    void settle();
    /** Asks for the whole screen, or for what has changed on it. */
    void request(bool isFull);
    void change(const Change& change);

    Features& features() { return services; }
    void* handle() const { return instance; }
    Picture picture() { return screen.copy(); }
    Size extent() const { return size; }
    const Transport& stream() const { return transport; }

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
    void declareLargest();
    void setLayout(PixelLayout wanted);
    void setSize(Size wanted);
    void logRectangle(unsigned index, const Area& area, UInt32 length, const std::string& remark);
    std::string causeOf(eErrorCode code);
    std::string stopCause();
    std::string lastErrorText();

    const Options& options;
    Transport& transport;
    Log& log;
    Mailbox& mailbox;
    Size size;                  // main thread
    PixelLayout layout;         // main thread
    bool isLayoutOpen = false;  // declared otherwise at the start; main thread
    bool isSizeOpen = false;    // main thread
    Screen screen;
    Features services;
    std::mutex lock;
    std::string lastError;  // the last error trace; guarded by lock
    void* instance;
};

}  // namespace quarlo::headunit

#endif
