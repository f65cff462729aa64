// Texts written as YAML scalars that the scenario loader reads back to the same bytes.
#pragma once

#include <string>

namespace ylmsim::yamltext {

// A text value: a literal block or a double-quoted scalar when it reads back exactly, else
// {hex: ...}. indent is where the continuation lines start.
std::string textValue(const std::string& bytes, const std::string& indent);
// A short text on one line (names, commands, SSIDs); false when it is no UTF-8.
bool oneLine(const std::string& bytes, std::string& out);
// The bytes as hex digits.
std::string hexOf(const std::string& bytes);

// A flow map, {key: value, ...}; a text that is no UTF-8 spoils it (ok false).
class Fields {
  public:
    void add(const std::string& key, const std::string& value) {
        text += (text.empty() ? "" : ", ") + key + ": " + value;
    }
    void addText(const std::string& key, const std::string& bytes) {
        std::string v;
        if (!oneLine(bytes, v)) {
            ok = false;
            return;
        }
        add(key, v);
    }
    std::string map() const { return "{" + text + "}"; }
    bool ok = true;

  private:
    std::string text;
};

}  // namespace ylmsim::yamltext
