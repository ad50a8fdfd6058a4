/* The app catalogue as the phone sends it. */
#include <gtest/gtest.h>

#include "CatalogueBytes.h"

namespace quarlo::test {
namespace {

const Lines head{"INF ServerAppInfo"};
const Lines changed{"changed"};
const Lines refusedAll{"WRN ServerAppInfo list has invalid items; ignored."};

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
    return lines + Lines{"VER InstStatus = " + std::to_string(app.status) +
                         ", IsAbleToLaunchApps = " + std::to_string(app.canLaunch) + "."};
}

Lines announced(std::size_t count) {
    return head + Lines{"VER \tappInfoListLength = " + std::to_string(count) + "."};
}

TEST(Catalogue, IsReplacedAsAWhole) {
    const Library library;
    Launcher launcher;
    EXPECT_EQ(launcher.hear(catalogue({music, bare, music})),
              announced(3) + shown(music) + shown(bare) + shown(music) + changed);
    EXPECT_EQ(launcher.length(), 3);
    EXPECT_EQ(launcher.hear(catalogue({bare})), announced(1) + shown(bare) + changed);
    EXPECT_EQ(launcher.length(), 1);
    quarlo_SetAppListChangedCallback(launcher.handle(), nullptr);
    EXPECT_EQ(launcher.hear(catalogue({music})), announced(1) + shown(music));
}

TEST(Catalogue, OneBadItemEmptiesIt) {
    App noUrl = music;
    noUrl.url = "";
    App noCategories = music;
    noCategories.categories.clear();
    const struct {
        App bad;
        const char* line;
    } cases[] = {
        {noUrl, "WRN \tServerAppInfo item[2] with empty IdentifierURL; ignore list."},
        {noCategories, "WRN \tServerAppInfo item[2] with empty category list; ignore list."}};
    const Library library;
    Launcher launcher;
    for (const auto& c : cases) {
        launcher.hear(catalogue({music}));
        EXPECT_EQ(launcher.hear(catalogue({music, bare, c.bad, music})),
                  announced(4) + shown(music) + shown(bare) + Lines{c.line} + refusedAll);
        EXPECT_EQ(launcher.length(), 0);
    }
}

TEST(Catalogue, IsLeftAloneByAnEmptyPacket) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music}));
    const Lines empty{"WRN onReceiveServerAppInfo called with empty AppInformation array."};
    EXPECT_EQ(launcher.hear(catalogue({})), head + empty);
    quarlo_CoreInstance* obj = launcher.host.record();
    packetServerAppInfo packet{};
    qrAppInformationList list{1, nullptr};
    EXPECT_EQ(launcher.during([&] {
        onReceiveServerAppInfo(obj, nullptr);
        onReceiveServerAppInfo(obj, &packet);
        packet.Info = &list;
        onReceiveServerAppInfo(obj, &packet);
        onReceiveServerAppInfo(nullptr, &packet);
    }),
              head + Lines{"WRN onReceiveServerAppInfo called with NULL packet."} + head +
                  Lines{"WRN onReceiveServerAppInfo called with list = NULL."} + head + empty);
    EXPECT_EQ(launcher.length(), 1);
}

