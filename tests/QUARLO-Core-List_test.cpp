/* The generic list: links, cursor, membership and the operations of an element's kind. */
#include "QUARLO-Core-List.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "Calls.h"

namespace quarlo::test {
namespace {

/** An element of some kind: its link comes first. */
struct Item {
    genericListElement link{};
    int key = 0;
};

using Keys = std::vector<int>;
Keys releasedKeys;
Keys printedKeys;

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
/** The keys in order and where the cursor is; the links are to agree in both directions. */
std::string shown(const genericList& list) {
    std::string text;
    const genericListElement* before = &list.head;
    for (const auto* at = list.head.next; at != &list.tail; at = at->next) {
        EXPECT_EQ(at->prev, before);
        text += std::to_string(keyOf(at)) + " ";
        before = at;
    }
    EXPECT_EQ(list.tail.prev, before);
    EXPECT_EQ(list.head.prev, nullptr);
    EXPECT_EQ(list.tail.next, nullptr);
    if (list.current == nullptr) return text + "at none";
    return text + "at " +
           (list.current == &list.head ? "head" : std::to_string(keyOf(list.current)));
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
    void append(const Keys& keys) {
        for (const int key : keys) ASSERT_EQ(listAppendElement(&list, item(key)), eRETURN_OKAY);
    }
    void expectDefaultOperations() const {
        EXPECT_EQ(list.isEqual, &listIsEqual);
        EXPECT_EQ(list.findElement, &listFindElement);
        EXPECT_EQ(list.freeElementData, &listFreeElementData);
        EXPECT_EQ(list.printElement, &listPrintElement);
    }

    static std::string nameOf(const genericListElement* element) {
        return element == nullptr ? "none" : std::to_string(keyOf(element));
    }
    /** Does a step; its result. */
    std::string take(const std::string& step) {
        const char key = step.back();
        genericListElement* const element = key >= '0' && key <= '3' ? item(key - '0') : &list.head;
        switch (step[0]) {
            case '<':
                return nameOf(listGetFirstElement(&list));
            case '>':
                return nameOf(listGetNextElement(&list));
            case '?':
                return nameOf(listFindElement(&list, element));
            case '*':
                quarlo::listAppendFresh(&list, element);
                return "OKAY";
        }
        const auto change = step[0] == '+'   ? listAppendElement
                            : step[0] == '-' ? listRemoveElement
                                             : listRemoveLastElement;
        return _quarlo_getReturnCodeName(change(&list, element));
    }

    genericList list{};
    Item items[4];
};

TEST_F(List, IsEmptyWithDefaultOperationsAtFirst) {
    EXPECT_EQ(shown(list), "at none");
    EXPECT_EQ(listIsEmpty(&list), eFLAG_TRUE);
    expectDefaultOperations();
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

/** Steps and what comes of each: "+1" appends, "*1" appends what is fresh, "-1" removes, "~1"
 * removes the last ("~H" the head), "?1" finds, "<" is the first element and ">" the next. */
TEST_F(List, DoesOneStepAfterTheOther) {
    struct Row {
        const char* steps;
        const char* results;
        const char* list;
    };
    const Row rows[] = {
        {"< > ~0 ~H", "none none NOT_FOUND NOT_FOUND ", "at none"},
        {"+0 +1", "OKAY OKAY ", "0 1 at none"},
        {"> > > <", "0 1 none 0 ", "0 1 at 0"},  // from none it begins
        {"+1", "ALREADY_IN_LIST ", "0 1 at 1"},
        {"+2", "OKAY ", "0 1 2 at none"},  // a search in vain ends the walk
        {"< *3", "0 OKAY ", "0 1 2 3 at none"},
        {"?1 ~2 ~3", "1 NOT_FOUND OKAY ", "0 1 2 at 1"},
        {"?3 < -3", "none 0 NOT_FOUND ", "0 1 2 at none"},
        {"-1", "OKAY ", "0 2 at 0"},  // on the predecessor, so that a walk goes on
        {"> *1 -0", "2 OKAY OKAY ", "2 1 at head"},
        {"> -2 -1", "2 OKAY OKAY ", "at head"},
        {"+0", "OKAY ", "0 at head"},  // an empty list is not searched
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.steps);
        std::istringstream steps(row.steps);
        std::string results;
        for (std::string step; steps >> step;) results += take(step) + " ";
        EXPECT_EQ(results, row.results);
        EXPECT_EQ(shown(list), row.list);
    }
    EXPECT_EQ(listIsEmpty(&list), eFLAG_FALSE);
    EXPECT_EQ(listGetLength(&list), 1);
    for (const int key : {1, 2, 3}) EXPECT_EQ(items[key].link.prev, items[key].link.next);
}

TEST_F(List, MovesAllElementsToAnotherList) {
    genericList other{};
    listInitialize(&other);
    append({0, 1});
    listAppendElement(&other, item(2));
    const auto moved = [](genericList& from, genericList& to) {
        listGetFirstElement(&from);
        listGetFirstElement(&to);
        quarlo::listMoveAll(&from, &to);
        EXPECT_EQ(shown(from), "at none");
        return shown(to);
    };
    EXPECT_EQ(moved(list, other), "2 0 1 at none");  // behind what is there
    EXPECT_EQ(moved(list, other), "2 0 1 at none");  // nothing to move
    EXPECT_EQ(moved(other, list), "2 0 1 at none");  // into an empty list
}

TEST_F(List, FreesWhatElementsOwnAndThenThemAndTheirKind) {
    list.freeElementData = &releaseItem;
    EXPECT_EQ(listClear(&list), eRETURN_OKAY);
    EXPECT_EQ(list.freeElementData, &releaseItem);  // an empty list keeps its kind
    for (const int key : {5, 6, 7}) {
        auto* element = static_cast<Item*>(quarlo_malloc(sizeof(Item)));
        *element = {{}, key};
        listAppendElement(&list, &element->link);
    }
    EXPECT_EQ(listCleanElementData(&list), eRETURN_OKAY);
    EXPECT_EQ(std::exchange(releasedKeys, {}), (Keys{5, 6, 7}));
    EXPECT_EQ(shown(list), "5 6 7 at none");
    listGetFirstElement(&list);
    EXPECT_EQ(listClear(&list), eRETURN_OKAY);
    EXPECT_EQ(releasedKeys, (Keys{5, 6, 7}));
    EXPECT_EQ(shown(list), "at head");  // and not on the freed element where it stood
    expectDefaultOperations();
}

TEST_F(List, PrintsItsLinks) {
    append({0});
    list.printElement = &printItem;
    const auto low = [](const genericListElement* at) {
        return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(at));
    };
    const unsigned head = low(&list.head), first = low(item(0)), tail = low(&list.tail);
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "[   ] ELEMENT_    PREVIOUS      NEXT____\n"
                  "[000] 0x%8.8X  0x00000000  0x%8.8X   (head)\n[001] 0x%8.8X  0x%8.8X  0x%8.8X\n"
                  "[002] 0x%8.8X  0x%8.8X  0x00000000   (tail)\n      (no data)\n",
                  head, first, first, head, tail, tail, first);
    testing::internal::CaptureStdout();
    EXPECT_EQ(listPrint(&list), eRETURN_OKAY);
    EXPECT_EQ(listPrintElement(item(0)), eRETURN_OKAY);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
    EXPECT_EQ(printedKeys, Keys{0});
}

}  // namespace
}  // namespace quarlo::test
