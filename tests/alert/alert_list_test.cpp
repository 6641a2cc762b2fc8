#include "alert/alert_list.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#include "support/os_test.h"

// A list with these messages; freed by release.
static alert_msg_node *list_of(std::initializer_list<const char *> messages) {
    alert_msg_node *head = new_alert_msg_node();
    for (const char *message : messages) {
        alert_msg_node *node = new_alert_msg_node();
        node->msg = strdup(message);
        append_alert_msg_node(head, node);
    }
    return head;
}

static void release(alert_msg_node *head) {
    while (head->next != nullptr)
        del_alert_msg_node(head->next);
    free_alert_msg_node(head);
}

// The messages forwards, and the same backwards from the last node, to see that both directions are linked.
static std::string forwards(const alert_msg_node *head) {
    std::string text;
    for (const alert_msg_node *node = head->next; node != nullptr; node = node->next)
        text += node->msg;
    return text;
}

static std::string backwards(const alert_msg_node *head) {
    const alert_msg_node *last = head;
    while (last->next != nullptr)
        last = last->next;
    std::string text;
    for (; last != head; last = last->prev)
        text += last->msg;
    return text;
}

TEST(AlertList, ANewNodeIsEmpty) {
    alert_msg_node *node = new_alert_msg_node();
    EXPECT_EQ(node->prev, nullptr);
    EXPECT_EQ(node->next, nullptr);
    EXPECT_EQ(node->msg, nullptr);
    free_alert_msg_node(node);
}

TEST(AlertList, AnEmptyListHasIndexAndCountZero) {
    alert_msg_node *head = list_of({});
    EXPECT_EQ(get_alert_msg_node_count(head), 0);
    EXPECT_EQ(get_alert_msg_node_index(head), 0);
    EXPECT_EQ(get_next_alert_msg_node(head), nullptr);
    EXPECT_EQ(get_prev_alert_msg_node(head), nullptr);
    release(head);
}

TEST(AlertList, MessagesAreAppendedOldestFirst) {
    alert_msg_node *head = list_of({"a", "b", "c"});
    EXPECT_EQ(forwards(head), "abc");
    EXPECT_EQ(backwards(head), "cba");
    EXPECT_EQ(head->next->prev, head);
    EXPECT_EQ(head->msg, nullptr);
    release(head);
}

TEST(AlertList, IndexAndCountWalkTheList) {
    alert_msg_node *head = list_of({"a", "b", "c"});
    EXPECT_EQ(get_alert_msg_node_count(head), 3);
    alert_msg_node *node = head;
    for (int expected = 0; expected <= 3; expected++, node = get_next_alert_msg_node(node)) {
        EXPECT_EQ(get_alert_msg_node_index(node), expected);
        EXPECT_EQ(get_alert_msg_node_count(node), 3 - expected); // of a message: the newer ones
    }
    release(head);
}

TEST(AlertList, DeletingLinksTheNeighbours) {
    const struct {
        int index;
        const char *left;
    } table[] = {{1, "bc"}, {2, "ac"}, {3, "ab"}};
    for (const auto &row : table) {
        alert_msg_node *head = list_of({"a", "b", "c"});
        alert_msg_node *node = head;
        for (int i = 0; i < row.index; i++)
            node = get_next_alert_msg_node(node);
        del_alert_msg_node(node);
        EXPECT_EQ(forwards(head), row.left) << row.index;
        EXPECT_EQ(backwards(head), std::string(row.left).substr(1) + row.left[0]) << row.index;
        release(head);
    }
}

TEST(AlertList, DeletingTheOnlyMessageLeavesTheHead) {
    alert_msg_node *head = list_of({"a"});
    del_alert_msg_node(head->next);
    EXPECT_EQ(head->next, nullptr);
    EXPECT_EQ(get_alert_msg_node_count(head), 0);
    release(head);
}

TEST(AlertList, NullNodesAreTaken) {
    EXPECT_EQ(get_alert_msg_node_index(nullptr), -1);
    EXPECT_EQ(get_alert_msg_node_count(nullptr), -1);
    EXPECT_EQ(get_next_alert_msg_node(nullptr), nullptr);
    EXPECT_EQ(get_prev_alert_msg_node(nullptr), nullptr);
    del_alert_msg_node(nullptr);
    free_alert_msg_node(nullptr);
    alert_msg_node *head = list_of({});
    append_alert_msg_node(head, nullptr);
    append_alert_msg_node(nullptr, head);
    EXPECT_EQ(head->next, nullptr);
    release(head);
}

// The caller may fill a node after it was appended.
TEST(AlertList, ListingShowsANodeWithoutTextAsAnEmptyLine) {
    alert_msg_node *head = list_of({"a"});
    append_alert_msg_node(head, new_alert_msg_node());
    EXPECT_EQ(test_door::captured_stdout([&] { list_alert_msg_node(head); }),
              "list_node() - begin\na\n\nlist_alert_msg_node() - end\n");
    release(head);
}

TEST(AlertList, ListingBracketsItsMessages) {
    alert_msg_node *head = list_of({"a", "b"});
    EXPECT_EQ(test_door::captured_stdout([&] { list_alert_msg_node(head); }),
              "list_node() - begin\na\nb\nlist_alert_msg_node() - end\n");
    release(head);
}

TEST(AlertList, IsListedWithoutControlCharactersOnATerminal) {
    test_door::reset();
    test_door::terminal = true;
    alert_msg_node *head = new_alert_msg_node();
    alert_msg_node *node = new_alert_msg_node();
    node->msg = strdup("Fan \x1b[2J:\n0 RPM");
    append_alert_msg_node(head, node);
    EXPECT_EQ(test_door::captured_stdout([&] { list_alert_msg_node(head); }),
              "list_node() - begin\nFan ?[2J:\n0 RPM\nlist_alert_msg_node() - end\n");
    del_alert_msg_node(node);
    free_alert_msg_node(head);
}
