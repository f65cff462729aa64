#include "record/YamlText.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "emu/DsdDecoder.h"
#include "scenario/Yaml.h"

namespace ylmsim::yamltext {
namespace {

// The code points of a strict UTF-8 text (no overlong forms, no surrogates); false otherwise.
bool codePoints(const std::string& s, std::vector<uint32_t>& out) {
    out.clear();
    for (size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const size_t n = b < 0x80         ? 1
                         : (b >> 5) == 6  ? 2
                         : (b >> 4) == 14 ? 3
                         : (b >> 3) == 30 ? 4
                                          : 0;
        if (n == 0 || i + n > s.size()) {
            return false;
        }
        uint32_t c = n == 1 ? b : b & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) {
            const auto t = static_cast<unsigned char>(s[i + k]);
            if ((t >> 6) != 2) {
                return false;
            }
            c = c << 6 | (t & 0x3F);
        }
        static const uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        if (c < kLeast[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            return false;
        }
        out.push_back(c);
        i += n;
    }
    return true;
}

// Characters a YAML text may hold as they are (tab and line breaks aside).
bool printable(uint32_t c) {
    return (c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xD7FF && c != 0x2028 && c != 0x2029) ||
           (c >= 0xE000 && c <= 0xFFFD && c != 0xFEFF) || c >= 0x10000;
}

void appendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// A double-quoted scalar. With breakLines, a multi-line text goes on after each "\n" on a line
// of its own (an escaped line break adds nothing, and the next line's indentation is not part of
// the text).
std::string doubleQuoted(const std::vector<uint32_t>& text, const std::string& indent,
                         bool breakLines) {
    std::string out = "\"";
    bool lineStart = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const uint32_t c = text[i];
        char buf[16];
        if (c == '\n') {
            out += "\\n";
            if (breakLines && i + 1 < text.size()) {
                out += "\\\n" + indent;
                lineStart = true;
            }
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == ' ' && lineStart) {
            out += "\\x20";
        } else if (printable(c)) {
            appendUtf8(out, c);
        } else {
            std::snprintf(buf, sizeof buf,
                          c < 0x100     ? "\\x%02x"
                          : c < 0x10000 ? "\\u%04x"
                                        : "\\U%08x",
                          c);
            out += buf;
        }
        lineStart = false;
    }
    return out + "\"";
}

// A literal block scalar ("|" and the lines below it), or empty when the text is not one that a
// block holds exactly (a leading blank or line break, characters to escape) or is a single line.
std::string literalBlock(const std::string& text, const std::vector<uint32_t>& cps,
                         const std::string& indent) {
    const size_t eol = text.find('\n');
    if (eol == std::string::npos || eol + 1 == text.size() || text[0] == ' ' || text[0] == '\n') {
        return "";
    }
    for (uint32_t c : cps) {
        if (c != '\n' && c != '\t' && !printable(c)) {
            return "";
        }
    }
    size_t trailing = 0;
    while (trailing < text.size() && text[text.size() - 1 - trailing] == '\n') {
        ++trailing;
    }
    std::string out = trailing == 0 ? "|-" : trailing == 1 ? "|" : "|+";
    const std::string body = text.substr(0, text.size() - trailing);
    size_t pos = 0;
    for (;;) {
        const size_t eol = body.find('\n', pos);
        const std::string line = body.substr(pos, eol == std::string::npos ? eol : eol - pos);
        out += "\n" + (line.empty() ? "" : indent + line);
        if (eol == std::string::npos) {
            break;
        }
        pos = eol + 1;
    }
    for (size_t i = 1; i < trailing; ++i) {
        out += "\n";
    }
    return out;
}

// True when the YAML value reads back as exactly the text.
bool readsBack(const std::string& value, const std::string& text) {
    try {
        const yaml::Node root = yaml::load("v: " + value + "\n");
        return root.isMap() && root.size() == 1 && root.begin()->second.isScalar() &&
               root.begin()->second.scalar() == text;
    } catch (const yaml::Error&) {
        return false;
    }
}

}  // namespace

std::string hexOf(const std::string& bytes) {
    return emu::toHex(std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

// A text value: a literal block or a double-quoted scalar when it reads back exactly, else
// {hex: ...}. indent is where the continuation lines start.
std::string textValue(const std::string& bytes, const std::string& indent) {
    std::vector<uint32_t> cps;
    if (codePoints(bytes, cps)) {
        std::string block = literalBlock(bytes, cps, indent);
        if (!block.empty() && readsBack(block, bytes)) {
            return block;
        }
        std::string quoted = doubleQuoted(cps, indent, true);
        if (readsBack(quoted, bytes)) {
            return quoted;
        }
    }
    return "{hex: \"" + hexOf(bytes) + "\"}";
}

// A short text on one line (names, commands, SSIDs); false when it is no UTF-8.
bool oneLine(const std::string& bytes, std::string& out) {
    std::vector<uint32_t> cps;
    if (!codePoints(bytes, cps)) {
        return false;
    }
    out = doubleQuoted(cps, "", false);
    return true;
}

}  // namespace ylmsim::yamltext
