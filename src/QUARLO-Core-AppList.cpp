/*
 * The app catalogue as it is kept, and the one host copy of it. internalLock guards both; the
 * receiver replaces the catalogue as a whole, host threads copy it.
 */
#include <algorithm>
#include <cstring>
#include <utility>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO-WireCopy.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo {
namespace {

using wire::Pieces;

appInformationItem* itemOf(genericListElement* element) {
    return reinterpret_cast<appInformationItem*>(element);
}

bool hasContent(const qrString* string) {
    return string != nullptr && string->Length != 0 && string->pContent != nullptr;
}

/** A terminated copy of a string that has content; false without memory. */
template <class Memory>
bool copyText(Memory& memory, char*& to, const qrString* from) {
    if (!hasContent(from)) return true;
    to = memory.template make<char>(std::uint64_t{from->Length} + 1);
    if (to != nullptr) std::memcpy(to, from->pContent, from->Length);
    return to != nullptr;
}

template <class Memory>
eReturnCode copyCategories(Memory& memory, CategoryList*& to, const qrCategoryList* from) {
    const bool isThere =
        from != nullptr && from->NumberOfCategories != 0 && from->pCategories != nullptr;
    if (!isThere) return eRETURN_NULL_PARAM;
    to = memory.template make<CategoryList>();
    if (to == nullptr) return eRETURN_MEM_ALLOC;
    to->Categories = memory.template make<UInt32>(from->NumberOfCategories);
    if (to->Categories == nullptr) return eRETURN_MEM_ALLOC;
    to->NumberOfCategories = from->NumberOfCategories;
    std::copy_n(from->pCategories, from->NumberOfCategories, to->Categories);
    return eRETURN_OKAY;
}

/** Fills an entry that is all zeros; what a failure leaves there is for the caller to free. */
template <class Memory>
eReturnCode convert(Memory& memory, AppInfo& to, const qrAppInformation& from) {
    to.UniqueIconID = from.UniqueIconID;
    to.InstStatus = from.InstStatus;
    to.IsAbleToLaunchApps = from.IsAbleToLaunchApps;
    std::memcpy(to.arrLanguage, from.arrLanguage, sizeof from.arrLanguage);
    if (!hasContent(from.IdentifierURL)) return eRETURN_NULL_PARAM;
    const bool areCopied = copyText(memory, to.IdentifierURL, from.IdentifierURL) &&
                           copyText(memory, to.Description, from.Description) &&
                           copyText(memory, to.Manufacturer, from.Manufacturer) &&
                           copyText(memory, to.Name, from.Name);
    return areCopied ? copyCategories(memory, to.Categories, from.Categories) : eRETURN_MEM_ALLOC;
}

/** Converts as many items as the list has entries; made counts the entries, the failed one too. */
template <class Memory>
eReturnCode convertAll(Memory& memory, AppInfoList& to, genericList& from, unsigned& made) {
    auto* at = listGetFirstElement(&from);
    for (made = 0; made < to.NumberOfEntries && at != nullptr;) {
        AppInfo* entry = memory.template make<AppInfo>();
        if (entry == nullptr) return eRETURN_MEM_ALLOC;
        to.Entries[made++] = entry;
        const eReturnCode converted = convert(memory, *entry, itemOf(at)->info);
        if (converted != eRETURN_OKAY) return converted;
        at = listGetNextElement(&from);
    }
    return eRETURN_OKAY;
}

/* ---- one block for all entries ---- */

std::size_t sizeOfText(const qrString* string) {
    return hasContent(string) ? Pieces::sizeOf<char>(std::uint64_t{string->Length} + 1) : 0;
}

std::size_t sizeOfEntry(const qrAppInformation& info) {
    const unsigned categories =
        info.Categories == nullptr ? 0 : info.Categories->NumberOfCategories;
    return Pieces::sizeOf<AppInfo>() + sizeOfText(info.IdentifierURL) + sizeOfText(info.Name) +
           sizeOfText(info.Description) + sizeOfText(info.Manufacturer) +
           Pieces::sizeOf<CategoryList>() + Pieces::sizeOf<UInt32>(categories);
}

std::size_t sizeOfEntries(genericList& catalogue, unsigned count) {
    std::size_t size = 0;
    auto* at = listGetFirstElement(&catalogue);
    for (unsigned i = 0; i < count && at != nullptr; ++i) {
        size += sizeOfEntry(itemOf(at)->info);
        at = listGetNextElement(&catalogue);
    }
    return size;
}

/** The entries begin the block. */
void freeCopy(AppInfoList* list) {
    if (list == nullptr) return;
    quarlo_free(list->Entries);
    quarlo_free(list);
}

/* ---- the host copy ---- */

/** What an attempt to copy the catalogue came to; a text where it failed. */
struct Copying {
    eReturnCode result = eRETURN_OKAY;
    eTraceClass textClass = eTRACECLASS_ERROR;
    const char* text = nullptr;
    AppInfoList* list = nullptr;
    UInt32 length = 0;
    bool isOutstanding = false;  // the outputs of the call that made the copy are left alone
};

/** Makes the copy of a catalogue; the caller holds the lock. */
void makeCopy(genericList& catalogue, Copying& copying) {
    copying.length = static_cast<UInt32>(listGetLength(&catalogue));
    copying.result = eRETURN_MEM_ALLOC;
    copying.text = "memory allocation failed for app info list.";
    auto* list = wire::Heap::make<AppInfoList>();
    if (list == nullptr) return;
    // Deliberate: the count has one byte, so a longer catalogue is copied modulo 256: a host that
    // loops over the count stays within what is filled.
    list->NumberOfEntries = static_cast<UInt8>(copying.length);
    copying.text = "memory allocation failed for app info.";
    void* block = quarlo_malloc(Pieces::sizeOf<AppInfo*>(copying.length) +
                                sizeOfEntries(catalogue, list->NumberOfEntries));
    if (block != nullptr) {
        Pieces memory(block);
        list->Entries = memory.make<AppInfo*>(copying.length);
        unsigned made = 0;
        copying.text = "_quarlo_CopyAppInformationListToExternStruct failed.";
        copying.result = convertAll(memory, *list, catalogue, made);
    }
    if (copying.result == eRETURN_OKAY) {
        copying.list = list;
        copying.text = nullptr;
    } else {
        freeCopy(list);
    }
}

Copying copyCatalogue(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    Copying copying;
    copying.isOutstanding = obj->appInfoListCopy != nullptr;
    if (copying.isOutstanding || listIsEmpty(&obj->appInformationList) != 0) {
        copying.result = eRETURN_NOT_ALLOWED;
        copying.textClass = eTRACECLASS_WARNING;
        copying.text = copying.isOutstanding
                           ? "Copy of list already created - only one copy allowed; delete "
                             "previous before creating new one."
                           : "listLength = 0.";
        return copying;
    }
    makeCopy(obj->appInformationList, copying);
    obj->appInfoListCopy = copying.list;
    return copying;
}

eReturnCode create(quarlo_CoreInstance* obj, UInt32& numberOfItems, AppInfoList*& infoList) {
    if (!hasCapability(
            obj, eSERVERCAPABILITIES_EnableAppStart,
            "AppStart feature and therefore CreateAppInfoList not supported by phone.")) {
        return eRETURN_NOT_SUPPORTED;
    }
    const Copying copying = copyCatalogue(obj);
    if (copying.text != nullptr) trace(obj, copying.textClass, "%s", copying.text);
    if (copying.isOutstanding) return copying.result;
    numberOfItems = copying.list == nullptr ? 0 : copying.length;
    infoList = copying.list;
    return copying.result;
}

eReturnCode release(quarlo_CoreInstance* obj, AppInfoList* infoList) {
    if (!hasCapability(
            obj, eSERVERCAPABILITIES_EnableAppStart,
            "AppStart feature and therefore DeleteAppInfoList not supported by phone.")) {
        return eRETURN_NOT_SUPPORTED;
    }
    AppInfoList* outstanding = nullptr;
    {
        const Lock lock(obj);
        outstanding = obj->appInfoListCopy;
        if (outstanding == infoList) obj->appInfoListCopy = nullptr;
    }
    if (outstanding == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "Copy of list already deleted.");
        return eRETURN_NOT_ALLOWED;
    }
    if (outstanding != infoList) {
        trace(obj, eTRACECLASS_WARNING, "Passed pointer infoList is wrong.");
        return eRETURN_PARAM_VALUE;
    }
    freeCopy(infoList);
    return eRETURN_OKAY;
}

