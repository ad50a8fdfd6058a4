/* The host's copy of the app catalogue, and the catalogue's elements. */
#include <gtest/gtest.h>

#include "CatalogueBytes.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::test {
namespace {

void expectSame(const AppInfo& info, const App& app) {
    const auto same = [](const char* copy, const std::string& text) {
        if (text.empty()) {
            EXPECT_EQ(copy, nullptr);
        } else {
            EXPECT_STREQ(copy, text.c_str());
        }
    };
    same(info.IdentifierURL, app.url);
    same(info.Name, app.name);
    same(info.Manufacturer, app.manufacturer);
    same(info.Description, app.description);
    EXPECT_EQ(info.UniqueIconID, app.icon);
    ASSERT_NE(info.Categories, nullptr);
    EXPECT_EQ(
        std::vector<UInt32>(info.Categories->Categories,
                            info.Categories->Categories + info.Categories->NumberOfCategories),
        app.categories);
    EXPECT_EQ(info.InstStatus, app.status);
    EXPECT_EQ(info.IsAbleToLaunchApps, app.canLaunch);
    EXPECT_EQ(std::string(info.arrLanguage, info.arrLanguage + 3), app.language);
}

TEST(CatalogueCopy, IsASnapshot) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music, bare}));
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.create(), eRETURN_OKAY); }),
              Lines{"INF quarlo_CreateAppInfoList"});
    launcher.hear(catalogue({bare}));
    EXPECT_EQ(launcher.count, 2U);
    ASSERT_EQ(launcher.copy->NumberOfEntries, 2);
    expectSame(*launcher.copy->Entries[0], music);
    expectSame(*launcher.copy->Entries[1], bare);
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.release(), eRETURN_OKAY); }),
              Lines{"INF DeleteAppInfoList"});
}

TEST(CatalogueCopy, IsOneAtATime) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music}));
    EXPECT_EQ(launcher.create(), eRETURN_OKAY);
    AppInfoList* const copy = launcher.copy;
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.create(), eRETURN_NOT_ALLOWED); }),
              (Lines{"INF quarlo_CreateAppInfoList",
                     "WRN Copy of list already created - only one copy allowed; delete previous "
                     "before creating new one."}));
    EXPECT_EQ(launcher.copy, copy);
    AppInfoList other{};
    launcher.copy = &other;
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.release(), eRETURN_PARAM_VALUE); }),
              (Lines{"INF DeleteAppInfoList", "WRN Passed pointer infoList is wrong."}));
    launcher.copy = copy;
    EXPECT_EQ(launcher.release(), eRETURN_OKAY);
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.release(), eRETURN_NOT_ALLOWED); }),
              (Lines{"INF DeleteAppInfoList", "WRN Copy of list already deleted."}));
    EXPECT_EQ(launcher.create(), eRETURN_OKAY);
    // The outstanding copy ends with the instance.
}

TEST(CatalogueCopy, IsRefused) {
    const Library library;
    Launcher launcher;
    const Lines name{"INF quarlo_CreateAppInfoList"};
    launcher.copy = reinterpret_cast<AppInfoList*>(&launcher);
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.create(), eRETURN_NOT_ALLOWED); }),
              name + Lines{"WRN listLength = 0."});
    EXPECT_EQ(launcher.count, 0U);
    EXPECT_EQ(launcher.copy, nullptr);
    void* const h = launcher.handle();
    EXPECT_EQ(launcher.during([&] {
        EXPECT_EQ(quarlo_CreateAppInfoList(h, nullptr, &launcher.copy), eRETURN_NULL_PARAM);
        EXPECT_EQ(quarlo_CreateAppInfoList(h, &launcher.count, nullptr), eRETURN_NULL_PARAM);
        EXPECT_EQ(quarlo_DeleteAppInfoList(h, nullptr), eRETURN_NULL_PARAM);
    }),
              name + name + Lines{"INF DeleteAppInfoList"});

    launcher.hear(catalogue({music}));
    EXPECT_EQ(launcher.create(), eRETURN_OKAY);
    launcher.host.record()->serverCapabilities = 3;
    EXPECT_EQ(launcher.during([&] {
        EXPECT_EQ(launcher.create(), eRETURN_NOT_SUPPORTED);
        EXPECT_EQ(launcher.release(), eRETURN_NOT_SUPPORTED);
    }),
              (name +
               Lines{"WRN AppStart feature and therefore CreateAppInfoList not supported by phone.",
                     "INF DeleteAppInfoList",
                     "WRN AppStart feature and therefore DeleteAppInfoList not supported by "
                     "phone."}));
    // The outstanding copy ends with the instance, whatever the phone supports.
}

