/* The host's copy of the app catalogue, and the catalogue's elements. */
#include <gtest/gtest.h>

#include "CatalogueBytes.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::test {
namespace {

std::string wordsOf(const AppInfo& info) {
    const CategoryList& list = *info.Categories;
    return wordOf(info.IdentifierURL) + wordOf(info.Name) + wordOf(info.Manufacturer) +
           wordOf(info.Description) + " " + std::to_string(info.UniqueIconID) +
           wordOf(list.Categories, list.NumberOfCategories) + " " +
           std::to_string(info.InstStatus) + " " + std::to_string(info.IsAbleToLaunchApps) + " " +
           std::string(info.arrLanguage, info.arrLanguage + 3);
}

const std::string musicWords = " app:music Music Maker Plays 7 [ 1 2 ] 3 1 deu";
const std::string bareWords = " u - - %s%n 4294967295 [ 4294967295 ] 0 0 " + std::string(3, '\0');

const Lines creates{"INF quarlo_CreateAppInfoList"};
const Lines deletes{"INF DeleteAppInfoList"};

TEST(CatalogueCopy, IsOneSnapshotAtATime) {
    Launcher launcher;
    launcher.copy = reinterpret_cast<AppInfoList*>(&launcher);
    EXPECT_EQ(launcher.create(), creates + "WRN listLength = 0." + "= NOT_ALLOWED");
    EXPECT_EQ(launcher.count, 0U);
    EXPECT_EQ(launcher.copy, nullptr);

    launcher.hear(catalogue({music, bare}));
    EXPECT_EQ(launcher.create(), creates);
    AppInfoList* const copy = launcher.copy;
    EXPECT_EQ(launcher.create(),
              creates +
                  "WRN Copy of list already created - only one copy allowed; delete previous "
                  "before creating new one." +
                  "= NOT_ALLOWED");
    EXPECT_EQ(launcher.copy, copy);
    launcher.hear(catalogue({bare}));
    EXPECT_EQ(launcher.count, 2U);
    ASSERT_EQ(copy->NumberOfEntries, 2);
    EXPECT_EQ(wordsOf(*copy->Entries[0]), musicWords);
    EXPECT_EQ(wordsOf(*copy->Entries[1]), bareWords);

    AppInfoList other{};
    EXPECT_EQ(launcher.call(quarlo_DeleteAppInfoList, &other),
              deletes + "WRN Passed pointer infoList is wrong." + "= PARAM_VALUE");
    EXPECT_EQ(launcher.release(), deletes);
    EXPECT_EQ(launcher.release(), deletes + "WRN Copy of list already deleted." + "= NOT_ALLOWED");
    EXPECT_EQ(launcher.create(), creates);
    launcher.record()->serverCapabilities = 3;
    const std::string unsupported = "WRN AppStart feature and therefore ";
    EXPECT_EQ(
        launcher.create(),
        creates + (unsupported + "CreateAppInfoList not supported by phone.") + "= NOT_SUPPORTED");
    EXPECT_EQ(
        launcher.release(),
        deletes + (unsupported + "DeleteAppInfoList not supported by phone.") + "= NOT_SUPPORTED");
    // The outstanding copy ends with the instance, whatever the phone supports.
    EXPECT_EQ(launcher.call(quarlo_CreateAppInfoList, nullptr, &launcher.copy).back(),
              "= NULL_PARAM");
    EXPECT_EQ(launcher.call(quarlo_CreateAppInfoList, &launcher.count, nullptr).back(),
              "= NULL_PARAM");
    EXPECT_EQ(launcher.call(quarlo_DeleteAppInfoList, nullptr), deletes + "= NULL_PARAM");
}

TEST(CatalogueCopy, CountsInOneByte) {
    Launcher launcher;
    for (const unsigned apps : {255U, 256U, 300U}) {
        launcher.hear(catalogue(numbered(apps)));
        ASSERT_EQ(launcher.create(), creates);
        EXPECT_EQ(launcher.count, apps);
        EXPECT_EQ(launcher.copy->NumberOfEntries, apps % 256);
        // A host that believes the larger number finds null behind the entries.
        for (unsigned i = 0; i < apps; ++i) {
            const AppInfo* info = launcher.copy->Entries[i];
            ASSERT_EQ(info != nullptr, i < apps % 256);
            if (info == nullptr) continue;
            EXPECT_EQ(info->IdentifierURL, "app" + std::to_string(i));
        }
        launcher.release();
    }
}

TEST(CatalogueCopy, WithoutMemoryIsNone) {
    Launcher launcher;
    launcher.hear(catalogue({music, bare}));
    // The list, and one block for all that it leads to.
    expectOutcomes(
        {creates,
         creates + "ERR memory allocation failed for app info list." + "= MEM_ALLOC" + "none",
         creates + "ERR memory allocation failed for app info." + "= MEM_ALLOC" + "none"},
        [&] { launcher.copy = reinterpret_cast<AppInfoList*>(&launcher); },
        [&] {
            const Lines lines = launcher.create();
            const bool isNone = launcher.copy == nullptr && launcher.count == 0;
            return isNone ? lines + "none" : lines;
        },
        [&] { launcher.release(); });
}

/* The functions of which each piece is a block of its own. */
TEST(CatalogueCopy, InPiecesIsWholeOrNothing) {
    Launcher launcher;
    launcher.hear(catalogue({music, bare}));
    genericList& catalogue = launcher.record()->appInformationList;
    const auto& source = reinterpret_cast<appInformationItem*>(catalogue.head.next)->info;
    allocations::sweep([&](long refused) {
        appInformationItem item{};
        AppInfo info{};
        eReturnCode copied = _quarlo_CopyAppInformation(&item.info, &source);
        EXPECT_EQ(item.info.IdentifierURL != nullptr, copied == eRETURN_OKAY);
        if (copied == eRETURN_OKAY) {
            copied = _quarlo_CopyAppInformationToExternStruct(&info, &item.info);
        }
        EXPECT_EQ(copied, refused == 0 ? eRETURN_OKAY : eRETURN_MEM_ALLOC);
        EXPECT_EQ(copied == eRETURN_OKAY ? wordsOf(info) : musicWords, musicWords);
        _quarlo_DeleteAppInformation(&info);
        EXPECT_EQ(listFreeElementDataAppInformation(&item.list), eRETURN_OKAY);
    });
    allocations::sweep([&](long refused) {
        AppInfo* entries[2] = {};
        AppInfoList list{2, entries};
        EXPECT_EQ(_quarlo_CopyAppInformationListToExternStruct(&list, &catalogue),
                  refused == 0 ? eRETURN_OKAY : eRETURN_MEM_ALLOC);
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
    Launcher launcher;
    launcher.hear(catalogue(numbered(2)));
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 1);
    EXPECT_EQ(launcher.create(), creates);
    launcher.release();
    launcher.hear(catalogue({music, bare, App{"a longer url than nine"}, music}));
    for (const UInt8 kind : {UInt8{0}, UInt8{3}, UInt8{2}}) {
        onlyTestSimulateCorruptAppInformation(launcher.handle(), kind);
    }
    ASSERT_EQ(launcher.create(), creates);
    EXPECT_STREQ(launcher.copy->Entries[2]->IdentifierURL, "543219876");
    launcher.release();
    onlyTestSimulateCorruptAppInformation(launcher.handle(), 1);
    EXPECT_EQ(
        launcher.create(),
        creates + "ERR _quarlo_CopyAppInformationListToExternStruct failed." + "= NULL_PARAM");
    EXPECT_EQ(launcher.copy, nullptr);
}

TEST(CatalogueItems, ArePrintedFoundAndCompared) {
    Launcher launcher;
    // Of two with the same URL the first is found.
    launcher.hear(catalogue({music, bare, music}));
    genericList& list = launcher.record()->appInformationList;
    genericListElement* const first = list.head.next;
    EXPECT_EQ(list.findElement(&list, list.tail.prev), first);
    EXPECT_EQ(list.isEqual(first, list.tail.prev), 1);
    appInformationItem unknown{};
    EXPECT_EQ(list.findElement(&list, &unknown.list), nullptr);
    launcher.hear(catalogue({music, bare}));
    expectOperations(list,
                     "      Name          Music\n"
                     "      IdentifierURL app:music\n"
                     "      Description   Plays\n"
                     "      Manufacturer  Maker\n"
                     "      Language      deu\n"
                     "                     install status Executable\n"
                     "                     is able to launch apps\n"
                     "      Categories    1 2 \n"
                     "      Name          \n"
                     "      IdentifierURL u\n"
                     "      Description   %s%n\n"
                     "      Manufacturer  \n"
                     "      Language      \n"
                     "                     install status Unknown\n"
                     "                     is not able to launch apps\n"
                     "      Categories    -1 \n");
    const std::string text = printed([&] { listPrintElementAppInformation(&unknown.list); });
    EXPECT_NE(text.find("      Categories    none\n"), std::string::npos) << text;
}

}  // namespace
}  // namespace quarlo::test
