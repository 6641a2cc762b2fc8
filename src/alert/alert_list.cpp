#include "alert/alert_list.h"

#include <cstdio>
#include <cstdlib>

#include "hw/text.h"

alert_msg_node *alert_msg_head;
alert_msg_node *current_alert_msg_node;

alert_msg_node *new_alert_msg_node() {
    auto *node = static_cast<alert_msg_node *>(calloc(1, sizeof(alert_msg_node)));
    if (node == nullptr) {
        printf("Error: new_alert_msg_node()\n");
        exit(-1);
    }
    return node;
}

void free_alert_msg_node(alert_msg_node *node) { free(node); }

// The two bracketing texts name different functions, on purpose.
void list_alert_msg_node(const alert_msg_node *head) {
    printf("list_node() - begin\n");
    for (const alert_msg_node *node = head->next; node != nullptr; node = node->next)
        printf("%s\n", shown_text(stdout, node->msg != nullptr ? node->msg : "").c_str());
    printf("list_alert_msg_node() - end\n");
}

void append_alert_msg_node(alert_msg_node *head, alert_msg_node *node) {
    if (head == nullptr || node == nullptr)
        return;
    alert_msg_node *last = head;
    while (last->next != nullptr)
        last = last->next;
    node->next = nullptr;
    node->prev = last;
    last->next = node;
}

void del_alert_msg_node(alert_msg_node *node) {
    if (node == nullptr)
        return;
    if (node->prev != nullptr)
        node->prev->next = node->next;
    if (node->next != nullptr)
        node->next->prev = node->prev;
    free(node->msg);
    free_alert_msg_node(node);
}

alert_msg_node *get_next_alert_msg_node(const alert_msg_node *node) {
    return node == nullptr ? nullptr : node->next;
}

alert_msg_node *get_prev_alert_msg_node(const alert_msg_node *node) {
    return node == nullptr ? nullptr : node->prev;
}

int32_t get_alert_msg_node_index(const alert_msg_node *node) {
    int32_t index = -1;
    for (; node != nullptr; node = node->prev)
        index++;
    return index;
}

int32_t get_alert_msg_node_count(const alert_msg_node *node) {
    int32_t count = -1;
    for (; node != nullptr; node = node->next)
        count++;
    return count;
}
