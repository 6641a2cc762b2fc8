#pragma once
// The alert messages that the user has not acknowledged: a doubly linked list, oldest first, after a head
// without a message. It is kept only in memory. Every call accepts a null node and then does nothing, or
// returns null or -1.

#include <cstdint>

struct alert_msg_node {
    alert_msg_node *prev; // null only for the head
    alert_msg_node *next;
    char *msg; // malloc'ed, owned by the node; null in the head
};

extern alert_msg_node *alert_msg_head;
extern alert_msg_node *current_alert_msg_node; // the one shown; the head if there is no message

// A node with all fields null. If there is no memory, ends the program with status 255, after a line on
// standard output.
alert_msg_node *new_alert_msg_node();

void free_alert_msg_node(alert_msg_node *node); // only the node, not its message

// Diagnostic listing on standard output; the head must not be null.
void list_alert_msg_node(const alert_msg_node *head);

// Links the node after the last one.
void append_alert_msg_node(alert_msg_node *head, alert_msg_node *node);

// Unlinks the node and releases its message and itself. The caller has moved current_alert_msg_node away
// first.
void del_alert_msg_node(alert_msg_node *node);

alert_msg_node *get_next_alert_msg_node(const alert_msg_node *node);
alert_msg_node *get_prev_alert_msg_node(const alert_msg_node *node);

// The head has index 0, the oldest message 1. The count from the head is that of all messages, from a message
// that of the newer ones. Both walk the list.
int32_t get_alert_msg_node_index(const alert_msg_node *node);
int32_t get_alert_msg_node_count(const alert_msg_node *node);