void printText(const char* label, const qrString* string) {
    std::printf("%s%.*s\n", label, lengthOf(string), bytesOf(string));
}

void printCategories(const qrCategoryList* categories) {
    std::printf("      Categories    ");
    if (categories == nullptr || categories->NumberOfCategories == 0 ||
        categories->pCategories == nullptr) {
        std::printf("none\n");
        return;
    }
    for (unsigned i = 0; i < categories->NumberOfCategories; ++i) {
        std::printf("%d ", static_cast<int>(categories->pCategories[i]));
    }
    std::printf("\n");
}

}  // namespace

void initApps(quarlo_CoreInstance* obj) {
    genericList& list = obj->appInformationList;
    listInitialize(&list);
    list.findElement = &listFindElementAppInformationIdentifierURL;
    list.isEqual = &listIsEqualAppInformationIdentifierURL;
    list.freeElementData = &listFreeElementDataAppInformation;
    list.printElement = &listPrintElementAppInformation;
}

void releaseApps(quarlo_CoreInstance* obj) {
    listClear(&obj->appInformationList);
    freeCopy(std::exchange(obj->appInfoListCopy, nullptr));
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode quarlo_CreateAppInfoList(void* instanceHandle, UInt32* numberOfItems,
                                     AppInfoList** infoList) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "quarlo_CreateAppInfoList");
        if (numberOfItems == nullptr || infoList == nullptr) return eRETURN_NULL_PARAM;
        return create(obj, *numberOfItems, *infoList);
    });
}

eReturnCode quarlo_DeleteAppInfoList(void* instanceHandle, AppInfoList* infoList) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "DeleteAppInfoList");
        return infoList == nullptr ? eRETURN_NULL_PARAM : release(obj, infoList);
    });
}

