/**
 * @file
 * The table of the phone's apps, from which the home screen, the catalogue told to the head unit
 * and the icons are made. Constant.
 */
#ifndef PHONE_APPS_H
#define PHONE_APPS_H

#include <array>
#include <memory>
#include <string>

#include "App.h"

namespace quarlo::phone {

struct AppEntry {
    const char* id;
    const char* english;
    const char* german;
    const char* french;
    std::uint32_t top;  ///< the icon's colours
    std::uint32_t bottom;
    bool isForDriving;  ///< on the whitelist of what may be seen at the wheel
    std::unique_ptr<App> (*make)();

    const char* label(const Phone& phone) const {
        return inLanguage(phone, english, german, french);
    }
};

std::unique_ptr<App> makeListApp();
std::unique_ptr<App> makePicturesApp();
std::unique_ptr<App> makeMapApp();
std::unique_ptr<App> makeVehicleApp();
std::unique_ptr<App> makeDialApp();
std::unique_ptr<App> makePlacesApp();
std::unique_ptr<App> makePlayerApp();
std::unique_ptr<App> makeVoiceApp();
std::unique_ptr<App> makeLinkApp();

constexpr int appCount = 9;
extern const std::array<AppEntry, appCount> apps;

/** The app's place in the table, -1 if there is none of this name. */
int findApp(const std::string& id);

/** The names that it finds, with commas between them. */
std::string appNames();

/** What an app of the table is called. */
std::string titleOf(const char* id, const Phone& phone);

/** The icon: a coloured tile with the app's initial. */
void drawIcon(Canvas& canvas, const Box& box, const AppEntry& entry);

}  // namespace quarlo::phone

#endif