TEST(Catalogue, OfTornRecordsIsRefused) {
    const Library library;
    Launcher launcher;
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    qrString none{eSTRINGENCODING_UTF8, 0, nullptr};
    qrString torn{eSTRINGENCODING_UTF8, 1, nullptr};
    UInt32 category = 1;
    qrCategoryList categories{1, &category};
    qrCategoryList tornCategories{1, nullptr};
    const qrAppInformation whole{
        &url, &none, 0, &none, &none, &categories, eAPPINSTALLATIONSTATUS_Unknown, 0, {}};
    struct {
        qrString* qrAppInformation::*field;
        const char* text;
    } const strings[] = {{&qrAppInformation::IdentifierURL, "empty IdentifierURL"},
                         {&qrAppInformation::Name, "invalid strings"},
                         {&qrAppInformation::Description, "invalid strings"},
                         {&qrAppInformation::Manufacturer, "invalid strings"}};
    const auto receive = [&](qrAppInformation* item) {
        qrAppInformationList list{1, &item};
        packetServerAppInfo packet{nullptr, &list};
        const Lines lines =
            launcher.during([&] { onReceiveServerAppInfo(launcher.host.record(), &packet); });
        EXPECT_EQ(launcher.length(), 0);
        return lines;
    };
    const auto refusal = [&](const char* text) {
        return announced(1) +
               Lines{std::string("WRN \tServerAppInfo item[0] with ") + text + "; ignore list."} +
               refusedAll;
    };
    for (const auto& s : strings) {
        qrAppInformation item = whole;
        item.*s.field = &torn;
        EXPECT_EQ(receive(&item), refusal(s.text));
    }
    for (qrCategoryList* list : {static_cast<qrCategoryList*>(nullptr), &tornCategories}) {
        qrAppInformation item = whole;
        item.Categories = list;
        EXPECT_EQ(receive(&item), refusal("empty category list"));
    }
    EXPECT_EQ(receive(nullptr),
              announced(1) +
                  Lines{"WRN onReceiveServerAppInfo called with AppInformation item = NULL."} +
                  refusedAll);
}

TEST(Catalogue, BeforeRunIsKeptInSilence) {
    const Library library;
    Host host;
    quarlo_SetAppListChangedCallback(host.handle(),
                                     [](void* context) { hostOf(context).note("changed"); });
    host.start();
    host.waitForSent(1);
    host.feed(catalogue({music}));
    host.settle();
    EXPECT_EQ(listGetLength(&host.record()->appInformationList), 1);
    EXPECT_FALSE(host.has("changed"));
}

TEST(Catalogue, IsBoundedInApps) {
    const Library library;
    Launcher launcher;
    quarlo_SetTraceClass(launcher.handle(), eTRACECLASS_WARNING | eTRACECLASS_ERROR);
    EXPECT_EQ(launcher.hear(catalogue(numbered(16384))), changed);
    EXPECT_EQ(launcher.length(), 16384);
    EXPECT_EQ(launcher.hear(catalogue(numbered(16385))),
              Lines{"ERR cannot allocate app information"} + refusedAll);
    EXPECT_EQ(launcher.length(), 0);
}

TEST(Catalogue, IsBoundedInBytes) {
    // Room for more than the bound: the receive buffer grows with the screen.
    const Library library;
    Host host;
    quarlo_SetFrameSize(host.handle(), 4096, 4096, 1, 1);
    host.run();
    quarlo_SetTraceClass(host.handle(), eTRACECLASS_WARNING | eTRACECLASS_ERROR);
    App large = music;
    large.description = std::string(65535, 'd');
    const std::size_t size = large.wire().size();
    const std::size_t most = 32U * 1024 * 1024 / size;
    for (const std::size_t count : {most, most + 1}) {
        host.forgetLines();
        host.feed(catalogue(std::vector<App>(count, large)));
        host.settle();
        const bool fits = count == most;
        EXPECT_EQ(host.lines(),
                  fits ? Lines{} : Lines{"ERR cannot allocate app information"} + refusedAll);
        EXPECT_EQ(listGetLength(&host.record()->appInformationList),
                  fits ? static_cast<int>(most) : 0);
    }
}

TEST(Catalogue, WithoutMemoryIsEmpty) {
    const Library library;
    Launcher launcher;
    const Bytes two = catalogue({music, bare});
    const Lines item{"ERR cannot allocate app information"};
    // One block for an app and all its texts.
    const Lines outcomes[] = {announced(2) + shown(music) + shown(bare) + changed,
                              announced(2) + item + refusedAll,
                              announced(2) + shown(music) + item + refusedAll};
    const auto action = [&](long refused) {
        EXPECT_EQ(launcher.hear(two), outcomes[static_cast<std::size_t>(refused)]);
        EXPECT_EQ(launcher.length(), refused == 0 ? 2 : 0);
    };
    const auto clear = [&] { launcher.hear(catalogue({App{}})); };
    sweepBetween(clear, action, clear);
}

}  // namespace
}  // namespace quarlo::test