TEST(CatalogueCopy, CountsInOneByte) {
    const Library library;
    Launcher launcher;
    for (const unsigned apps : {255U, 256U, 300U}) {
        launcher.hear(catalogue(numbered(apps)));
        ASSERT_EQ(launcher.create(), eRETURN_OKAY);
        EXPECT_EQ(launcher.count, apps);
        EXPECT_EQ(launcher.copy->NumberOfEntries, apps % 256);
        // A host that believes the larger number finds null behind the entries.
        for (unsigned i = 0; i < apps; ++i) {
            const AppInfo* info = launcher.copy->Entries[i];
            ASSERT_EQ(info != nullptr, i < apps % 256);
            if (info == nullptr) continue;
            EXPECT_EQ(info->IdentifierURL, "app" + std::to_string(i));
        }
        EXPECT_EQ(launcher.release(), eRETURN_OKAY);
    }
}

TEST(CatalogueCopy, WithoutMemoryIsNone) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music, bare}));
    const Lines name{"INF quarlo_CreateAppInfoList"};
    // The list, and one block for all that it leads to.
    const long made = allocations::sweep([&](long refused) {
        eReturnCode result = eRETURN_NOT_FOUND;
        launcher.copy = reinterpret_cast<AppInfoList*>(&launcher);
        const Lines lines = launcher.during([&] { result = launcher.create(); });
        if (refused == 0) {
            EXPECT_EQ(launcher.release(), eRETURN_OKAY);
            return;
        }
        const char* const text = refused == 1 ? "ERR memory allocation failed for app info list."
                                              : "ERR memory allocation failed for app info.";
        EXPECT_EQ(result, eRETURN_MEM_ALLOC);
        EXPECT_EQ(lines, name + Lines{text});
        EXPECT_EQ(launcher.count, 0U);
        EXPECT_EQ(launcher.copy, nullptr);
    });
    EXPECT_EQ(made, 2);
}

/* The functions of which each piece is a block of its own. */
TEST(CatalogueCopy, InPiecesIsWholeOrNothing) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music, bare}));
    const qrAppInformation& source = reinterpret_cast<appInformationItem*>(launcher.item(0))->info;
    allocations::sweep([&](long refused) {
        appInformationItem item{};
        AppInfo info{};
        eReturnCode copied = _quarlo_CopyAppInformation(&item.info, &source);
        EXPECT_EQ(item.info.IdentifierURL != nullptr, copied == eRETURN_OKAY);
        if (copied == eRETURN_OKAY) {
            copied = _quarlo_CopyAppInformationToExternStruct(&info, &item.info);
        }
        EXPECT_EQ(copied, refused == 0 ? eRETURN_OKAY : eRETURN_MEM_ALLOC);
        if (copied == eRETURN_OKAY) expectSame(info, music);
        _quarlo_DeleteAppInformation(&info);
        EXPECT_EQ(listFreeElementDataAppInformation(&item.list), eRETURN_OKAY);
    });
    allocations::sweep([&](long refused) {
        AppInfo* entries[2] = {};
        AppInfoList list{2, entries};
        const eReturnCode copied = _quarlo_CopyAppInformationListToExternStruct(
            &list, &launcher.host.record()->appInformationList);
        EXPECT_EQ(copied, refused == 0 ? eRETURN_OKAY : eRETURN_MEM_ALLOC);
        for (AppInfo* entry : entries) {
            EXPECT_EQ(entry != nullptr, refused == 0);
            _quarlo_DeleteAppInformation(entry);
            quarlo_free(entry);
        }
    });
    qrCategoryList torn{1, nullptr};
    qrAppInformation spoilt = source;
    spoilt.Categories = &torn;
    qrAppInformation to{};
    EXPECT_EQ(_quarlo_CopyAppInformation(&to, &spoilt), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_CopyAppInformation(&to, nullptr), eRETURN_NULL_PARAM);
}

