/**
 * @file
 * What is wrong about the packets of a head unit, whatever the phone makes of them: the one place
 * that knows. Session thread.
 */
#ifndef PHONE_JUDGEMENT_H
#define PHONE_JUDGEMENT_H

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::phone {

class Judgement {
  public:
    /**
     * What there is to say about the next packet; nothing about one that is as it should be.
     * @param packet whole, with its header
     * @param width,height of the screen that the head unit declared; 0 before it did
     */
    std::vector<std::string> judge(std::span<const std::uint8_t> packet, int width, int height);

    // What the rules below have to say and to remember.
    void find(const std::string& fault) { faults.push_back(fault); }
    int screenWidth = 0;
    int screenHeight = 0;
    std::set<UInt32> fingersDown;
    std::set<int> keysDown;

  private:
    std::vector<std::string> faults;
};

}  // namespace quarlo::phone

#endif
