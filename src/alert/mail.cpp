#include "alert/mail.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hw/os.h"
#include "hw/text.h"

static const char SCRIPT[] = "/tmp/KestrelMailAlert";

// ---- Recipients

// Blanks part words, and so do control characters, an end of line among them.
static bool is_blank(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

static bool is_all_blank(const std::string &text) { return std::all_of(text.begin(), text.end(), is_blank); }

// What some `mail` commands take as an order: "-x" is an option, "|x" a program to run, "/x", "./x", "+x" and
// "x/y" are files to write. An address may have a "/" after its "@" only.
static bool begins_an_order(const std::string &text) {
    bool marked = !text.empty() && strchr("-|/.+", text[0]) != nullptr;
    return marked || text.find('/') < text.find('@');
}

// Some of them look at "|x" of "name<|x>" and of "(name)|x".
static bool is_order(const std::string &address) {
    for (size_t start = 0; start < address.size();) {
        size_t end = std::min(address.find_first_of("<()", start), address.size());
        if (begins_an_order(address.substr(start, end - start)))
            return true;
        start = end + 1;
    }
    return false;
}

static void warn_of_order(const std::string &address) {
    fprintf(stderr,
            "Warning: The recipient \"%s\" is left out: the mail command would take it as an order.\n",
            shown_text(stderr, address.c_str()).c_str());
}

// A word is one address, or several with commas between them.
static std::string without_orders(const std::string &word) {
    std::string left;
    bool first = true;
    for (size_t start = 0; start <= word.size();) {
        size_t end = std::min(word.find(',', start), word.size());
        std::string address = word.substr(start, end - start);
        start = end + 1;
        if (is_order(address)) {
            warn_of_order(address);
            continue;
        }
        left += (first ? "" : ",") + address;
        first = false;
    }
    return left;
}

// The recipients as words with blanks between them, none of which is an order.
static std::string recipient_words(const std::string &text) {
    std::string words;
    for (size_t start = 0; start < text.size();) {
        size_t end = start;
        while (end < text.size() && !is_blank(text[end]))
            end++;
        words += without_orders(text.substr(start, end - start));
        if (end < text.size())
            words += ' ';
        start = end + 1;
    }
    return words;
}

// ---- Per-cent signs

// How many bytes of `text` are a number of a conversion: digits, or "*".
static size_t number_length(const char *text) { return text[0] == '*' ? 1 : strspn(text, "0123456789"); }

// Likewise of a length: h, hh, l, ll, q, j, z, t or L.
static size_t modifier_length(const char *text) {
    if (strncmp(text, "hh", 2) == 0 || strncmp(text, "ll", 2) == 0)
        return 2;
    return text[0] != '\0' && strchr("hlqjztL", text[0]) != nullptr ? 1 : 0;
}

// How many bytes after a per-cent sign make a conversion with it: flags, width, precision, length and the
// letter. 0: they do not begin with one.
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
// the last one of a text for instance, is left out alone: nothing after it is lost.
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

// The words of a command line: no character is one by which the shell runs, expands or redirects something.
static std::string command_words(const std::string &words) {
    return with_backslashes(words, "$`\\\"';&|<>(){}[]*?!#~");
}

// Lines that are not text: "EOT" ends the here-document, "." the message for some `mail` commands, which take
// "~!" and its like as orders, too. An item's name may begin so, and a body that was cut may end so.
static bool is_order_line(const std::string &line) {
    return line == "EOT" || line == "." || line.compare(0, 1, "~") == 0;
}

// The text as a here-document whose end mark is not quoted. A blank in front makes an order text.
static std::string here_document(const std::string &text) {
    std::string lines;
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        std::string line = text.substr(start, end - start);
        if (is_order_line(line.substr(0, line.find('\n'))))
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
static std::string script_text(mail_kind kind, const std::string &recipients, const char *machine_name,
                               const char *body) {
    std::string name = machine_name;
    std::replace(name.begin(), name.end(), '\n', ' ');
    std::string message = "The system '" + name + "' has the following health information:\n" + body;
    if (kind == HEALTH_MAIL)
        message = without_conversions(message);
    const char *subject = kind == HEALTH_MAIL ? "system health warning!" : "E-mail Test!";
    return std::string("#!/bin/bash\nmail -s \"Alert: ") + subject + "\" " + command_words(recipients) +
           " <<EOT\n" + here_document(message);
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

// Without any recipient some `mail` commands would take the text as orders.
static bool none_is_left(const std::string &recipients, const std::string &words) {
    if (!is_all_blank(words) || is_all_blank(recipients))
        return false;
    fprintf(stderr, "Warning: No recipient is left; no mail is sent.\n");
    return true;
}

mail_outcome send_mail(mail_kind kind, const char *recipients, const char *machine_name, const char *body) {
    std::string to = kind == HEALTH_MAIL ? without_conversions(recipients) : recipients;
    std::string words = recipient_words(to);
    if (none_is_left(to, words) || !write_script(script_text(kind, words, machine_name, body)))
        return MAIL_NO_SCRIPT;
    return run_script();
}
