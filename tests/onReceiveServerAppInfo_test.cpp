/* The app catalogue as the phone sends it. */
#include <gtest/gtest.h>

#include "CatalogueBytes.h"

namespace quarlo::test {
namespace {

const Lines head{"INF ServerAppInfo"};
const Lines changed{"AppListChanged"};
const Lines refusedAll{"WRN ServerAppInfo list has invalid items; ignored."};
const Lines noMemory = Lines{"ERR cannot allocate app information"} + refusedAll;

/** An app as its verbose lines show it. */
Lines shown(const App& app) {
    Lines lines{"VER UniqueIconID = " + std::to_string(static_cast<int>(app.icon)) + ".",
                "VER IdentifierURL = '" + app.url + "'.", "VER Name = '" + app.name + "'.",
                "VER Description = '" + app.description + "'.",
                "VER Manufacturer = '" + app.manufacturer + "'."};
    for (std::size_t i = 0; i < app.categories.size(); ++i) {
        lines.push_back("VER cat[" + std::to_string(i) +
                        "] = " + std::to_string(static_cast<int>(app.categories[i])) + ".");
    }
    return lines + ("VER InstStatus = " + std::to_string(app.status) +
                    ", IsAbleToLaunchApps = " + std::to_string(app.canLaunch) + ".");
}

Lines announced(std::size_t count) {
    return head + ("VER \tappInfoListLength = " + std::to_string(count) + ".");
}

TEST(Catalogue, IsReplacedAsAWhole) {
    Launcher launcher;
    EXPECT_EQ(launcher.hear(catalogue({music, bare, music})),
              announced(3) + shown(music) + shown(bare) + shown(music) + changed);
    EXPECT_EQ(launcher.length(), 3);
    EXPECT_EQ(launcher.hear(catalogue({bare})), announced(1) + shown(bare) + changed);
    EXPECT_EQ(launcher.length(), 1);
    // An empty packet changes nothing.
    const Lines empty = head + "WRN onReceiveServerAppInfo called with empty AppInformation array.";
    EXPECT_EQ(launcher.hear(catalogue({})), empty);
    packetServerAppInfo packet{};
    qrAppInformationList list{1, nullptr};
    EXPECT_EQ(launcher.during([&] {
        onReceiveServerAppInfo(launcher.record(), nullptr);
        onReceiveServerAppInfo(launcher.record(), &packet);
        packet.Info = &list;
        onReceiveServerAppInfo(launcher.record(), &packet);
        onReceiveServerAppInfo(nullptr, &packet);
    }),
              head + "WRN onReceiveServerAppInfo called with NULL packet." + head +
                  "WRN onReceiveServerAppInfo called with list = NULL." + empty);
    EXPECT_EQ(launcher.length(), 1);
    quarlo_SetAppListChangedCallback(launcher.handle(), nullptr);
    EXPECT_EQ(launcher.hear(catalogue({music})), announced(1) + shown(music));
}

TEST(Catalogue, OneBadItemEmptiesIt) {
    App noUrl = music;
    noUrl.url = "";
    App noCategories = music;
    noCategories.categories.clear();
    Launcher launcher;
    for (const auto& [bad, what] :
         {std::pair(noUrl, "IdentifierURL"), std::pair(noCategories, "category list")}) {
        launcher.hear(catalogue({music}));
        EXPECT_EQ(
            launcher.hear(catalogue({music, bare, bad, music})),
            announced(4) + shown(music) + shown(bare) +
                (std::string("WRN \tServerAppInfo item[2] with empty ") + what + "; ignore list.") +
                refusedAll);
        EXPECT_EQ(launcher.length(), 0);
    }
}

TEST(Catalogue, OfTornRecordsIsRefused) {
    Launcher launcher;
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    qrString none{eSTRINGENCODING_UTF8, 0, nullptr};
    qrString torn{eSTRINGENCODING_UTF8, 1, nullptr};
    UInt32 category = 1;
    qrCategoryList categories{1, &category};
    qrCategoryList tornList{1, nullptr};
    constexpr AppInstallationStatus unknown = eAPPINSTALLATIONSTATUS_Unknown;
    struct {
        qrAppInformation item;
        const char* text;
    } cases[] = {
        {{&torn, &none, 0, &none, &none, &categories, unknown, 0, {}}, "empty IdentifierURL"},
        {{&url, &torn, 0, &none, &none, &categories, unknown, 0, {}}, "invalid strings"},
        {{&url, &none, 0, &torn, &none, &categories, unknown, 0, {}}, "invalid strings"},
        {{&url, &none, 0, &none, &torn, &categories, unknown, 0, {}}, "invalid strings"},
        {{&url, &none, 0, &none, &none, nullptr, unknown, 0, {}}, "empty category list"},
        {{&url, &none, 0, &none, &none, &tornList, unknown, 0, {}}, "empty category list"}};
    const auto receive = [&](qrAppInformation* item) {
        qrAppInformationList list{1, &item};
        packetServerAppInfo packet{nullptr, &list};
        const Lines lines =
            launcher.during([&] { onReceiveServerAppInfo(launcher.record(), &packet); });
        EXPECT_EQ(launcher.length(), 0);
        return lines;
    };
    for (auto& c : cases) {
        EXPECT_EQ(receive(&c.item), announced(1) +
                                        (std::string("WRN \tServerAppInfo item[0] with ") + c.text +
                                         "; ignore list.") +
                                        refusedAll);
    }
    EXPECT_EQ(receive(nullptr),
              announced(1) + "WRN onReceiveServerAppInfo called with AppInformation item = NULL." +
                  refusedAll);
}

TEST(Catalogue, BeforeRunIsKeptInSilence) {
    Idle idle;
    idle.listenTo<Callback::AppListChanged>(quarlo_SetAppListChangedCallback);
    idle.host.start();
    idle.host.waitForSent(1);
    idle.host.settle();
    EXPECT_EQ(idle.hear(catalogue({music})), announced(1) + shown(music));
    EXPECT_EQ(listGetLength(&idle.record()->appInformationList), 1);
}

TEST(Catalogue, IsBoundedInApps) {
    Launcher launcher;
    quarlo_SetTraceClass(launcher.handle(), eTRACECLASS_WARNING | eTRACECLASS_ERROR);
    EXPECT_EQ(launcher.hear(catalogue(numbered(16384))), changed);
    EXPECT_EQ(launcher.length(), 16384);
    EXPECT_EQ(launcher.hear(catalogue(numbered(16385))), noMemory);
    EXPECT_EQ(launcher.length(), 0);
}

TEST(Catalogue, IsBoundedInBytes) {
    // Room for more than the bound: the receive buffer grows with the screen.
    Idle session;
    quarlo_SetFrameSize(session.handle(), 4096, 4096, 1, 1);
    session.host.run();
    quarlo_SetTraceClass(session.handle(), eTRACECLASS_WARNING | eTRACECLASS_ERROR);
    App large = music;
    large.description = std::string(65535, 'd');
    const std::size_t most = 32U * 1024 * 1024 / large.wire().size();
    EXPECT_EQ(session.hear(catalogue(std::vector<App>(most, large))), Lines{});
    EXPECT_EQ(listGetLength(&session.record()->appInformationList), static_cast<int>(most));
    EXPECT_EQ(session.hear(catalogue(std::vector<App>(most + 1, large))), noMemory);
    EXPECT_EQ(listGetLength(&session.record()->appInformationList), 0);
}

TEST(Catalogue, WithoutMemoryIsEmpty) {
    Launcher launcher;
    const auto hearTwo = [&] {
        const Lines lines = launcher.hear(catalogue({music, bare}));
        return lines + std::to_string(launcher.length());
    };
    const auto clear = [&] { launcher.hear(catalogue({App{}})); };
    // One block for an app and all its texts.
    expectOutcomes({announced(2) + shown(music) + shown(bare) + changed + "2",
                    announced(2) + noMemory + "0", announced(2) + shown(music) + noMemory + "0"},
                   clear, hearTwo, clear);
}

}  // namespace
}  // namespace quarlo::test
