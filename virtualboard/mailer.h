#pragma once
// A board's `mail` command, and the shell that runs the script which calls it. The machine's own `mail` is
// never run: the shell finds no other command than this one.

#include <string>

struct mail_command {
    bool missing = false;
    int status = 0;       // with which it ends after it has taken a message
    unsigned hangs_s = 0; // how long it waits first, in real time
};

// The text of the script at `place`. False, with errno, for a file that its owner may not execute.
bool read_script(const std::string &place, std::string *text);

// Becomes /bin/bash, which runs `text` as the script `path`, with the private `root` as its directory. What
// `mail` is given goes to var/mail/1, 2, ... there, and it says so on standard error; `kept`: also where.
// Returns only on failure.
void run_script(const mail_command &mail, const std::string &root, const char *path, const std::string &text,
                bool kept);
