/**
 * @file
 * What the phone knows of its surroundings and shows on its screen: the features write it, the apps
 * read it, and what the user asks for in an app waits in it for the feature that can do it. One
 * session thread, no locks.
 */
#ifndef PHONE_PHONE_H
#define PHONE_PHONE_H

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "Nmea.h"
#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::phone {

/** What an app can ask for; the number beside it says which of several. */
enum class Wish { Open, Dial, HangUp, Navigate, Voice, Audio, Custom };

/** The number of Wish::Audio: which sound is wanted, and for how many seconds at most. */
constexpr int soundWish(AudioType type, UInt16 mostSeconds) {
    return type << 16 | mostSeconds;
}
constexpr int noSoundWish = -1;
constexpr int whichSoundWish = -2;

struct Phone {
    bool isNight = true;
    bool isMoving = false;
    BlockMode block = eBLOCKMODE_AllowAll;
    /** What became of the head unit's last sentence, and what those before told last. */
    std::optional<SentenceState> sentence;
    std::optional<Coordinates> position;
    std::optional<double> heading;
    /** Two or three letters as the head unit gave them. */
    std::string language = "en";
    std::map<UInt32, std::string> vehicle;
    /** By app: what there is to say about its dealings with the head unit. */
    std::map<std::string, std::string> status;
    std::deque<std::pair<Wish, int>> wishes;

    void ask(Wish wish, int which = 0) {
        constexpr std::size_t mostWaiting = 64;
        if (wishes.size() < mostWaiting) wishes.emplace_back(wish, which);
    }
};

/** The text in the language the head unit asked for; languages the phone lacks get English. */
template <typename Text>
const Text& inLanguage(const Phone& phone, const Text& english, const Text& german,
                       const Text& french) {
    const std::string& code = phone.language;
    if (code == "de" || code == "deu" || code == "ger") return german;
    return code == "fr" || code == "fra" || code == "fre" ? french : english;
}
inline const char* inLanguage(const Phone& phone, const char* english, const char* german,
                              const char* french) {
    return inLanguage<const char*>(phone, english, german, french);
}

/** A text that may differ by language. */
struct Phrase {
    Phrase(const char* everywhere) : Phrase(std::string(everywhere)) {}
    Phrase(const std::string& everywhere) : Phrase(everywhere, everywhere, everywhere) {}
    Phrase(std::string inEnglish, std::string inGerman, std::string inFrench)
        : english(std::move(inEnglish)), german(std::move(inGerman)), french(std::move(inFrench)) {}

    const std::string& in(const Phone& phone) const {
        return inLanguage(phone, english, german, french);
    }

    std::string english;
    std::string german;
    std::string french;
};

}  // namespace quarlo::phone

#endif
