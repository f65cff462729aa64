// What the user sees: a readable timeline and summary, or one JSON object per DSD message.
#pragma once

#include <cstddef>
#include <cstdio>
#include <map>
#include <string>

#include "scenario/Scenario.h"
#include "emu/Engine.h"

namespace ylmsim {

struct OutputOptions {
    bool json = false;
    bool hex = false;
    int logLevel = -1;  // print the library's log lines of this level and above; -1: none
};

class Printer {
  public:
    Printer(FILE* out, FILE* err, OutputOptions options);

    void header(const Scenario& scenario, const std::string& mode);
    // One timeline row at the engine's current time: a call into the plug-in ("->"), an event
    // of its environment ("**") or a note of the simulator ("!!").
    void row(const std::string& client, const char* arrow, const std::string& op,
             const std::string& details);
    void note(const std::string& text);
    // Why a report looks as it does: a "!!" row, or in JSON mode an object on err, since stdout
    // carries only the messages there.
    void explanation(const std::string& about, const std::string& text);
    // The library's log lines and DSD messages added since the last call.
    void flush();
    void summary(const std::map<std::string, size_t>& unanswered, size_t clients, bool live);

    // Index of a DSD client, or -1.
    static int clientIndex(const VorTpxDsd* dsd, size_t clients);
    void setClients(size_t n) { clients = n; }

    // Text of one DSD message for the timeline: the head fields, then one line per BSSID record.
    static std::string describe(const emu::DsdMessage& msg, std::vector<std::string>& subRows);

  private:
    void subRow(const std::string& text);

    FILE* out;
    FILE* err;
    OutputOptions opts;
    size_t clients = 1;
    size_t logsShown = 0;
    size_t messagesShown = 0;
};

}  // namespace ylmsim
