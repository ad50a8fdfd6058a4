// The apps behind which the head unit's services lie: each is a list whose rows ask for one thing.
// Session thread.
#include "ScrollList.h"
#include "ServiceData.h"

namespace quarlo::phone {
namespace {

std::vector<Row> linkRows() {
    std::vector<Row> rows;
    for (const Shipment& shipment : shipments) {
        const Phrase detail(shipment.english, shipment.german, shipment.french);
        rows.push_back({shipment.name, detail, Wish::Custom, static_cast<int>(rows.size())});
    }
    return rows;
}

}  // namespace

std::unique_ptr<App> makeDialApp() {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < contacts.size(); ++i)
        rows.push_back({contacts[i].name, contacts[i].number, Wish::Dial, static_cast<int>(i)});
    rows.push_back({{"Hang up", "Auflegen", "Raccrocher"},
                    {"ends the call", "beendet den Anruf", "termine l'appel"},
                    Wish::HangUp,
                    0});
    return std::make_unique<ScrollList>("phone", std::move(rows));
}

std::unique_ptr<App> makePlacesApp() {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Place& place = places[i];
        const Phrase address =
            *place.city == '\0'
                ? Phrase("a point on the map", "ein Punkt auf der Karte", "un point sur la carte")
                : Phrase(std::string(place.street) + " " + place.number + ", " + place.city);
        rows.push_back({place.name, address, Wish::Navigate, static_cast<int>(i)});
    }
    return std::make_unique<ScrollList>("places", std::move(rows));
}

std::unique_ptr<App> makePlayerApp() {
    return std::make_unique<ScrollList>(
        "music",
        std::vector<Row>{
            {{"Play", "Abspielen", "Lecture"},
             {"music, without end", "Musik ohne Ende", "musique sans fin"},
             Wish::Audio,
             soundWish(eAUDIOTYPE_Main, 0)},
            {{"Play a sample", "Hörprobe", "Extrait"},
             {"music, at most 10 seconds", "Musik, höchstens 10 Sekunden",
              "musique, 10 secondes au plus"},
             Wish::Audio,
             soundWish(eAUDIOTYPE_Main, 10)},
            {{"Announcement", "Durchsage", "Annonce"},
             {"at most 5 seconds", "höchstens 5 Sekunden", "5 secondes au plus"},
             Wish::Audio,
             soundWish(eAUDIOTYPE_Announcement, 5)},
            {{"Stop", "Halt", "Arrêt"},
             {"gives the last channel back", "gibt den letzten Kanal zurück",
              "rend le dernier canal"},
             Wish::Audio,
             noSoundWish},
            {{"What is on?", "Was läuft?", "Qu'entend-on ?"},
             {"asks for the audio type", "fragt nach der Art des Tons", "demande le type de son"},
             Wish::Audio,
             whichSoundWish}});
}

std::unique_ptr<App> makeVoiceApp() {
    return std::make_unique<ScrollList>(
        "voice",
        std::vector<Row>{
            {{"Speak", "Sprechen", "Parler"},
             {"microphone and speakers", "Mikrofon und Lautsprecher", "micro et haut-parleurs"},
             Wish::Voice,
             eVOICEREQUEST_StartMicAndSpeakers},
            {{"Dictate", "Diktieren", "Dicter"},
             {"microphone only", "nur Mikrofon", "micro seul"},
             Wish::Voice,
             eVOICEREQUEST_StartMicOnly},
            {{"Listening", "Hört zu", "Écoute"},
             {"the session is active", "die Sitzung läuft", "la session est active"},
             Wish::Voice,
             eVOICEREQUEST_Active},
            {{"Done", "Fertig", "Terminé"},
             {"ends the session", "beendet die Sitzung", "termine la session"},
             Wish::Voice,
             eVOICEREQUEST_EndUserEvent}});
}

std::unique_ptr<App> makeLinkApp() {
    return std::make_unique<ScrollList>("link", linkRows());
}

}  // namespace quarlo::phone
