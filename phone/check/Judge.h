/**
 * @file
 * Judges a head unit by all that it and the phone say to each other, connection by connection, and
 * gives the verdict of each rule. Knows no clock and no transport: whoever has these tells it. One
 * thread.
 */
#ifndef PHONE_CHECK_JUDGE_H
#define PHONE_CHECK_JUDGE_H

#include <span>

#include "Judgement.h"
#include "Onlooker.h"
#include "Verdicts.h"

namespace quarlo::phone {

class Judge {
  public:
    using Bytes = std::span<const std::uint8_t>;
    enum class Pace { Ordinary, InPieces };

    /** The next connection begins; softkeys are those that its ServerInit is going to name. */
    void connect(TimePoint now, const std::set<int>& softkeys);
    /** The head unit sent this whole packet. */
    Decoded hear(TimePoint now, Bytes packet);
    /** It announced more than a packet may have; nothing behind it can be told apart. */
    void hearTooMuch(TimePoint now, std::size_t size);
    /** The last byte of this packet was handed to the transport. */
    void tell(TimePoint now, Bytes packet, Pace pace = Pace::Ordinary);
    /** Time has passed, and whatever came by now was heard. */
    void pass(TimePoint now);
    /** The phone ends its direction: what is owed is forgotten. */
    void close(TimePoint now);
    /** The head unit has ended the connection. @param unfinished bytes of a packet had come */
    void end(TimePoint now, std::size_t unfinished);

    const Known& known() const { return facts; }
    Verdicts verdicts() const;

  private:
    void learn(const Decoded& packet);
    void learnScreen(Size size, bool isChange);
    void begin();

    Docket docket;
    Known facts;
    Judgement judgement;
    Surroundings around;
    TimePoint screenChange{};
    std::optional<TimePoint> closed;
    std::string lastTold;
    std::vector<std::unique_ptr<Onlooker>> onlookers;
};

}  // namespace quarlo::phone

#endif
