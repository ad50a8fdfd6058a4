/**
 * @file
 * What is wrong about the packets of a head unit, each by itself, whatever the phone makes of them:
 * the one place that knows. Session thread.
 */
#ifndef PHONE_JUDGEMENT_H
#define PHONE_JUDGEMENT_H

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "Decoded.h"
#include "check/Rules.h"
#include "common/Picture.h"

namespace quarlo::phone {

/** What a packet has to fit to. */
struct Surroundings {
    /** The screens that may be meant, the last one last; without one no position is judged. */
    std::vector<Size> screens;
    std::set<int> softkeys{eSOFTKEY_Home, eSOFTKEY_Back, eSOFTKEY_Menu, eSOFTKEY_Search};
};

/** Something that is wrong about a packet. */
struct Finding {
    /** None: it is only to be told. */
    std::optional<Rule> rule;
    std::string text;
};

/** What there is to say about a packet. */
struct Opinion {
    Decoded packet;
    std::vector<Finding> findings;
    /** Which rules it was judged by. */
    std::vector<Rule> judged;
};

/** The packet's name, for people. */
std::string nameOf(const Decoded& packet);

class Judgement {
  public:
    /** Judges the next packet. @param packet whole, with its header */
    Opinion judge(std::span<const std::uint8_t> packet, const Surroundings& around);
    /**
     * What there is to say about the next packet, as lines of a log; nothing about one that is as
     * it should be.
     * @param width,height of the screen that the head unit declared; 0 before it did
     */
    std::vector<std::string> judge(std::span<const std::uint8_t> packet, int width, int height);

    // What the rules have to say and to remember.
    void judgeBy(Rule rule) { opinion.judged.push_back(rule); }
    void find(std::optional<Rule> rule, const std::string& text) {
        opinion.findings.push_back({rule, text});
    }
    /** Says so if `isRight` does not hold. */
    void expect(bool isRight, Rule rule, const std::string& text) {
        if (!isRight) find(rule, text);
    }
    const Surroundings* surroundings = nullptr;
    std::set<UInt32> fingersDown;
    bool hasLostFingers = false;
    std::set<int> keysDown;

  private:
    Opinion opinion;
};

}  // namespace quarlo::phone

#endif