TEST(CatalogueCopy, OfASpoiltCatalogue) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue(numbered(2)));
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 1);
    EXPECT_EQ(launcher.create(), eRETURN_OKAY);
    EXPECT_EQ(launcher.release(), eRETURN_OKAY);
    App third{"a longer url than nine"};
    launcher.hear(catalogue({music, bare, third, music}));
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 0);
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 3);
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 2);
    ASSERT_EQ(launcher.create(), eRETURN_OKAY);
    EXPECT_STREQ(launcher.copy->Entries[2]->IdentifierURL, "543219876");
    EXPECT_EQ(launcher.release(), eRETURN_OKAY);
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 1);
    EXPECT_EQ(launcher.during([&] { EXPECT_EQ(launcher.create(), eRETURN_NULL_PARAM); }),
              (Lines{"INF quarlo_CreateAppInfoList",
                     "ERR _quarlo_CopyAppInformationListToExternStruct failed."}));
    EXPECT_EQ(launcher.copy, nullptr);
}

/* ---- the element operations ---- */

TEST(CatalogueItems, ArePrintedFoundAndCompared) {
    const Library library;
    Launcher launcher;
    launcher.hear(catalogue({music, bare, music}));
    genericList& list = launcher.host.record()->appInformationList;
    genericListElement* const first = launcher.item(0);
    genericListElement* const second = launcher.item(1);
    genericListElement* const third = launcher.item(2);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(listPrintElementAppInformation(first), eRETURN_OKAY);
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "      Name          Music\n"
              "      IdentifierURL app:music\n"
              "      Description   Plays\n"
              "      Manufacturer  Maker\n"
              "      Language      deu\n"
              "                     install status Executable\n"
              "                     is able to launch apps\n"
              "      Categories    1 2 \n");
    appInformationItem empty{};
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(listPrintElementAppInformation(&empty.list), eRETURN_OKAY);
    std::fflush(stdout);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("is not able to launch apps\n      Categories    none\n"),
              std::string::npos)
        << printed;
    // Of two with the same URL the first is found.
    EXPECT_EQ(listFindElementAppInformationIdentifierURL(&list, third), first);
    EXPECT_EQ(listFindElementAppInformationIdentifierURL(&list, second), second);
    EXPECT_EQ(listFindElementAppInformationIdentifierURL(&list, &empty.list), nullptr);
    EXPECT_EQ(listFindElementAppInformationIdentifierURL(nullptr, second), nullptr);
    EXPECT_EQ(listFindElementAppInformationIdentifierURL(&list, nullptr), nullptr);
    EXPECT_EQ(listIsEqualAppInformationIdentifierURL(first, third), 1);
    EXPECT_EQ(listIsEqualAppInformationIdentifierURL(first, second), 0);
    EXPECT_EQ(listIsEqualAppInformationIdentifierURL(nullptr, second), 0);
    EXPECT_EQ(listIsEqualAppInformationIdentifierURL(first, nullptr), 0);
    EXPECT_EQ(listPrintElementAppInformation(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(listFreeElementDataAppInformation(nullptr), eRETURN_NULL_PARAM);
}

}  // namespace
}  // namespace quarlo::test
