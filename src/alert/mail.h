#pragma once
// Tells somebody by e-mail: a shell script in /tmp pipes the text into the system's `mail` command. It is
// written, run and waited for on every mail, overwritten by the next one, never removed. What the outcome
// calls for is the caller's to print; only recipients that are left out, and a directory in the script's
// place, are reported here, on standard error.

enum mail_kind { HEALTH_MAIL, TEST_MAIL };

enum mail_outcome {
    MAIL_SENT,      // the script was run; whether `mail` took the message is not known
    MAIL_NO_SCRIPT, // there is none: it could not be written whole, or no recipient is left
    MAIL_NO_FORK,   // written, but no child to run it
    MAIL_NO_WAIT,   // it could not be waited for
};

// `recipients` are handed to `mail` unchanged, separated by blanks, but for those that it would take as an
// order; `body` is lines, the last one ended too.
// In a health mail conversions ("%d") are left out, see mail.cpp.
mail_outcome send_mail(mail_kind kind, const char *recipients, const char *machine_name, const char *body);
