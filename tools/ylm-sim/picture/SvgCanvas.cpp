#include "picture/SvgCanvas.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ylmsim {
namespace {

std::string px(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", v);
    return buf;
}

// Length of the well-formed UTF-8 sequence of a character XML allows at text[i], or 0.
size_t xmlCharLength(const std::string& text, size_t i) {
    const auto at = [&](size_t k) { return static_cast<unsigned char>(text[i + k]); };
    const unsigned char c = at(0);
    const size_t n = c < 0x80                 ? 1
                     : c >= 0xc2 && c <= 0xdf ? 2
                     : c >= 0xe0 && c <= 0xef ? 3
                     : c >= 0xf0 && c <= 0xf4 ? 4
                                              : 0;
    if (n == 0 || i + n > text.size()) {
        return 0;
    }
    for (size_t k = 1; k < n; ++k) {
        if ((at(k) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (c == 0xe0 && at(1) < 0xa0) || (c == 0xf0 && at(1) < 0x90);
    const bool beyond = c == 0xf4 && at(1) >= 0x90;
    const bool surrogate = c == 0xed && at(1) >= 0xa0;
    const bool nonChar = c == 0xef && at(1) == 0xbf && at(2) >= 0xbe;  // U+FFFE, U+FFFF
    const bool control = c < 0x20;
    return overlong || beyond || surrogate || nonChar || control ? 0 : n;
}

}  // namespace

std::string SvgCanvas::escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const size_t n = xmlCharLength(text, i);
        if (n == 0) {
            out += "\xef\xbf\xbd";
            ++i;
            continue;
        }
        const char c = text[i];
        out += c == '&'    ? "&amp;"
               : c == '<'  ? "&lt;"
               : c == '>'  ? "&gt;"
               : c == '"'  ? "&quot;"
               : c == '\'' ? "&apos;"
                           : text.substr(i, n);
        i += n;
    }
    return out;
}

std::string SvgCanvas::attrs(const char* cls, const std::string& paintAttr,
                             const std::string& paint) {
    std::string a = std::string(" class=\"") + cls + "\"";
    if (!paint.empty()) {
        a += " " + paintAttr + "=\"" + escape(paint) + "\"";
    }
    return a;
}

void SvgCanvas::text(double x, double y, const std::string& t, const char* cls, const char* anchor,
                     int rotate) {
    body += "<text x=\"" + px(x) + "\" y=\"" + px(y) + "\"" + attrs(cls, "", "");
    if (std::string(anchor) != "start") {
        body += std::string(" text-anchor=\"") + anchor + "\"";
    }
    if (rotate != 0) {
        body += " transform=\"rotate(" + std::to_string(rotate) + " " + px(x) + " " + px(y) + ")\"";
    }
    body += ">" + escape(t) + "</text>\n";
}

void SvgCanvas::line(double x1, double y1, double x2, double y2, const char* cls) {
    body += "<line x1=\"" + px(x1) + "\" y1=\"" + px(y1) + "\" x2=\"" + px(x2) + "\" y2=\"" +
            px(y2) + "\"" + attrs(cls, "", "") + "/>\n";
}

void SvgCanvas::polyline(const Points& points, const char* cls, const std::string& paint,
                         double width) {
    if (points.size() < 2) {
        return;
    }
    std::string list;
    for (const auto& [x, y] : points) {
        list += (list.empty() ? "" : " ") + px(x) + "," + px(y);
    }
    body += "<polyline points=\"" + list + "\"" + attrs(cls, "stroke", paint);
    if (width > 0) {
        body += " stroke-width=\"" + px(width) + "\"";
    }
    body += "/>\n";
}

void SvgCanvas::rect(double x, double y, double w, double h, const char* cls,
                     const std::string& paint) {
    body += "<rect x=\"" + px(x) + "\" y=\"" + px(y) + "\" width=\"" + px(std::max(w, 0.0)) +
            "\" height=\"" + px(std::max(h, 0.0)) + "\"" + attrs(cls, "fill", paint) + "/>\n";
}

void SvgCanvas::marker(Marker shape, double x, double y, const char* cls, const std::string& paint,
                       const Data& data, double r) {
    std::string d;
    for (const auto& [name, value] : data) {
        d += " data-" + name + "=\"" + escape(value) + "\"";
    }
    const std::string a = attrs(cls, shape == Marker::Cross ? "stroke" : "fill", paint) + d;
    switch (shape) {
        case Marker::Circle:
            body += "<circle cx=\"" + px(x) + "\" cy=\"" + px(y) + "\" r=\"" + px(r) + "\"" + a +
                    "/>\n";
            break;
        case Marker::Square:
            body += "<rect x=\"" + px(x - r) + "\" y=\"" + px(y - r) + "\" width=\"" + px(2 * r) +
                    "\" height=\"" + px(2 * r) + "\"" + a + "/>\n";
            break;
        case Marker::Diamond:
            body += "<path d=\"M" + px(x) + "," + px(y - r - 2) + " L" + px(x + r + 2) + "," +
                    px(y) + " L" + px(x) + "," + px(y + r + 2) + " L" + px(x - r - 2) + "," +
                    px(y) + " Z\"" + a + "/>\n";
            break;
        case Marker::Cross:
            body += "<path d=\"M" + px(x - r) + "," + px(y - r) + " L" + px(x + r) + "," +
                    px(y + r) + " M" + px(x - r) + "," + px(y + r) + " L" + px(x + r) + "," +
                    px(y - r) + "\"" + a + "/>\n";
            break;
        case Marker::Tick:
            body += "<rect x=\"" + px(x - 1.5) + "\" y=\"" + px(y - r) +
                    "\" width=\"3\" height=\"" + px(2 * r) + "\"" + a + "/>\n";
            break;
    }
}

std::string SvgCanvas::document(int width, int height, const std::string& title,
                                const std::string& style) const {
    const std::string w = std::to_string(width);
    const std::string h = std::to_string(height);
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
           w + "\" height=\"" + h + "\" viewBox=\"0 0 " + w + " " + h + "\">\n<title>" +
           escape(title) + "</title>\n<style>\n" + style + "</style>\n<rect width=\"" + w +
           "\" height=\"" + h + "\" fill=\"#ffffff\"/>\n" + body + "</svg>\n";
}

std::vector<double> niceTicks(double lo, double hi, int most) {
    if (!(hi > lo) || most < 2) {
        return {lo};
    }
    const double raw = (hi - lo) / (most - 1);
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    double step = power * 10;
    for (const double m : {1.0, 2.0, 5.0}) {
        if (power * m >= raw) {
            step = power * m;
            break;
        }
    }
    std::vector<double> ticks;
    const auto first = static_cast<long long>(std::ceil(lo / step - 1e-9));
    const auto last = static_cast<long long>(std::floor(hi / step + 1e-9));
    for (long long k = first; k <= last; ++k) {
        ticks.push_back(static_cast<double>(k) * step);
    }
    return ticks;
}

}  // namespace ylmsim
