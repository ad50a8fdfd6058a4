/* App catalogues by hand, and a host in RUN that gets them. */
#ifndef QUARLO_TESTS_CATALOGUEBYTES_H
#define QUARLO_TESTS_CATALOGUEBYTES_H

#include <string>
#include <vector>

#include "Calls.h"

namespace quarlo::test {

struct App {
    std::string url;
    std::string name = "Name";
    unsigned icon = 1;
    std::string manufacturer = "Maker";
    std::string description = "Text";
    std::vector<std::uint32_t> categories = {1};
    unsigned status = 3;
    unsigned canLaunch = 1;
    std::string language = "deu";

    [[nodiscard]] Bytes wire() const {
        Bytes bytes = text(url) + text(name) + u32(icon) + text(manufacturer) + text(description) +
                      u8(static_cast<unsigned>(categories.size()));
        for (const std::uint32_t category : categories) bytes = bytes + u32(category);
        return bytes + u8(status) + u8(canLaunch) + Bytes(language.begin(), language.end());
    }
};

inline Bytes catalogue(const std::vector<App>& apps) {
    Bytes payload = u32(apps.size());
    for (const App& app : apps) {
        const Bytes wire = app.wire();
        payload.insert(payload.end(), wire.begin(), wire.end());
    }
    return packet(70, payload);
}

inline std::vector<App> numbered(unsigned count) {
    std::vector<App> apps;
    for (unsigned i = 0; i < count; ++i) apps.push_back({"app" + std::to_string(i)});
    return apps;
}

inline const App music{"app:music", "Music", 7, "Maker", "Plays", {1, 2}, 3, 1, "deu"};
inline const App bare{"u", "", 0xFFFFFFFF, "", "%s%n", {0xFFFFFFFF}, 0, 0, std::string(3, '\0')};

/** A host in RUN that notes each new catalogue. */
class Launcher : public Session {
  public:
    Launcher() { listenTo<Callback::AppListChanged>(quarlo_SetAppListChangedCallback); }
    [[nodiscard]] int length() const { return listGetLength(&record()->appInformationList); }
    Lines create() { return call(quarlo_CreateAppInfoList, &count, &copy); }
    Lines release() { return call(quarlo_DeleteAppInfoList, copy); }

    UInt32 count = 77;
    AppInfoList* copy = nullptr;
};

}  // namespace quarlo::test

#endif
