// What the engine and wpa_supplicant make of texts on the supplicant channel, as the emulator
// stands in for them: the RSSI the engine keeps from a signal poll, and an SSID as the daemon
// writes it in its scan table. The plug-in's own reading of these texts is its own (src/).
#pragma once

#include <cstdint>
#include <string>

namespace emu {

// The RSSI= line of a signal-poll reply, cut to 16 bits as the engine keeps it; false without one.
bool signalPollRssi(const std::string& reply, int16_t& rssi);

// SSID bytes as wpa_supplicant writes them in its tables: printable ASCII as it is, a backslash
// and a double quote escaped with a backslash, line feed, carriage return, tab and escape as \n,
// \r, \t and \e, any other byte as \xNN.
std::string writtenSsid(const std::string& bytes);

}  // namespace emu
