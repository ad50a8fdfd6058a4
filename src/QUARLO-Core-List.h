/*
 * The generic list: intrusive, doubly linked, with two sentinels, one cursor, and four operations
 * that each kind of element may replace. Element records begin with their link. The list has no
 * lock: its owner guards it. Every operation that walks the list moves the cursor and so ends an
 * iteration that is under way.
 */
#ifndef QUARLO_CORE_LIST_H
#define QUARLO_CORE_LIST_H

#include "QUARLO-Core-Types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct _LIST_ELEMENT_STRUCT {
    struct _LIST_ELEMENT_STRUCT* prev;
    struct _LIST_ELEMENT_STRUCT* next;
} genericListElement;

typedef struct _LIST_STRUCT {
    genericListElement head;     /* before the first element; prev is null */
    genericListElement tail;     /* after the last element; next is null */
    genericListElement* current; /* the cursor; null when no iteration is under way */
    Flag (*isEqual)(genericListElement* a, genericListElement* b);
    genericListElement* (*findElement)(struct _LIST_STRUCT* list, genericListElement* probe);
    eReturnCode (*freeElementData)(genericListElement* element);
    eReturnCode (*printElement)(genericListElement* element);
} genericList;

eReturnCode listInitialize(genericList* list);
Flag listIsEmpty(genericList* list);
/** Links the element at the end, unless it is in the list. */
eReturnCode listAppendElement(genericList* list, genericListElement* element);
/** Unlinks the element; a cursor on it moves to its predecessor, so a walk can go on. Not freed. */
eReturnCode listRemoveElement(genericList* list, genericListElement* element);
/** Unlinks the element if it is the last one, leaving the cursor. Not freed. */
eReturnCode listRemoveLastElement(genericList* list, genericListElement* element);
/** Finds this very element. */
genericListElement* listFindElement(genericList* list, genericListElement* element);
Flag listIsEqual(genericListElement* a, genericListElement* b);
/** Frees what the elements own; they stay in the list. */
eReturnCode listCleanElementData(genericList* list);
/** Frees every element with what it owns; a list that was not empty gets the default operations. */
eReturnCode listClear(genericList* list);
eReturnCode listPrintElement(genericListElement* element);
eReturnCode listPrint(genericList* list);
genericListElement* listGetFirstElement(genericList* list);
genericListElement* listGetNextElement(genericList* list);
int listGetLength(genericList* list);
eReturnCode listFreeElementData(genericListElement* element);

#ifdef __cplusplus
}

namespace quarlo {
/** Links an element that is known to be in no list, without searching; the cursor is reset. */
void listAppendFresh(genericList* list, genericListElement* element);
/** Moves all elements, in their order, to the end of another list; both cursors are reset. */
void listMoveAll(genericList* from, genericList* to);
}  // namespace quarlo
#endif

#endif
