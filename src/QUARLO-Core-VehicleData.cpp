/*
 * Vehicle data: which values the phone wants, the last value of each, and the keys it never wants.
 * The filter and the values belong to the instance (internalLock); the blacklist to the process
 * (syncLock). Callbacks are made after the lock is released, with keys copied to the stack.
 */
#include <algorithm>
#include <cstring>
#include <utility>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"

UInt32* vehicleDataBlackList = nullptr;
quarlo::Polled<UInt8> vehicleDataBlackListLength;

namespace quarlo {
namespace {

constexpr std::size_t mostKeys = 255;

vehicleDataItem* itemOf(genericListElement* element) {
    return reinterpret_cast<vehicleDataItem*>(element);
}

void installOperations(genericList& list) {
    list.findElement = &listFindElementVehicleDataKey;
    list.isEqual = &listIsEqualVehicleDataKey;
    list.freeElementData = &listFreeElementDataVehicleData;
    list.printElement = &listPrintElementVehicleData;
}

vehicleDataItem* find(quarlo_CoreInstance* obj, UInt32 key) {
    vehicleDataItem probe{};
    probe.key = key;
    return itemOf(obj->vehicleDataList.findElement(&obj->vehicleDataList, &probe.list));
}

/* ---- the filter ---- */

/** Keys on the stack; twice the most, because duplicates of a request are not merged. */
struct Keys {
    UInt32 keys[2 * (mostKeys + 1)];
    std::size_t count = 0;

