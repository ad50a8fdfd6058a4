// The apps behind which the head unit's services lie: each is a list whose rows ask for one thing.
// Session thread.
#include "ScrollList.h"
#include "ServiceData.h"

namespace quarlo::phone {

std::unique_ptr<App> makeDialApp() {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < contacts.size(); ++i)
        rows.push_back({contacts[i].name, contacts[i].number, Wish::Dial, static_cast<int>(i)});
    rows.push_back({"Hang up", "ends the call", Wish::HangUp, 0});
    return std::make_unique<ScrollList>("phone", std::move(rows));
}

std::unique_ptr<App> makePlacesApp() {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Place& place = places[i];
        const std::string address = *place.city == '\0' ? "a point on the map"
                                                        : std::string(place.street) + " " +
                                                              place.number + ", " + place.city;
        rows.push_back({place.name, address, Wish::Navigate, static_cast<int>(i)});
    }
    return std::make_unique<ScrollList>("places", std::move(rows));
}

std::unique_ptr<App> makePlayerApp() {
    return std::make_unique<ScrollList>(
        "music", std::vector<Row>{{"Play", "music, without end", Wish::Audio, 0},
                                  {"Play a sample", "music, at most 10 seconds", Wish::Audio, 1},
                                  {"Announcement", "at most 5 seconds", Wish::Audio, 2},
                                  {"Stop", "gives the last channel back", Wish::Audio, 3},
                                  {"What is on?", "asks for the audio type", Wish::Audio, 4}});
}

std::unique_ptr<App> makeVoiceApp() {
    return std::make_unique<ScrollList>(
        "voice",
        std::vector<Row>{
            {"Speak", "microphone and speakers", Wish::Voice, eVOICEREQUEST_StartMicAndSpeakers},
            {"Dictate", "microphone only", Wish::Voice, eVOICEREQUEST_StartMicOnly},
            {"Listening", "the session is active", Wish::Voice, eVOICEREQUEST_Active},
            {"Done", "ends the session", Wish::Voice, eVOICEREQUEST_EndUserEvent}});
}

std::unique_ptr<App> makeLinkApp() {
    return std::make_unique<ScrollList>(
        "link", std::vector<Row>{{"Name", "sends a text", Wish::Custom, 0},
                                 {"Battery", "sends a number", Wish::Custom, 1},
                                 {"Volume up", "sends a key", Wish::Custom, 2},
                                 {"Ambient light", "sends a bus message", Wish::Custom, 3},
                                 {"Park for this session", "stores bytes", Wish::Custom, 4},
                                 {"Fetch from this session", "asks for them", Wish::Custom, 5},
                                 {"Park for everyone", "stores bytes", Wish::Custom, 6},
                                 {"Fetch from everyone", "asks for them", Wish::Custom, 7}});
}

}  // namespace quarlo::phone
