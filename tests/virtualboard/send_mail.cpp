// send-mail health|test RECIPIENTS NAME [COUNT]: sends mails over the door that it is linked with and says how
// each went. The virtual one takes its options and the board before them.
#include "alert/mail.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hw/os.h"

static const char *word_for(mail_outcome outcome) {
    switch (outcome) {
    case MAIL_SENT:
        return "sent";
    case MAIL_NO_SCRIPT:
        return "no script";
    case MAIL_NO_FORK:
        return "no fork";
    default:
        return "no wait";
    }
}

int main(int argc, char **argv) {
    os_start(&argc, &argv);
    if (argc < 4)
        return 1;
    mail_kind kind = strcmp(argv[1], "health") == 0 ? HEALTH_MAIL : TEST_MAIL;
    int count = argc > 4 ? atoi(argv[4]) : 1;
    printf("begin"); // stays in the buffer: a child that printed it, too, would be seen
    for (int i = 0; i < count; i++) {
        time_t now = os_time();
        std::string body = std::string("FAN1 Failed(Bad)!\nat ") + ctime(&now);
        printf(", %s", word_for(send_mail(kind, argv[2], argv[3], body.c_str())));
    }
    printf("\n");
}
