/* The generic list: links, cursor, membership and the operations of an element's kind. */
#include "QUARLO-Core-List.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Allocations.h"
#include "QUARLO-Posix.h"

namespace quarlo::test {
namespace {

/** An element of some kind: its link comes first. */
struct Item {
    genericListElement link{};
    int key = 0;
};

std::vector<int> releasedKeys;
std::vector<int> printedKeys;

int keyOf(const genericListElement* element) {
    return reinterpret_cast<const Item*>(element)->key;
}

eReturnCode releaseItem(genericListElement* element) {
    releasedKeys.push_back(keyOf(element));
    return eRETURN_OKAY;
}
eReturnCode printItem(genericListElement* element) {
    printedKeys.push_back(keyOf(element));
    return eRETURN_OKAY;
}
genericListElement* findKey(genericList* list, genericListElement* probe) {
    genericListElement* at = listGetFirstElement(list);
    while (at != nullptr && keyOf(at) != keyOf(probe)) at = listGetNextElement(list);
    return at;
}

/** The keys in order, after checking that the links agree in both directions. */
std::vector<int> keysOf(const genericList& list) {
    std::vector<int> forwards;
    const genericListElement* before = &list.head;
    for (const auto* at = list.head.next; at != &list.tail; at = at->next) {
        EXPECT_EQ(at->prev, before);
        forwards.push_back(keyOf(at));
        before = at;
    }
    EXPECT_EQ(list.tail.prev, before);
    EXPECT_EQ(list.head.prev, nullptr);
    EXPECT_EQ(list.tail.next, nullptr);
    return forwards;
}

class List : public testing::Test {
  protected:
    List() {
        releasedKeys.clear();
        printedKeys.clear();
        EXPECT_EQ(listInitialize(&list), eRETURN_OKAY);
        for (int i = 0; i < 4; ++i) items[i].key = i;
    }
    genericListElement* item(int key) { return &items[key].link; }
    void append(std::initializer_list<int> keys) {
        for (const int key : keys) ASSERT_EQ(listAppendElement(&list, item(key)), eRETURN_OKAY);
    }
    std::vector<int> keys() const { return keysOf(list); }
    using Keys = std::vector<int>;