    void add(UInt32 key) { keys[count++] = key; }
};

struct FilterChange {
    Keys filter;
    Keys added;
    Keys removed;
};

/** Kept keys in their old order, then the new ones in the order of the request. */
void compare(const quarlo_CoreInstance* obj, UInt8 length, const UInt32* wanted,
             FilterChange& change) {
    for (std::size_t i = 0; i < obj->vehicleDataKeyListLength; ++i) {
        const UInt32 key = obj->vehicleDataKeyList[i];
        const bool isKept = std::find(wanted, wanted + length, key) != wanted + length;
        (isKept ? change.filter : change.removed).add(key);
    }
    // cppcheck-suppress uninitvar ; Keys starts empty
    const std::size_t kept = change.filter.count;
    for (std::size_t i = 0; i < length; ++i) {
        UInt32* end = change.filter.keys + kept;
        if (std::find(change.filter.keys, end, wanted[i]) != end) continue;
        change.added.add(wanted[i]);
        change.filter.add(wanted[i]);
    }
}

void dropFilter(quarlo_CoreInstance* obj) {
    quarlo_free(std::exchange(obj->vehicleDataKeyList, nullptr));
    obj->vehicleDataKeyListLength = 0;
}

/** Installs the new filter; false when it is too long to be counted or there is no memory. */
bool installFilter(quarlo_CoreInstance* obj, const Keys& filter) {
    dropFilter(obj);
    if (filter.count > mostKeys) return false;
    obj->vehicleDataKeyList = wire::Heap::make<UInt32>(filter.count);
    if (obj->vehicleDataKeyList == nullptr) return false;
    std::copy_n(filter.keys, filter.count, obj->vehicleDataKeyList);
    obj->vehicleDataKeyListLength = static_cast<UInt8>(filter.count);
    return true;
}

void forget(quarlo_CoreInstance* obj, const Keys& removed) {
    for (std::size_t i = 0; i < removed.count; ++i) {
        vehicleDataItem* item = find(obj, removed.keys[i]);
        if (item == nullptr) continue;
        listRemoveElement(&obj->vehicleDataList, &item->list);
        listFreeElementDataVehicleData(&item->list);
        quarlo_free(item);
    }
}

bool expect(quarlo_CoreInstance* obj, const Keys& added) {
    for (std::size_t i = 0; i < added.count; ++i) {
        auto* item = wire::Heap::make<vehicleDataItem>();
        if (item == nullptr) return false;
        item->key = added.keys[i];
        listAppendFresh(&obj->vehicleDataList, &item->list);
    }
    return true;
}

/** Changes filter and items under the lock; the text of the failure, null for none. */
const char* apply(quarlo_CoreInstance* obj, UInt8 length, const UInt32* wanted,
                  FilterChange& change) {
    const Lock lock(obj);
    compare(obj, length, wanted, change);
    if (!installFilter(obj, change.filter)) {
        _clearVehicleDataList(obj);
        return "ProcessSetVehicleDataFilter: error allocating vehicleDataKeyList";
    }
    forget(obj, change.removed);
    if (expect(obj, change.added)) return nullptr;
    dropFilter(obj);
    _clearVehicleDataList(obj);
    return "ProcessSetVehicleDataFilter: error allocating vehicleDataItem";
}

void tell(quarlo_CoreInstance* obj, Flag isOn, Keys& keys) {
    if (keys.count == 0) return;
    notify(obj, obj->onVehicleDataRequestCallback, isOn, static_cast<UInt8>(keys.count),
           static_cast<UInt32*>(keys.keys));
}

void copyFilter(quarlo_CoreInstance* obj, Keys& keys) {
    const Lock lock(obj);
    for (std::size_t i = 0; i < obj->vehicleDataKeyListLength; ++i) {
        keys.add(obj->vehicleDataKeyList[i]);
    }
}

/** Deliberate: the host is told before the filter goes, so that a value which it gives in that
 * callback is taken and not refused as one that nobody asked for. */
void clearFilter(quarlo_CoreInstance* obj, bool isHostTold) {
    Keys old;
    copyFilter(obj, old);
    if (isHostTold) tell(obj, eFLAG_FALSE, old);
    const Lock lock(obj);
    dropFilter(obj);
    _clearVehicleDataList(obj);
}

eReturnCode updateFilter(quarlo_CoreInstance* obj, UInt8 length, const UInt32* wanted,
                         bool isHostTold) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (length != 0 && wanted == nullptr) return eRETURN_NULL_PARAM;
    if (length == 0) {
        trace(obj, eTRACECLASS_INFORMATION, "vehicle data key list update: completely clear all");
        clearFilter(obj, isHostTold);
        return eRETURN_OKAY;
    }
    FilterChange change;
    const char* failed = apply(obj, length, wanted, change);
    if (failed != nullptr) return outOfMemory(obj, failed);
    if (isHostTold) {
        tell(obj, eFLAG_FALSE, change.removed);
        tell(obj, eFLAG_TRUE, change.added);
    }
    return eRETURN_OKAY;
}

/* ---- values ---- */

enum class Storing { Done, NotWanted, NoMemory };

/** Makes the item's value hold so many bytes; without memory it has none. */
bool makeRoom(vehicleDataItem& item, UInt16 length) {
    if (item.value != nullptr && item.capacity >= length) return true;
    wire::Heap::discard(item.value);
    item.value = wire::Heap::make<qrString>();
    item.capacity = 0;
    if (item.value == nullptr || length == 0) return item.value != nullptr;
    item.value->pContent = static_cast<UInt8*>(quarlo_malloc(length));
    if (item.value->pContent != nullptr) {
        item.capacity = length;
    } else {
        wire::Heap::discard(std::exchange(item.value, nullptr));
    }
    return item.value != nullptr;
}

/** Keeps the value; where it fits, in the memory of the one before. */
Storing keep(quarlo_CoreInstance* obj, UInt32 key, const qrString& value) {
    const Lock lock(obj);
    vehicleDataItem* item = find(obj, key);
    if (item == nullptr) return Storing::NotWanted;
    if (!makeRoom(*item, value.Length)) return Storing::NoMemory;
    item->value->Encoding = value.Encoding;
    item->value->Length = value.Length;
    if (value.Length != 0) std::memcpy(item->value->pContent, value.pContent, value.Length);
    return Storing::Done;
}

eReturnCode storeValue(quarlo_CoreInstance* obj, UInt32 key, const qrString& value) {
    switch (keep(obj, key, value)) {
        case Storing::Done:
            return eRETURN_OKAY;
        case Storing::NotWanted:
            trace(obj, eTRACECLASS_WARNING,
                  "quarlo_VehicleData: key %u not found in filter list; data ignored.", key);
            return eRETURN_PARAM_VALUE;
        case Storing::NoMemory:
            break;
    }
    return outOfMemory(obj, "quarlo_VehicleData: error allocating value object");
}

bool isBlacklisted(UInt32 key) {
    // Mostly there is no list, and the lock is not worth asking.
    if (vehicleDataBlackListLength == 0) return false;
    const Lock library(nullptr);
    UInt32* end = vehicleDataBlackList + vehicleDataBlackListLength;
    return std::find(vehicleDataBlackList, end, key) != end;
}

/** Deliberate: shown only where information and verbose tracing are on, since values tell where
 * somebody is and how he drives: one class alone does not bring them into a log. */
void traceValue(quarlo_CoreInstance* obj, UInt32 key, const char* text) {
    constexpr int shown = 79;
    if (!traces(obj, eTRACECLASS_INFORMATION)) return;
    const bool isLong = std::strlen(text) > static_cast<std::size_t>(shown);
    trace(obj, eTRACECLASS_VERBOSE, "vehicle data: key='%u' value='%.*s%s'", key, shown, text,
          isLong ? "..." : "");
}

eReturnCode sendValue(quarlo_CoreInstance* obj, UInt32 key, const qrString& value) {
    return send<packetVehicleData>(obj, "creation of VehicleData packet failed.",
                                   [&](packetVehicleData& packet) {
                                       packet.Key = key;
                                       *packet.JSONValue = value;
                                   });
}

/* ---- the blacklist ---- */

enum class Listing { Done, NoFirst, NoMore };

struct Blacklist {
    Listing result = Listing::Done;
    bool hadStaleList = false;
    UInt32 keys[mostKeys + 1];
    std::size_t count = 0;
};

Listing startBlacklist(UInt32 key, bool& hadStaleList) {
    hadStaleList = vehicleDataBlackList != nullptr;
    quarlo_free(std::exchange(vehicleDataBlackList, nullptr));
    vehicleDataBlackList = wire::Heap::make<UInt32>();
    if (vehicleDataBlackList == nullptr) return Listing::NoFirst;
    vehicleDataBlackList[0] = key;
    vehicleDataBlackListLength = 1;
    return Listing::Done;
}

Listing extendBlacklist(UInt32 key) {
    const std::size_t length = vehicleDataBlackListLength;
    UInt32* end = vehicleDataBlackList + length;
    if (std::find(vehicleDataBlackList, end, key) != end) return Listing::Done;
    auto* grown = wire::Heap::make<UInt32>(length + 1);
    if (grown == nullptr) return Listing::NoMore;
    std::copy_n(vehicleDataBlackList, length, grown);
    grown[length] = key;
    quarlo_free(std::exchange(vehicleDataBlackList, grown));
    // Deliberate: the length has one byte, which bounds what phones can make this list grow to. The
    // 256th key makes it 0 and the next starts afresh, so that a full list does not refuse keys for
    // the life of the process.
    vehicleDataBlackListLength = static_cast<UInt8>(length + 1);
    return Listing::Done;
}

void blacklist(UInt32 key, Blacklist& after) {
    const Lock library(nullptr);
    after.result = vehicleDataBlackListLength == 0 ? startBlacklist(key, after.hadStaleList)
                                                   : extendBlacklist(key);
    after.count = vehicleDataBlackListLength;
    std::copy_n(vehicleDataBlackList, after.count, after.keys);
}

}  // namespace

