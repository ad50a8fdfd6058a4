/**
 * @file
 * The head unit's side of one session: an instance on a link, a host that checks what it is given
 * in its callbacks, and a thread of it that calls the API.
 */
#ifndef QUARLO_SOAK_HEADUNIT_H
#define QUARLO_SOAK_HEADUNIT_H

#include <thread>

#include "Exchange.h"
#include "QUARLO-Core.h"
#include "Random.h"
#include "quarlo-links.h"

namespace quarlo::soak {

/** How a session is set up; both ends know it. */
struct Setting {
    int width = 320;
    int height = 192;
    PixelLayout layout;
    bool hasWatchdog = false;
    bool hasInitTimer = false;
    unsigned pause = 1000;  ///< longest pause of the host's thread between calls, microseconds
    UInt32 number = 0;      ///< of the session
    std::string name;       ///< for failures: which session this is
};

class HeadUnit {
  public:
    /** Takes the link and starts. */
    HeadUnit(Exchange& shared, const Setting& how, quarloLink* transport, std::uint64_t seed);
    /** Ends whatever still runs. */
    ~HeadUnit();
    HeadUnit(const HeadUnit&) = delete;
    HeadUnit& operator=(const HeadUnit&) = delete;

    /** The host's thread makes no more calls; it has ended when isQuiet() says so. */
    void quieten() { mustEnd = true; }
    bool isQuiet() const { return hasEnded; }

  private:
    void configure();
    void listen();
    void work(std::uint64_t seed);
    void callOnce(Random& random);
    void sendNumbered(Channel& channel, UInt16 identifier, std::size_t length);
    void arrive(std::uint64_t number);
    void check(UInt16 x, UInt16 y, UInt16 width, UInt16 height, const UInt8* data, UInt32 length);
    void answerAudio(AudioControl control, UInt32 id) const;
    void report(eErrorCode code) const;
    void fail(const std::string& what) const;

    Exchange& exchange;
    const Setting setting;
    quarloLink* const link;
    void* instance = nullptr;
    std::atomic<bool> mustEnd{false};
    std::atomic<bool> hasEnded{false};
    std::thread thread;
};

/** The numbered channels of the raw custom data to the phone. */
constexpr UInt16 hostChannel = 1;
constexpr UInt16 callbackChannel = 2;

}  // namespace quarlo::soak

#endif
