#include "alert/mail.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hw/os.h"

static const char SCRIPT[] = "/tmp/KestrelMailAlert";

// ---- Per-cent signs

// How many bytes of `text` are a number of a conversion: digits, or "*".
static size_t number_length(const char *text) { return text[0] == '*' ? 1 : strspn(text, "0123456789"); }

// Likewise of a length: h, hh, l, ll, q, j, z, t or L.
static size_t modifier_length(const char *text) {
    if (strncmp(text, "hh", 2) == 0 || strncmp(text, "ll", 2) == 0)
        return 2;
    return text[0] != '\0' && strchr("hlqjztL", text[0]) != nullptr ? 1 : 0;
}

// How many bytes behind a per-cent sign make a conversion with it: flags, width, precision, length and the
// letter. 0: it is none.
static size_t conversion_length(const char *text) {
    size_t length = strspn(text, "-+ #0'");
    length += number_length(text + length);
    if (text[length] == '.')
        length += 1 + number_length(text + length + 1);
    length += modifier_length(text + length);
    char letter = text[length];
    return letter != '\0' && strchr("diouxXeEfFgGaAcsCSpnm", letter) != nullptr ? length + 1 : 0;
}

// One would expect a name to be copied as it is. A health mail takes its whole text as a format, without
// values: a conversion writes nothing, "%%" writes "%". Kept on purpose. A sign that begins no conversion,
// the last one of a text for instance, is left out alone: nothing behind it is lost.
static std::string without_conversions(const std::string &text) {
    std::string left;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] != '%')
            left += text[i];
        else if (text[i + 1] == '%')
            left += text[i++];
        else
            i += conversion_length(text.c_str() + i + 1);
    }
    return left;
}

// ---- The shell

static std::string with_backslashes(const std::string &text, const char *special) {
    std::string escaped;
    for (char c : text) {
        if (strchr(special, c) != nullptr)
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

// The recipients as words of a command line: no character is one by which the shell runs, expands or
// redirects something, and control characters, an end of line among them, are blanks. What no address begins
// with is left out at the begin of a word, for some `mail` commands take it as an order: "-x" is an option,
// "|x" a program to run, "/x" and "./x" files to write.
static std::string command_words(const std::string &text) {
    std::string words;
    bool at_begin = true;
    for (char c : text) {
        bool blank = static_cast<unsigned char>(c) <= ' ' || c == '\x7F';
        bool left_out = at_begin && strchr("-|/.", c) != nullptr;
        if (!left_out)
            words += blank ? ' ' : c;
        at_begin = blank || left_out;
    }
    return with_backslashes(words, "$`\\\"';&|<>(){}[]*?!#~");
}

// Lines that are no text: "EOT" ends the here-document, "." the message for some `mail` commands, which take
// "~!" and its like as orders, too. An item's name may begin so, and a body that was cut may end so.
static bool is_order(const std::string &line) {
    return line == "EOT" || line == "." || line.compare(0, 1, "~") == 0;
}

// The text as a here-document whose end mark is not quoted. A blank in front makes an order text.
static std::string here_document(const std::string &text) {
    std::string lines;
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        std::string line = text.substr(start, end - start);
        if (is_order(line.substr(0, line.find('\n'))))
            lines += ' ';
        lines += line;
        start = end;
    }
    return with_backslashes(lines, "$`\\");
}

// ---- The script

// The here-document has no closing EOT on purpose: it ends with the file. No conversion runs from the
// recipients into "<<EOT" or over the end of a line, so the two texts are treated one by one, before anything
// in them is escaped.
static std::string script_text(mail_kind kind, const char *recipients, const char *machine_name,
                               const char *body) {
    std::string name = machine_name;
    std::replace(name.begin(), name.end(), '\n', ' ');
    std::string to = recipients;
    std::string message = "The system '" + name + "' has the following health information:\n" + body;
    if (kind == HEALTH_MAIL) {
        to = without_conversions(to);
        message = without_conversions(message);
    }
    const char *subject = kind == HEALTH_MAIL ? "system health warning!" : "E-mail Test!";
    return std::string("#!/bin/bash\nmail -s \"Alert: ") + subject + "\" " + command_words(to) + " <<EOT\n" +
           here_document(message);
}

// Beside the script's, and nobody can foresee it.
static bool choose_name(std::string *name) {
    unsigned char bytes[16];
    if (os_random(bytes, sizeof bytes) != 0)
        return false;
    *name = std::string(SCRIPT) + ".";
    for (unsigned char byte : bytes) {
        *name += "0123456789abcdef"[byte >> 4];
        *name += "0123456789abcdef"[byte & 0xF];
    }
    return true;
}

// The file may be executed only when it is whole. A part of it is removed.
static bool write_file(const char *path, const std::string &text) {
    FILE *script = os_create_private(path, 0600);
    if (script == nullptr)
        return false;
    bool whole = fputs(text.c_str(), script) >= 0 && os_fchmod(script, 0100) == 0;
    whole = os_fclose(script) == 0 && whole;
    if (!whole)
        os_unlink(path);
    return whole;
}

// Whatever lies at the script's path goes, but for a directory, which a file cannot take the place of.
static bool move_into_place(const char *path) {
    if (os_rename(path, SCRIPT) == 0)
        return true;
    if (errno == EISDIR)
        fprintf(stderr, "Warning: %s is a directory; no mail can be sent.\n", SCRIPT);
    os_unlink(path);
    return false;
}

// /tmp is open to everybody, and what is written is run as root. Somebody who makes files at the script's
// path all the time would mostly be faster than we are between removing his and making ours. So it is made
// under a name that he cannot know, and takes the place of his in one step.
static bool write_script(const std::string &text) {
    std::string name;
    return choose_name(&name) && write_file(name.c_str(), text) && move_into_place(name.c_str());
}

// In some locales a character may end in the byte of a backslash, and one that we wrote would be the end of a
// character that we did not. In UTF-8 it never is. exit() would print once more what the parent has still in
// its buffers.
[[noreturn]] static void become_script() {
    if (setenv("LC_ALL", "C.UTF-8", 1) == 0)
        os_exec(SCRIPT);
    std::_Exit(0);
}

static mail_outcome run_script() {
    pid_t child = os_fork();
    if (child < 0)
        return MAIL_NO_FORK;
    if (child == 0)
        become_script();
    return os_waitpid(child) == 0 ? MAIL_SENT : MAIL_NO_WAIT;
}

mail_outcome send_mail(mail_kind kind, const char *recipients, const char *machine_name, const char *body) {
    if (!write_script(script_text(kind, recipients, machine_name, body)))
        return MAIL_NO_SCRIPT;
    return run_script();
}
