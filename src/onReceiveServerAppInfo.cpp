/*
 * The phone's app catalogue: taken over as a whole or not at all. The new catalogue is built aside
 * on the receiver thread and installed under internalLock.
 */
#include "QUARLO-Core-Utilities.h"
#include "QUARLO-WireCopy.h"

namespace quarlo {
namespace {

/** What a phone may make the head unit keep; more is an allocation that fails. */
constexpr UInt32 mostApps = 16384;
constexpr std::uint64_t mostBytes = std::uint64_t{32} * 1024 * 1024;

bool isTorn(const qrString* string) {
    return string != nullptr && string->Length != 0 && string->pContent == nullptr;
}

bool lacksCategories(const qrCategoryList* list) {
    return list == nullptr || list->pCategories == nullptr || list->NumberOfCategories == 0;
}

/** Traces why an item spoils the catalogue; false when it does. */
bool check(quarlo_CoreInstance* obj, UInt32 index, const qrAppInformation* item) {
    const auto refuse = [&](const char* text) {
        trace(obj, eTRACECLASS_WARNING, "\tServerAppInfo item[%d] with %s; ignore list.",
              static_cast<int>(index), text);
        return false;
    };
    if (item == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "onReceiveServerAppInfo called with AppInformation item = NULL.");
        return false;
    }
    if (lengthOf(item->IdentifierURL) == 0) return refuse("empty IdentifierURL");
    if (isTorn(item->Name) || isTorn(item->Description) || isTorn(item->Manufacturer)) {
        return refuse("invalid strings");
    }
    return lacksCategories(item->Categories) ? refuse("empty category list") : true;
}

void traceItem(quarlo_CoreInstance* obj, const qrAppInformation& info) {
    constexpr eTraceClass verbose = eTRACECLASS_VERBOSE;
    if (!traces(obj, verbose)) return;
    const auto text = [&](const char* name, const qrString* string) {
        trace(obj, verbose, "%s = '%.*s'.", name, lengthOf(string), bytesOf(string));
    };
    trace(obj, verbose, "UniqueIconID = %d.", static_cast<int>(info.UniqueIconID));
    text("IdentifierURL", info.IdentifierURL);
    text("Name", info.Name);
    text("Description", info.Description);
    text("Manufacturer", info.Manufacturer);
    for (unsigned i = 0; i < info.Categories->NumberOfCategories; ++i) {
        trace(obj, verbose, "cat[%d] = %d.", static_cast<int>(i),
              static_cast<int>(info.Categories->pCategories[i]));
    }
    trace(obj, verbose, "InstStatus = %d, IsAbleToLaunchApps = %d.", info.InstStatus,
          info.IsAbleToLaunchApps);
}

/** A copy of the app and its texts, in one block; null without memory. */
appInformationItem* makeItem(const qrAppInformation& info) {
    using wire::Pieces;
    wire::PiecesOf pieces;
    wire::Layout<qrAppInformation>::each(info, pieces);
    void* block = quarlo_malloc(Pieces::sizeOf<appInformationItem>() + pieces.size);
    if (block == nullptr) return nullptr;
    Pieces memory(block);
    auto* item = memory.make<appInformationItem>();
    item->info = info;
    item->isOneBlock = eFLAG_TRUE;
    wire::Separate<Pieces> separate{memory};
    wire::Layout<qrAppInformation>::each(item->info, separate);
    return item;
}

/** Appends a copy of the item; false without memory or beyond what is kept. */
bool append(quarlo_CoreInstance* obj, genericList& catalogue, const qrAppInformation& info,
            bool isWithinQuota) {
    appInformationItem* item = isWithinQuota ? makeItem(info) : nullptr;
    if (item == nullptr) {
        trace(obj, eTRACECLASS_ERROR, "cannot allocate app information");
        return false;
    }
    traceItem(obj, item->info);
    listAppendFresh(&catalogue, &item->list);
    return true;
}

bool build(quarlo_CoreInstance* obj, const qrAppInformationList& list, genericList& catalogue) {
    std::uint64_t bytes = 0;
    for (UInt32 i = 0; i < list.NumberOfApps; ++i) {
        const qrAppInformation* info = list.paInfo[i];
        if (!check(obj, i, info)) return false;
        bytes += wire::measure(*info).size;
        if (!append(obj, catalogue, *info, i < mostApps && bytes <= mostBytes)) return false;
    }
    return true;
}

/** Puts the new catalogue in the place of the old one and frees that. */
void install(quarlo_CoreInstance* obj, genericList& catalogue) {
    genericList former;
    listInitialize(&former);
    former.freeElementData = &listFreeElementDataAppInformation;
    {
        const Lock lock(obj);
        listMoveAll(&obj->appInformationList, &former);
        listMoveAll(&catalogue, &obj->appInformationList);
    }
    listClear(&former);
}

void replace(quarlo_CoreInstance* obj, const qrAppInformationList& list) {
    genericList catalogue;
    listInitialize(&catalogue);
    catalogue.freeElementData = &listFreeElementDataAppInformation;
    trace(obj, eTRACECLASS_VERBOSE, "\tappInfoListLength = %d.",
          static_cast<int>(list.NumberOfApps));
    const bool isWhole = build(obj, list, catalogue);
    // Deliberate: one bad item empties the whole catalogue, the former one too: the phone has said
    // that the former is out of date, and of the new one nobody knows what is missing.
    if (!isWhole) listClear(&catalogue);
    install(obj, catalogue);
    if (!isWhole) {
        trace(obj, eTRACECLASS_WARNING, "ServerAppInfo list has invalid items; ignored.");
    } else if (inRun(obj)) {
        notify(obj, obj->onAppListChangedCallback);
    }
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveServerAppInfo(quarlo_CoreInstance* obj, packetServerAppInfo* pPacket) {
    if (obj == nullptr) return;
    trace(obj, eTRACECLASS_INFORMATION, "ServerAppInfo");
    if (pPacket == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "onReceiveServerAppInfo called with NULL packet.");
    } else if (pPacket->Info == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "onReceiveServerAppInfo called with list = NULL.");
    } else if (pPacket->Info->NumberOfApps == 0 || pPacket->Info->paInfo == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "onReceiveServerAppInfo called with empty AppInformation array.");
    } else {
        replace(obj, *pPacket->Info);
    }
}
