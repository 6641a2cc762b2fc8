#include "window_boards.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "boards.h"

using lines = std::vector<std::string>;

// ---- The small one

const std::string SMALL_CHIP = "[[monitor]]\nindex = 0x295\ndata = 0x296\n"
                               "[monitor.common]\n0x4E = 0x80\n"
                               "[monitor.bank0]\n0x22 = 206\n0x2F = 217\n0x30 = 196\n0x42 = 0x00\n"
                               "0x46 = 0x00\n"
                               "[monitor.bank1]\n0x50 = 40\n0x55 = 80\n"
                               "[monitor.bank6]\n0x30 = 7\n0x31 = 0x10\n0x3A = 62\n0x3B = 0x10\n";

const std::string SMALL_ITEMS =
    "[Item]\nITEM_NAME=Fan 1\nITEM_CAT=FAN\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=6\nOFFSET=30\nACTIVATE=1\n"
    "MONITOR=TRUE\nPARAINDEX1=Divisor1\nPARAINDEX2=FAN1H\n\n"
    "[Item]\nITEM_NAME=+3.3V\nITEM_CAT=VOLTAGE\nVOL_FUNC=P33V\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=0\nOFFSET=22\n"
    "ACTIVATE=1\nMONITOR=FALSE\nPARAINDEX1=VOL1H\nPARAINDEX2=VOL1L\n\n"
    "[Item]\nITEM_NAME=System Temperature\nITEM_CAT=TEMP\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=1\nOFFSET=50\n"
    "ACTIVATE=1\nMONITOR=TRUE\nPARAINDEX1=TEMP1H\nPARAINDEX2=TEMP1H\n\n"
    "[Item]\nITEM_NAME=Chassis Intrusion\nITEM_CAT=SWITCH\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=0\nOFFSET=42\n"
    "ACTIVATE=1\nMONITOR=TRUE\nPARAINDEX1=SWITCH1A\nPARAINDEX2=SWITCH1C\n\n"
    "[Parameter]\nPARAMETER=Divisor1\nSLAVE=6\nOFFSET=3a\nBITMASK=ff\n\n"
    "[Parameter]\nPARAMETER=FAN1H\nSLAVE=6\nOFFSET=3a\nBITMASK=ff\n\n"
    "[Parameter]\nPARAMETER=VOL1H\nSLAVE=0\nOFFSET=2f\nBITMASK=ff\n\n"
    "[Parameter]\nPARAMETER=VOL1L\nSLAVE=0\nOFFSET=30\nBITMASK=ff\n\n"
    "[Parameter]\nPARAMETER=TEMP1H\nSLAVE=1\nOFFSET=55\nBITMASK=ff\n\n"
    "[Parameter]\nPARAMETER=SWITCH1A\nSLAVE=0\nOFFSET=42\nBITMASK=10\n\n"
    "[Parameter]\nPARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=80\n";

std::string small_settings(const std::string &polling) {
    return "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nMACHINENAME=small\nMAILALERT=FALSE\n"
           "MAILBOX=root\nPOLLING=" +
           polling + "\n\n";
}

std::string small_configuration() { return small_settings("300") + SMALL_ITEMS; }

std::string small_board(const std::string &polling, const std::string &more_toml) {
    std::string configuration = small_settings(polling) + SMALL_ITEMS;
    return make_board(THE_MAKER + SMALL_CHIP + more_toml, &configuration);
}

std::string small_board_with(const std::string &configuration) {
    return make_board(THE_MAKER + SMALL_CHIP, &configuration);
}

// The bank-select register reads 0x80; its upper bits stay when a bank is selected, and it is put back.
static void append_read(lines *tick, const char *bank, const lines &registers) {
    tick->insert(tick->end(), {"outb 0295 4e", "inb 0296 80", std::string("outb 0296 8") + bank});
    for (const std::string &register_and_value : registers) {
        tick->push_back("outb 0295 " + register_and_value.substr(0, 2));
        tick->push_back("inb 0296 " + register_and_value.substr(3));
    }
    tick->insert(tick->end(), {"outb 0295 4e", "outb 0296 80"});
}

// Of each item the high limit, the low limit and the value; a fan's are words, and its high limit is asked
// for by the name of its divisor.
lines small_tick() {
    const struct {
        const char *bank;
        lines registers;
    } reads[] = {
        {"6", {"3a 3e", "3b 10"}}, {"6", {"3a 3e", "3b 10"}}, {"6", {"30 07", "31 10"}}, // fan
        {"0", {"2f d9"}},          {"0", {"30 c4"}},          {"0", {"22 ce"}},          // voltage
        {"1", {"55 50"}},          {"1", {"55 50"}},          {"1", {"50 28"}},          // temperature
        {"0", {"42 00"}},          {"0", {"46 00"}},          {"0", {"42 00"}},          // switch
    };
    lines tick;
    for (const auto &read : reads)
        append_read(&tick, read.bank, read.registers);
    return tick;
}

// ---- The one in trouble

std::string troubled_configuration(const std::string &polling) {
    static const std::string section =
        changed(section_of("nct6776f-faults"), "MACHINENAME=\n", "MACHINENAME=trouble\n");
    return changed(section, "\nPOLLING=5\n", "\nPOLLING=" + polling + "\n");
}

std::string board_in_trouble(const std::string &configuration, const std::string &more_toml) {
    std::string toml = changed(shipped("nct6776f-faults"), "configuration = \"N6DF-T\"", "");
    return make_board(toml + more_toml, &configuration);
}

std::string troubled_board(const std::string &polling, const std::string &more_toml) {
    return board_in_trouble(troubled_configuration(polling), more_toml);
}

const std::string TROUBLE = "Fan 3 Failed(Bad)!\nCPU2 Temperature Failed(Bad)!\n"
                            "System Temperature Failed(Bad)!\nChassis Intrusion Failed(Bad)!\n"
                            "at Mon Jan  5 10:00:00 2026\n";

// ---- Mail

const std::string MAIL_SENT = "Send an alert through E-mail successfully.\n";

std::string mail_said(const window_run &run, int number, int last_line, const std::string &recipients) {
    return "/tmp/KestrelMailAlert: line " + std::to_string(last_line) +
           ": warning: here-document at line 2 delimited by end-of-file (wanted `EOT')\n"
           "kestrel-virtual: mail to " +
           recipients + " kept in " + kept_path(run, "/var/mail/" + std::to_string(number)) + "\n";
}

// ---- Traces

lines behind_start_up(const std::string &board, const lines &trace) {
    run_result result;
    lines start_up = trace_of({board, "-r", "No Such Switch"}, &result);
    if (trace.size() < start_up.size() || !std::equal(start_up.begin(), start_up.end(), trace.begin())) {
        ADD_FAILURE() << "the start-up differs";
        return {};
    }
    return lines(trace.begin() + static_cast<long>(start_up.size()), trace.end());
}

int repetitions(const lines &all, const lines &part) {
    if (part.empty() || all.size() % part.size() != 0)
        return -1;
    for (size_t i = 0; i < all.size(); i++)
        if (all[i] != part[i % part.size()])
            return -1;
    return static_cast<int>(all.size() / part.size());
}
