/*
 * The raw store: blocks of bytes that the phone parks in the head unit and fetches back, one list
 * per instance and one shared by all. syncLock guards both; receiver threads.
 */
#include <cstring>
#include <utility>

#include "QUARLO-Core-Utilities.h"

genericList coreRawDataList;

namespace quarlo {
namespace {

/** What the phone may park in one store. */
constexpr std::size_t quota = std::size_t{32} * 1024 * 1024;

rawDataItem* itemOf(genericListElement* element) {
    return reinterpret_cast<rawDataItem*>(element);
}

rawDataItem* find(genericList* list, UInt16 identifier) {
    rawDataItem probe{};
    probe.identifier = identifier;
    return itemOf(list->findElement(list, &probe.list));
}

std::size_t storedBytes(genericList* list) {
    std::size_t bytes = 0;
    for (auto* at = listGetFirstElement(list); at != nullptr; at = listGetNextElement(list)) {
        bytes += itemOf(at)->length;
    }
    return bytes;
}

void discard(rawDataItem* item) {
    if (item == nullptr) return;
    quarlo_free(item->data);
    quarlo_free(item);
}

/** Puts the new content into the store; what is left over, to be discarded by the caller. */
rawDataItem* install(genericList* list, rawDataItem* fresh, eReturnCode& result) {
    const Lock library(nullptr);
    rawDataItem* found = find(list, fresh->identifier);
    const std::size_t old = found == nullptr ? 0 : found->length;
    if (storedBytes(list) - old + fresh->length > quota) {
        // A full store is one that cannot allocate: the entry that was to be replaced is emptied.
        quarlo_free(std::exchange(fresh->data, nullptr));
        fresh->length = 0;
        result = eRETURN_MEM_ALLOC;
    }
    if (found != nullptr) {
        std::swap(found->data, fresh->data);
        std::swap(found->length, fresh->length);
        return fresh;
    }
    if (result != eRETURN_OKAY) return fresh;
    listAppendFresh(list, &fresh->list);
    return nullptr;
}

using Answer = wire::Outgoing<packetClientCustomData>;

/** The answer leads to the item's bytes until it is built; it is empty when there is no item. */
Built buildAnswer(Answer& answer, UInt16 identifier, const rawDataItem* item) {
    return build(answer, [&](packetClientCustomData& packet) {
        packet.Event = eCUSTOMDATAEVENT_Raw;
        packet.Type = identifier;
        if (item == nullptr || item->data == nullptr) return;
        packet.Length = item->length;
        packet.pData = item->data;
    });
}

eReturnCode sendAnswer(quarlo_CoreInstance* obj, Answer& answer, const Built& built) {
    const eReturnCode sent =
        conclude(obj, answer, built, "cannot allocate CustomData RAW packet.", eTRACECLASS_ERROR);
    if (sent == eRETURN_PACKET_MEMORY) _errorCall(obj, eERRORCODE_MEM_ALLOC);
    return sent;
}

Built buildFrom(genericList* list, UInt16 identifier, Answer& answer) {
    const Lock library(nullptr);
    return buildAnswer(answer, identifier, find(list, identifier));
}

}  // namespace

void initRawData(genericList* store) {
    listInitialize(store);
    store->findElement = &listFindElementRawDataIdentifier;
    store->isEqual = &listIsEqualRawDataItem;
    store->freeElementData = &listFreeElementDataRawDataItem;
    store->printElement = &listPrintElementRawDataItem;
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode _quarlo_exchangeRawData(rawDataItem* item, UInt16 length, UInt8* data) {
    if (item == nullptr) return eRETURN_NULL_PARAM;
    quarlo_free(std::exchange(item->data, nullptr));
    item->length = 0;
    if (length == 0) return eRETURN_OKAY;
    if (data == nullptr) return eRETURN_NULL_PARAM;
    item->data = wire::Heap::make<UInt8>(length);
    if (item->data == nullptr) return eRETURN_MEM_ALLOC;
    std::memcpy(item->data, data, length);
    item->length = length;
    return eRETURN_OKAY;
}

eReturnCode _quarlo_storeRawData(quarlo_CoreInstance* obj, genericList* list, UInt16 identifier,
                                 UInt16 length, UInt8* data) {
    auto* fresh = wire::Heap::make<rawDataItem>();
    if (fresh == nullptr) return outOfMemory(obj, "cannot allocate temporary raw data item.");
    fresh->identifier = identifier;
    eReturnCode result = _quarlo_exchangeRawData(fresh, length, data);
    discard(install(list, fresh, result));
    return result;
}

eReturnCode _quarlo_getAndSendRawData(quarlo_CoreInstance* obj, genericList* list,
                                      UInt16 identifier) {
    Answer answer;
    const Built built = buildFrom(list, identifier, answer);
    return sendAnswer(obj, answer, built);
}

eReturnCode _quarlo_sendRawData(quarlo_CoreInstance* obj, rawDataItem* item) {
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (item == nullptr) return eRETURN_NULL_PARAM;
    Answer answer;
    const Built built = buildAnswer(answer, item->identifier, item);
    return sendAnswer(obj, answer, built);
}

genericListElement* listFindElementRawDataIdentifier(genericList* list, genericListElement* probe) {
    if (list == nullptr || probe == nullptr) return nullptr;
    auto* at = listGetFirstElement(list);
    while (at != nullptr && itemOf(at)->identifier != itemOf(probe)->identifier) {
        at = listGetNextElement(list);
    }
    return at;
}

Flag listIsEqualRawDataItem(genericListElement* a, genericListElement* b) {
    return a != nullptr && b != nullptr && itemOf(a)->identifier == itemOf(b)->identifier;
}

eReturnCode listFreeElementDataRawDataItem(genericListElement* element) {
    return element == nullptr ? eRETURN_NULL_PARAM
                              : _quarlo_exchangeRawData(itemOf(element), 0, nullptr);
}

eReturnCode listPrintElementRawDataItem(genericListElement* element) {
    constexpr unsigned mostBytes = 16;
    if (element == nullptr) return eRETURN_NULL_PARAM;
    const rawDataItem& item = *itemOf(element);
    std::printf("      identifier 0x%4.4X\n", static_cast<unsigned>(item.identifier));
    std::printf("      length     %d\n", item.length);
    if (item.length == 0 || item.data == nullptr) return eRETURN_OKAY;
    std::printf("      data [hex] ");
    for (unsigned i = 0; i < item.length && i < mostBytes; ++i) {
        std::printf("%2.2X ", static_cast<unsigned>(item.data[i]));
    }
    std::printf("%s\n", item.length > mostBytes ? "..." : "");
    return eRETURN_OKAY;
}

}  // extern "C"