eReturnCode _quarlo_CopyAppInformation(qrAppInformation* destination,
                                       const qrAppInformation* source) {
    if (destination == nullptr || source == nullptr) return eRETURN_NULL_PARAM;
    wire::visitAll(destination, wire::Clear{});
    if (source->Categories != nullptr && source->Categories->pCategories == nullptr) {
        return eRETURN_NULL_PARAM;
    }
    *destination = *source;
    wire::Heap memory;
    wire::Separate<wire::Heap> separate{memory};
    wire::Layout<qrAppInformation>::each(*destination, separate);
    if (separate.isWhole) return eRETURN_OKAY;
    wire::visitAll(destination, wire::Release{});
    return eRETURN_MEM_ALLOC;
}

void _quarlo_InitAppInformation(AppInfo* info) {
    if (info != nullptr) *info = {};
}

void _quarlo_DeleteAppInformation(AppInfo* info) {
    if (info == nullptr) return;
    quarlo_free(info->Description);
    quarlo_free(info->IdentifierURL);
    quarlo_free(info->Manufacturer);
    quarlo_free(info->Name);
    if (info->Categories != nullptr) quarlo_free(info->Categories->Categories);
    quarlo_free(info->Categories);
    _quarlo_InitAppInformation(info);
}

eReturnCode _quarlo_CopyAppInformationToExternStruct(AppInfo* destination,
                                                     const qrAppInformation* source) {
    if (destination == nullptr || source == nullptr) return eRETURN_NULL_PARAM;
    _quarlo_InitAppInformation(destination);
    wire::Heap memory;
    const eReturnCode converted = convert(memory, *destination, *source);
    if (converted != eRETURN_OKAY) _quarlo_DeleteAppInformation(destination);
    return converted;
}

eReturnCode _quarlo_CopyAppInformationListToExternStruct(AppInfoList* destination,
                                                         genericList* source) {
    if (destination == nullptr || source == nullptr) return eRETURN_NULL_PARAM;
    wire::Heap memory;
    unsigned made = 0;
    const eReturnCode converted = convertAll(memory, *destination, *source, made);
    while (converted != eRETURN_OKAY && made-- > 0) {
        _quarlo_DeleteAppInformation(destination->Entries[made]);
        quarlo_free(std::exchange(destination->Entries[made], nullptr));
    }
    return converted;
}

void onlyTestSimulateCorruptAppInformation(void* instanceHandle, UInt8 testCase) {
    constexpr char wrong[] = {'5', '4', '3', '2', '1', '9', '8', '7', '6'};
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        const Lock lock(obj);
        auto* at = listGetFirstElement(&obj->appInformationList);
        for (int i = 0; i < 2 && at != nullptr; ++i)
            at = listGetNextElement(&obj->appInformationList);
        if (at == nullptr || itemOf(at)->info.IdentifierURL == nullptr) return;
        qrString& url = *itemOf(at)->info.IdentifierURL;
        if (testCase == 1) {
            url.pContent = nullptr;
        } else if (testCase == 2 && url.pContent != nullptr) {
            // As far as the unchanged length says, so that later reads stay inside.
            std::memset(url.pContent, 0, url.Length);
            std::memcpy(url.pContent, wrong, std::min(sizeof wrong, std::size_t{url.Length}));
        }
    });
}

genericListElement* listFindElementAppInformationIdentifierURL(genericList* list,
                                                               genericListElement* probe) {
    if (list == nullptr || probe == nullptr) return nullptr;
    auto* at = listGetFirstElement(list);
    while (at != nullptr && listIsEqualAppInformationIdentifierURL(at, probe) == 0) {
        at = listGetNextElement(list);
    }
    return at;
}

Flag listIsEqualAppInformationIdentifierURL(genericListElement* a, genericListElement* b) {
    if (a == nullptr || b == nullptr) return eFLAG_FALSE;
    return quarlo_utilStringCompare(itemOf(a)->info.IdentifierURL, itemOf(b)->info.IdentifierURL);
}

eReturnCode listFreeElementDataAppInformation(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    appInformationItem& item = *itemOf(element);
    if (item.isOneBlock != 0) {
        wire::visitAll(&item.info, wire::Clear{});
    } else {
        wire::visitAll(&item.info, wire::Release{});
    }
    return eRETURN_OKAY;
}

eReturnCode listPrintElementAppInformation(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    const qrAppInformation& info = itemOf(element)->info;
    printText("      Name          ", info.Name);
    printText("      IdentifierURL ", info.IdentifierURL);
    printText("      Description   ", info.Description);
    printText("      Manufacturer  ", info.Manufacturer);
    std::printf("      Language      %.3s\n", reinterpret_cast<const char*>(info.arrLanguage));
    std::printf("                     install status %s\n",
                _quarlo_getAppInstallationStatusName(info.InstStatus));
    std::printf("                     is%s able to launch apps\n",
                info.IsAbleToLaunchApps == eFLAG_TRUE ? "" : " not");
    printCategories(info.Categories);
    return eRETURN_OKAY;
}

}  // extern "C"
