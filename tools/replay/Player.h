/*
 * Plays what the phone has sent in one connection to an instance, piece by piece, and prints what
 * the host gets. All of it happens on the receiver thread, in the link, so that a piece has been
 * handled when the next is asked for; play() only waits.
 */
#ifndef REPLAY_PLAYER_H
#define REPLAY_PLAYER_H

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Callbacks.h"
#include "Capture.h"
#include "QUARLO-Core.h"
#include "common/Values.h"
#include "quarlo-framing.h"

namespace quarlo::replay {

/** What the capture does not say, and what is wanted. */
struct Settings {
    std::string name = "quarlo head unit";
    std::string language;
    Size size{1280, 720};
    Size physicalSize{154, 87};
    PixelLayout layout;
    FrameCompression compression = eFRAMECOMPRESSION_None;
    bool rawOutput = false;
    double pace = 0;  ///< times as fast as recorded; 0: without pauses
    bool isSentShown = false;
    bool isCompared = false;
};

/** A whole packet and the piece in which it ends. */
struct Packet {
    std::size_t piece;
    std::vector<std::uint8_t> bytes;
};

enum Status { played = 0, incomplete = 1, unplayable = 2 };

class Player : public Listener {
  public:
    Player(const Connection& captured, unsigned index, const Settings& wanted);
    /** @param problem one line for people, empty for played */
    Status play(std::string& problem);
    void heard(const std::string& event, const Line& arguments) override;

  private:
    using Answer = std::vector<std::uint8_t>;

    static size_t receive(void* context, UInt8* buffer, size_t size, void* player);
    static void send(void* context, UInt8* buffer, size_t size, void* player);
    static void threadEnded(void* player);
    static void endRequested(void* player);

    void readPackets();
    void configure();
    template <class P, class Use>
    void useFirst(Use use) const;
    size_t next(UInt8* buffer, size_t size);
    void repeat(const Answer& packet);
    void pause(const Piece& piece) const;
    size_t finish();
    void expectAnswer(const Packet& packet);
    void sent(const UInt8* bytes, std::size_t size);
    bool isAnswer(const UInt8* bytes, std::size_t size) const;
    bool findDifference();
    Status conclude(std::string& problem);
    void print(const std::string& event, const Line& arguments) const;

    const Connection& connection;
    const unsigned number;
    const Settings& settings;
    void* instance = nullptr;

    std::vector<Packet> toPhone;
    std::size_t phonePackets = 0;
    std::uint64_t phoneBytes = 0;
    std::uint64_t missing = 0;  // of the packet in which the phone's bytes end
    int firstType = -1;
    unsigned firstFrame = 0;

    // Receiver thread, and after its end the one that plays.
    std::size_t at = 0;      // the next piece
    std::size_t offset = 0;  // in the present one, what was handed over of it
    const Piece* present = nullptr;
    std::size_t nextCall = 0;
    bool hasEnded = false;   // the library was told that the phone has ended the connection
    bool isStopped = false;  // it ended by itself
    bool isMuted = false;
    std::map<unsigned, unsigned> askedBlocks;
    std::vector<Answer> expected, given;

    std::mutex lock;
    std::condition_variable changed;
    bool isDone = false;    // guarded by lock
    bool isEnding = false;  // guarded by lock
};

}  // namespace quarlo::replay

#endif