    genericList list{};
    Item items[4];
};

TEST_F(List, IsEmptyWithDefaultOperationsAtFirst) {
    EXPECT_EQ(keys(), Keys{});
    EXPECT_EQ(listIsEmpty(&list), eFLAG_TRUE);
    EXPECT_EQ(list.current, nullptr);
    EXPECT_EQ(list.isEqual, &listIsEqual);
    EXPECT_EQ(list.findElement, &listFindElement);
    EXPECT_EQ(list.freeElementData, &listFreeElementData);
    EXPECT_EQ(list.printElement, &listPrintElement);
    EXPECT_EQ(listGetFirstElement(&list), nullptr);
    EXPECT_EQ(listGetNextElement(&list), nullptr);
    EXPECT_EQ(listGetLength(&list), 0);
    EXPECT_EQ(listIsEqual(item(0), item(0)), eFLAG_TRUE);
    EXPECT_EQ(listIsEqual(item(0), item(1)), eFLAG_FALSE);
    EXPECT_EQ(listFreeElementData(item(0)), eRETURN_OKAY);
}

TEST_F(List, RefusesNull) {
    EXPECT_EQ(listInitialize(nullptr), eRETURN_NULL_PARAM);
    for (const auto operation : {listAppendElement, listRemoveElement, listRemoveLastElement}) {
        EXPECT_EQ(operation(nullptr, item(0)), eRETURN_NULL_PARAM);
        EXPECT_EQ(operation(&list, nullptr), eRETURN_NULL_PARAM);
    }
    for (const auto operation : {listCleanElementData, listClear, listPrint}) {
        EXPECT_EQ(operation(nullptr), eRETURN_NULL_PARAM);
    }
    EXPECT_EQ(listFindElement(nullptr, item(0)), nullptr);
    EXPECT_EQ(listFindElement(&list, nullptr), nullptr);
    EXPECT_EQ(listGetFirstElement(nullptr), nullptr);
    EXPECT_EQ(listGetNextElement(nullptr), nullptr);
    EXPECT_EQ(listGetLength(nullptr), 0);
    EXPECT_EQ(listIsEmpty(nullptr), eFLAG_TRUE);
}

TEST_F(List, AppendsEachElementOnce) {
    append({0, 1, 2});
    EXPECT_EQ(keys(), (Keys{0, 1, 2}));
    EXPECT_EQ(listGetLength(&list), 3);
    EXPECT_EQ(listIsEmpty(&list), eFLAG_FALSE);
    EXPECT_EQ(listAppendElement(&list, item(1)), eRETURN_ALREADY_IN_LIST);
    EXPECT_EQ(list.current, item(1));
    EXPECT_EQ(keys(), (Keys{0, 1, 2}));
    // Membership goes by identity: an equal key is welcome.
    list.findElement = &findKey;
    items[3].key = 1;
    EXPECT_EQ(listAppendElement(&list, item(3)), eRETURN_OKAY);
    EXPECT_EQ(list.current, nullptr);  // where the search in vain left it
    EXPECT_EQ(keys(), (Keys{0, 1, 2, 1}));
    EXPECT_EQ(list.findElement(&list, item(3)), item(1));
    EXPECT_EQ(listRemoveElement(&list, item(3)), eRETURN_OKAY);
    EXPECT_EQ(keys(), (Keys{0, 1, 2}));
    EXPECT_EQ(listRemoveElement(&list, item(3)), eRETURN_NOT_FOUND);
    EXPECT_EQ(keys(), (Keys{0, 1, 2}));
}

TEST_F(List, AppendsToAnEmptyListWithoutASearch) {
    append({0});
    EXPECT_EQ(listRemoveElement(&list, item(0)), eRETURN_OKAY);
    EXPECT_EQ(list.current, &list.head);
    append({1});
    EXPECT_EQ(list.current, &list.head);
    EXPECT_EQ(listGetNextElement(&list), item(1));
}

TEST_F(List, AppendsFreshElementsWithoutLookingAtTheOthers) {
    quarlo::listAppendFresh(&list, item(2));
    quarlo::listAppendFresh(&list, item(0));
    EXPECT_EQ(keys(), (Keys{2, 0}));
    listGetFirstElement(&list);
    quarlo::listAppendFresh(&list, item(1));
    EXPECT_EQ(list.current, nullptr);
    EXPECT_EQ(keys(), (Keys{2, 0, 1}));
}

TEST_F(List, MovesAllElementsToAnotherList) {
    genericList other{};
    listInitialize(&other);
    append({0, 1});
    listAppendElement(&other, item(2));
    listAppendElement(&other, item(3));
    const auto moved = [](genericList& from, genericList& to) {
        listGetFirstElement(&from);
        listGetFirstElement(&to);
        quarlo::listMoveAll(&from, &to);
        EXPECT_EQ(from.current, nullptr);
        EXPECT_EQ(to.current, nullptr);
        EXPECT_EQ(keysOf(from), Keys{});
        EXPECT_EQ(listIsEmpty(&from), eFLAG_TRUE);
        return keysOf(to);
    };
    EXPECT_EQ(moved(list, other), (Keys{2, 3, 0, 1}));  // behind what is there
    EXPECT_EQ(moved(list, other), (Keys{2, 3, 0, 1}));  // nothing to move
    EXPECT_EQ(moved(other, list), (Keys{2, 3, 0, 1}));  // into an empty list
}

TEST_F(List, WalksRoundWithOneCursor) {
    append({0, 1});
    EXPECT_EQ(listGetNextElement(&list), item(0));  // from null: begins
    EXPECT_EQ(listGetNextElement(&list), item(1));
    EXPECT_EQ(listGetNextElement(&list), nullptr);
    EXPECT_EQ(listGetNextElement(&list), item(0));
    EXPECT_EQ(listFindElement(&list, item(1)), item(1));
    EXPECT_EQ(list.current, item(1));  // a search moves the cursor
    EXPECT_EQ(listGetNextElement(&list), nullptr);
    listGetFirstElement(&list);
    EXPECT_EQ(listFindElement(&list, item(3)), nullptr);
    EXPECT_EQ(list.current, nullptr);
    listGetFirstElement(&list);
    EXPECT_EQ(listGetLength(&list), 2);
    EXPECT_EQ(list.current, nullptr);
}

TEST_F(List, RemovesUnderTheCursorSoThatAWalkGoesOn) {
    append({0, 1, 2, 3});
    Keys visited;
    for (auto* at = listGetFirstElement(&list); at != nullptr; at = listGetNextElement(&list)) {
        visited.push_back(keyOf(at));
        if (keyOf(at) == 3) continue;
        EXPECT_EQ(listRemoveElement(&list, at), eRETURN_OKAY);
        EXPECT_EQ(at->prev, nullptr);
        EXPECT_EQ(at->next, nullptr);
        EXPECT_EQ(list.current, &list.head);
    }
    EXPECT_EQ(visited, (Keys{0, 1, 2, 3}));
    EXPECT_EQ(keys(), Keys{3});
    EXPECT_EQ(listRemoveElement(&list, item(0)), eRETURN_NOT_FOUND);
    append({0, 1});
    EXPECT_EQ(listRemoveElement(&list, item(0)), eRETURN_OKAY);
    EXPECT_EQ(list.current, item(3));  // wherever it stood: on the predecessor
    EXPECT_EQ(keys(), (Keys{3, 1}));
    listRemoveElement(&list, item(3));
    listRemoveElement(&list, item(1));
    EXPECT_EQ(listIsEmpty(&list), eFLAG_TRUE);
    EXPECT_EQ(listGetNextElement(&list), nullptr);
}

TEST_F(List, RemovesTheLastElementWithoutMovingTheCursor) {
    EXPECT_EQ(listRemoveLastElement(&list, item(0)), eRETURN_NOT_FOUND);
    EXPECT_EQ(listRemoveLastElement(&list, &list.head), eRETURN_NOT_FOUND);
    append({0, 1, 2});
    listGetFirstElement(&list);
    EXPECT_EQ(listRemoveLastElement(&list, item(1)), eRETURN_NOT_FOUND);
    EXPECT_EQ(listRemoveLastElement(&list, item(2)), eRETURN_OKAY);
    EXPECT_EQ(items[2].link.prev, nullptr);
    EXPECT_EQ(items[2].link.next, nullptr);
    EXPECT_EQ(list.current, item(0));
    EXPECT_EQ(keys(), (Keys{0, 1}));
}

TEST_F(List, CleansElementsInPlace) {
    list.freeElementData = &releaseItem;
    EXPECT_EQ(listCleanElementData(&list), eRETURN_OKAY);
    append({2, 0, 1});
    EXPECT_EQ(listCleanElementData(&list), eRETURN_OKAY);
    EXPECT_EQ(releasedKeys, (Keys{2, 0, 1}));
    EXPECT_EQ(keys(), (Keys{2, 0, 1}));
}

TEST_F(List, ClearFreesElementsAndForgetsTheirKind) {
    list.freeElementData = &releaseItem;
    list.printElement = &printItem;
    list.findElement = &findKey;
    list.isEqual = [](genericListElement*, genericListElement*) { return Flag{0}; };
    EXPECT_EQ(listClear(&list), eRETURN_OKAY);
    EXPECT_EQ(list.freeElementData, &releaseItem);  // an empty list keeps its kind
    EXPECT_EQ(list.findElement, &findKey);
    for (const int key : {5, 6, 7}) {
        auto* element = static_cast<Item*>(quarlo_malloc(sizeof(Item)));
        *element = {{}, key};
        listAppendElement(&list, &element->link);
    }
    EXPECT_EQ(allocations::live(), 3);
    EXPECT_EQ(keyOf(listGetFirstElement(&list)), 5);
    EXPECT_EQ(listClear(&list), eRETURN_OKAY);
    EXPECT_EQ(releasedKeys, (Keys{5, 6, 7}));
    EXPECT_EQ(allocations::live(), 0);
    EXPECT_EQ(keys(), Keys{});
    EXPECT_EQ(list.freeElementData, &listFreeElementData);
    EXPECT_EQ(list.printElement, &listPrintElement);
    EXPECT_EQ(list.findElement, &listFindElement);
    EXPECT_EQ(list.isEqual, &listIsEqual);
    EXPECT_EQ(list.current, &list.head);  // and not on the freed element where it stood
    append({0});
    EXPECT_EQ(keys(), Keys{0});
    EXPECT_EQ(listGetNextElement(&list), item(0));
}

/** Addresses replaced by their names, so that the listing can be compared whole. */
std::string named(std::string text, const std::vector<std::pair<const void*, std::string>>& names) {
    for (const auto& [address, name] : names) {
        char shown[16];
        std::snprintf(shown, sizeof shown, "0x%8.8X",
                      static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(address)));
        for (auto at = text.find(shown); at != std::string::npos; at = text.find(shown)) {
            text.replace(at, 10, name);
        }
    }
    return text;
}

TEST_F(List, PrintsItsLinks) {
    append({0});
    testing::internal::CaptureStdout();
    EXPECT_EQ(listPrint(&list), eRETURN_OKAY);
    const std::string text =
        named(testing::internal::GetCapturedStdout(),
              {{&list.head, "HEAD"}, {&list.tail, "TAIL"}, {item(0), "ITEM"}, {nullptr, "NULL"}});
    EXPECT_EQ(text,
              "[   ] ELEMENT_    PREVIOUS      NEXT____\n"
              "[000] HEAD  NULL  ITEM   (head)\n"
              "[001] ITEM  HEAD  TAIL\n"
              "      (no data)\n"
              "[002] TAIL  ITEM  NULL   (tail)\n");
    list.printElement = &printItem;
    append({1});
    testing::internal::CaptureStdout();
    listPrint(&list);
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("(no data)"), std::string::npos);
    EXPECT_EQ(printedKeys, (Keys{0, 1}));
}

}  // namespace
}  // namespace quarlo::test
