/*
 * The services that head unit and phone offer each other beside the screen: registers their
 * callbacks, reports each one and answers where nobody else does. Callbacks come on the library's
 * threads; the main thread asks for icons. A lock guards what both touch.
 */
#ifndef HEADUNIT_FEATURES_H
#define HEADUNIT_FEATURES_H

#include <atomic>
#include <mutex>
#include <string>

#include "Mailbox.h"
#include "Options.h"
#include "Reports.h"
#include "Store.h"
#include "common/Log.h"

namespace quarlo::headunit {

class Features {
  public:
    Features(const Options& options, Log& log, Mailbox& mailbox);

    /** Before the start; the callbacks' context must be a Host with these features. */
    void attach(void* instanceHandle);

    /** Logs a callback and makes it known to the script. */
    void tell(const char* callback, const std::string& text);
    /** What the phone said of itself in the handshake. */
    void reportPhone();
    /* From outside of the instance's callbacks, with the instance as it is borrowed. */
    /** The phone's catalogue. */
    eReturnCode reportApps(void* borrowed);
    /** The answer is written as a picture. */
    eReturnCode requestIcon(void* borrowed, const std::string& url, Size size);
    /** The request that the phone made last, 0 before the first. */
    UInt32 latestAudio() const { return audioRequest; }

  private:
    void registerStates();
    void registerServices();
    void registerCustomData();
    void declare();
    void onAudio(AudioControl command, UInt32 request, AudioType type);
    void onIcon(const AppIconResponse& icon);
    void onBlock(ServerCustomDataRawType operation, UInt16 identifier,
                 std::span<const UInt8> bytes);
    std::string saveIcon(const AppIconResponse& icon);

    const Options& options;
    Log& log;
    Mailbox& mailbox;
    void* instance = nullptr;  // the last one; for its callbacks
    std::atomic<UInt32> audioRequest{0};
    HostStore store{options.store};  // receiver thread
    std::mutex lock;
    std::string iconUrl;  // guarded by lock
    Size iconSize;        // guarded by lock
};

}  // namespace quarlo::headunit

#endif
