// The values of a scenario's YAML nodes, checked as they are read. Each field knows its path
// (steps[2].start_measurement.meas_id) and line, so that a malformed scenario is refused with
// FILE:LINE: FIELD: problem (a ScenarioError).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "scenario/Yaml.h"

namespace ylmsim::fields {

// A node with the path and line that name it in error messages.
struct Field {
    yaml::Node node;
    std::string path;
    const std::string* file;
    int line;
};

[[noreturn]] void fail(const Field& f, const std::string& message);
// The field of a node under parent, named parent's path followed by name.
Field sub(const Field& parent, const yaml::Node& node, const std::string& name);
// "a list", "a map", the scalar in quotes, or "nothing": what a node is, for error messages.
std::string kindName(const yaml::Node& node);

// The entries of one map, checked against the keys it may hold: an unknown or repeated key fails.
class MapReader {
  public:
    MapReader(const Field& f, std::initializer_list<const char*> keys);

    bool has(const char* key) const { return entries.count(key) != 0; }
    std::optional<Field> opt(const char* key) const;
    Field need(const char* key) const;
    // Exactly one of the keys must be present; returns it.
    std::string oneOf(std::initializer_list<const char*> keys) const;
    const Field& field() const { return self; }

  private:
    Field self;
    std::map<std::string, Field> entries;
};

std::string scalar(const Field& f, const char* what);
std::vector<Field> listOf(const Field& f, size_t maxItems);
// Decimal or 0x-hexadecimal integers, with an optional sign, within their bounds.
int64_t integer(const Field& f, int64_t min, int64_t max);
int32_t int32(const Field& f);
uint64_t unsignedInteger(const Field& f, uint64_t max);
bool boolean(const Field& f);
double number(const Field& f);
std::string text(const Field& f, size_t maxLen);
int64_t seconds(const Field& f);

}  // namespace ylmsim::fields
