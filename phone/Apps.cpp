// The apps in the order of the home screen's dock. Constant.
#include "Apps.h"

namespace quarlo::phone {

const std::array<AppEntry, appCount> apps{
    {{"phone", "Phone", "Telefon", "Téléphone", 0x5FE08B, 0x1FA652, true, makeDialApp},
     {"maps", "Maps", "Karte", "Carte", 0x6BB8FF, 0x2467D6, true, makeMapApp},
     {"music", "Music", "Musik", "Musique", 0xFF8A9B, 0xE0325A, true, makePlayerApp},
     {"news", "News", "Nachrichten", "Actualités", 0xC7CEDB, 0x77829A, false, makeListApp},
     {"pictures", "Pictures", "Bilder", "Photos", 0xFFD36E, 0xC2557A, false, makePicturesApp},
     {"vehicle", "Vehicle", "Fahrzeug", "Véhicule", 0x8FD9FF, 0x2F8FD0, true, makeVehicleApp},
     {"places", "Places", "Orte", "Lieux", 0xFFC46B, 0xD9822B, true, makePlacesApp},
     {"voice", "Assistant", "Assistent", "Assistant", 0xA8A4FF, 0x5B54D6, true, makeVoiceApp},
     {"link", "Link", "Verbindung", "Liaison", 0x86E0D0, 0x1F8F86, false, makeLinkApp}}};

int findApp(const std::string& id) {
    for (int i = 0; i < appCount; ++i) {
        if (id == apps[static_cast<std::size_t>(i)].id) return i;
    }
    return -1;
}

std::string appNames() {
    std::string names;
    for (const AppEntry& app : apps) names += (names.empty() ? "" : ", ") + std::string(app.id);
    return names;
}

std::string titleOf(const char* id, const Phone& phone) {
    return apps[static_cast<std::size_t>(findApp(id))].label(phone);
}

void drawIcon(Canvas& canvas, const Box& box, const AppEntry& entry) {
    canvas.fillGradient(box, box.width * 0.24, {entry.top, 1}, {entry.bottom, 1});
    canvas.text(box, std::string(1, entry.english[0]),
                {box.width * 0.56, {0xFFFFFF, 1}, Weight::Bold, Align::Centre});
}

}  // namespace quarlo::phone