void initVehicleData(quarlo_CoreInstance* obj) {
    listInitialize(&obj->vehicleDataList);
    installOperations(obj->vehicleDataList);
}

void releaseVehicleData(quarlo_CoreInstance* obj) {
    dropFilter(obj);
    listClear(&obj->vehicleDataList);
}

void shutdownVehicleData() {
    const Lock library(nullptr);
    quarlo_free(std::exchange(vehicleDataBlackList, nullptr));
    vehicleDataBlackListLength = 0;
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

void _clearVehicleDataList(quarlo_CoreInstance* obj) {
    if (obj == nullptr) return;
    listClear(&obj->vehicleDataList);
    installOperations(obj->vehicleDataList);
}

eReturnCode _quarlo_ProcessSetVehicleDataFilter(quarlo_CoreInstance* obj, UInt8 length,
                                                UInt32* keyList) {
    return updateFilter(obj, length, keyList, true);
}

eReturnCode _quarlo_ProcessVehicleDataBlackList(quarlo_CoreInstance* obj, UInt32 key) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    Blacklist after;
    blacklist(key, after);
    if (after.hadStaleList) {
        trace(obj, eTRACECLASS_WARNING, "non-empty vehicle data blacklist found for length=0");
    }
    if (after.result == Listing::NoFirst) {
        return outOfMemory(obj, "cannot allocate vehicle data blacklist");
    }
    if (after.result == Listing::NoMore) {
        return outOfMemory(obj,
                           "cannot allocate new vehicle data blacklist; additional key ignored.");
    }
    trace(obj, eTRACECLASS_INFORMATION, "Blacklist Urgent VehicleData:");
    for (std::size_t i = 0; i < after.count; ++i) {
        trace(obj, eTRACECLASS_INFORMATION, "    [%3d] %u", static_cast<int>(i), after.keys[i]);
    }
    return eRETURN_OKAY;
}

