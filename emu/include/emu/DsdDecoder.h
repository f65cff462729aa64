// Names every field of the DSD messages the plug-in sends, as the modem side names them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "emu/Engine.h"

namespace emu {

// One decoded field: its name and its value as a JSON literal (number, string or array/object).
using DecodedField = std::pair<std::string, std::string>;

// Fields of the message in wire order. Reserved stretches are reported (as "reserved_zero":
// true/false) so that a stray byte is never hidden.
std::vector<DecodedField> decodeDsd(DsdOp op, const std::vector<uint8_t>& bytes);

// One JSON object: {"op":"...","time":N,"dsd":N, ...fields}. dsdIndex names the client.
std::string toJson(const DsdMessage& msg, int dsdIndex = 0);

// Lower-case hex of the bytes, two digits each, no separators.
std::string toHex(const std::vector<uint8_t>& bytes);

}  // namespace emu
