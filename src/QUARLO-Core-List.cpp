/* The generic list; see the header. */
#include "QUARLO-Core-List.h"

#include <cstdint>
#include <cstdio>

#include "QUARLO-Posix.h"

namespace {

void unlink(genericListElement* element) {
    element->prev->next = element->next;
    element->next->prev = element->prev;
    element->prev = nullptr;
    element->next = nullptr;
}

void useDefaults(genericList* list) {
    list->isEqual = &listIsEqual;
    list->findElement = &listFindElement;
    list->freeElementData = &listFreeElementData;
    list->printElement = &listPrintElement;
}

/** The low half of an address, as the listing shows it. */
unsigned shown(const genericListElement* element) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(element));
}

}  // namespace

namespace quarlo {

void listAppendFresh(genericList* list, genericListElement* element) {
    element->prev = list->tail.prev;
    element->next = &list->tail;
    list->tail.prev->next = element;
    list->tail.prev = element;
    list->current = nullptr;
}

void listMoveAll(genericList* from, genericList* to) {
    from->current = nullptr;
    to->current = nullptr;
    if (listIsEmpty(from) != 0) return;
    from->head.next->prev = to->tail.prev;
    to->tail.prev->next = from->head.next;
    from->tail.prev->next = &to->tail;
    to->tail.prev = from->tail.prev;
    from->head.next = &from->tail;
    from->tail.prev = &from->head;
}

}  // namespace quarlo

extern "C" {

eReturnCode listInitialize(genericList* list) {
    if (list == nullptr) return eRETURN_NULL_PARAM;
    list->head = {nullptr, &list->tail};
    list->tail = {&list->head, nullptr};
    list->current = nullptr;
    useDefaults(list);
    return eRETURN_OKAY;
}

Flag listIsEmpty(genericList* list) {
    return list == nullptr || (list->head.next == &list->tail && list->tail.prev == &list->head);
}

eReturnCode listAppendElement(genericList* list, genericListElement* element) {
    if (list == nullptr || element == nullptr) return eRETURN_NULL_PARAM;
    genericListElement* cursor = list->current;
    if (listIsEmpty(list) == 0) {
        if (listFindElement(list, element) != nullptr) return eRETURN_ALREADY_IN_LIST;
        cursor = nullptr;
    }
    quarlo::listAppendFresh(list, element);
    list->current = cursor;
    return eRETURN_OKAY;
}

eReturnCode listRemoveElement(genericList* list, genericListElement* element) {
    if (list == nullptr || element == nullptr) return eRETURN_NULL_PARAM;
    if (listFindElement(list, element) == nullptr) return eRETURN_NOT_FOUND;
    if (list->current == element) list->current = element->prev;
    unlink(element);
    return eRETURN_OKAY;
}

eReturnCode listRemoveLastElement(genericList* list, genericListElement* element) {
    if (list == nullptr || element == nullptr) return eRETURN_NULL_PARAM;
    if (listIsEmpty(list) != 0 || list->tail.prev != element) return eRETURN_NOT_FOUND;
    unlink(element);
    return eRETURN_OKAY;
}

genericListElement* listFindElement(genericList* list, genericListElement* element) {
    if (list == nullptr || element == nullptr) return nullptr;
    genericListElement* at = listGetFirstElement(list);
    while (at != nullptr && at != element) at = listGetNextElement(list);
    return at;
}

Flag listIsEqual(genericListElement* a, genericListElement* b) {
    return a == b;
}

eReturnCode listCleanElementData(genericList* list) {
    if (list == nullptr) return eRETURN_NULL_PARAM;
    for (genericListElement* at = listGetFirstElement(list); at != nullptr;
         at = listGetNextElement(list)) {
        list->freeElementData(at);
    }
    return eRETURN_OKAY;
}

eReturnCode listClear(genericList* list) {
    if (list == nullptr) return eRETURN_NULL_PARAM;
    if (listIsEmpty(list) != 0) return eRETURN_OKAY;
    while (listIsEmpty(list) == 0) {
        genericListElement* first = list->head.next;
        list->freeElementData(first);
        unlink(first);
        quarlo_free(first);
    }
    list->current = &list->head;
    useDefaults(list);
    return eRETURN_OKAY;
}

eReturnCode listPrintElement(genericListElement*) {
    std::printf("      (no data)\n");
    return eRETURN_OKAY;
}

eReturnCode listPrint(genericList* list) {
    if (list == nullptr) return eRETURN_NULL_PARAM;
    std::printf("[   ] ELEMENT_    PREVIOUS      NEXT____\n");
    int index = 0;
    for (genericListElement* at = &list->head; at != nullptr; at = at->next) {
        std::printf("[%3.3d] 0x%8.8X  0x%8.8X  0x%8.8X", index++, shown(at), shown(at->prev),
                    shown(at->next));
        if (at == &list->head) {
            std::printf("   (head)\n");
        } else if (at == &list->tail) {
            std::printf("   (tail)\n");
        } else {
            std::printf("\n");
            list->printElement(at);
        }
    }
    return eRETURN_OKAY;
}

genericListElement* listGetFirstElement(genericList* list) {
    if (list == nullptr) return nullptr;
    list->current = listIsEmpty(list) != 0 ? nullptr : list->head.next;
    return list->current;
}

genericListElement* listGetNextElement(genericList* list) {
    if (list == nullptr) return nullptr;
    if (list->current == nullptr) return listGetFirstElement(list);
    const bool isAtEnd = listIsEmpty(list) != 0 || list->current->next == &list->tail;
    list->current = isAtEnd ? nullptr : list->current->next;
    return list->current;
}

int listGetLength(genericList* list) {
    int length = 0;
    for (genericListElement* at = listGetFirstElement(list); at != nullptr;
         at = listGetNextElement(list)) {
        ++length;
    }
    return length;
}

eReturnCode listFreeElementData(genericListElement*) {
    return eRETURN_OKAY;
}

}  // extern "C"