eReturnCode quarlo_SetVehicleDataRequestCallback(void* instanceHandle,
                                                 quarloVehicleDataRequestCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onVehicleDataRequestCallback, callback,
                 nullptr);
}

eReturnCode quarlo_Eng_SetVehicleDataFilter(void* instanceHandle, Flag callbackOn, UInt8 length,
                                            UInt32* keyList) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        return updateFilter(obj, length, keyList, callbackOn != 0);
    });
}

eReturnCode quarlo_VehicleData(void* instanceHandle, UInt32 key, StringEncoding,
                               const char* jsonString) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (jsonString == nullptr) return eRETURN_NULL_PARAM;
        const qrString value = borrowText(jsonString);
        const eReturnCode stored = storeValue(obj, key, value);
        if (stored != eRETURN_OKAY) return stored;
        if (!inRun(obj, "quarlo_VehicleData() called in wrong state; not sent to handset.")) {
            return eRETURN_STATE_NOT_RUN;
        }
        if (!isBlacklisted(key)) {
            traceValue(obj, key, jsonString);
            return sendValue(obj, key, value);
        }
        // Deliberate: a blacklisted key counts as success, because the value is stored and not sent
        // by the phone's own wish: the host has nothing to repeat or repair.
        trace(obj, eTRACECLASS_WARNING,
              "quarlo_VehicleData: key %u is on the blacklist; not sent to handset.", key);
        return eRETURN_OKAY;
    });
}

genericListElement* listFindElementVehicleDataKey(genericList* list, genericListElement* probe) {
    if (list == nullptr || probe == nullptr) return nullptr;
    auto* at = listGetFirstElement(list);
    while (at != nullptr && itemOf(at)->key != itemOf(probe)->key) at = listGetNextElement(list);
    return at;
}

Flag listIsEqualVehicleDataKey(genericListElement* a, genericListElement* b) {
    return a != nullptr && b != nullptr && itemOf(a)->key == itemOf(b)->key;
}

eReturnCode listFreeElementDataVehicleData(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    wire::Heap::discard(std::exchange(itemOf(element)->value, nullptr));
    return eRETURN_OKAY;
}

eReturnCode listPrintElementVehicleData(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    const vehicleDataItem& item = *itemOf(element);
    std::printf("      key        %d\n", static_cast<int>(item.key));
    if (item.value != nullptr) {
        std::printf("      value      %.*s\n", lengthOf(item.value), bytesOf(item.value));
    }
    return eRETURN_OKAY;
}

}  // extern "C"
