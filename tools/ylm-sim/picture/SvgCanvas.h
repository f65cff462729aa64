// SVG text built shape by shape: every text and attribute value XML-escaped, coordinates in
// pixels, styles by class name from one style sheet.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ylmsim {

class SvgCanvas {
  public:
    // data-NAME attributes of a plotted point, in order.
    using Data = std::vector<std::pair<std::string, std::string>>;
    using Points = std::vector<std::pair<double, double>>;
    enum class Marker { Circle, Diamond, Square, Cross, Tick };

    // Text fit for XML text and attribute values. Control characters, which XML cannot carry
    // even as references, and bytes that are no well-formed UTF-8 become U+FFFD.
    static std::string escape(const std::string& text);

    // anchor: start, middle or end; rotate: degrees about (x, y).
    void text(double x, double y, const std::string& text, const char* cls,
              const char* anchor = "start", int rotate = 0);
    // paint, when given, is the stroke colour of lines and the fill of shapes.
    void line(double x1, double y1, double x2, double y2, const char* cls);
    // width: stroke width in pixels, 0 for the class's own.
    void polyline(const Points& points, const char* cls, const std::string& paint = "",
                  double width = 0);
    void rect(double x, double y, double w, double h, const char* cls,
              const std::string& paint = "");
    // radius: half the marker's size in pixels.
    void marker(Marker shape, double x, double y, const char* cls, const std::string& paint,
                const Data& data, double radius = 4.5);

    // The whole document, width × height pixels.
    std::string document(int width, int height, const std::string& title,
                         const std::string& style) const;

  private:
    static std::string attrs(const char* cls, const std::string& paintAttr,
                             const std::string& paint);
    std::string body;
};

// Numbers for the axes: round steps (1, 2 or 5 times a power of ten) covering lo..hi.
std::vector<double> niceTicks(double lo, double hi, int most);

// A linear map from values to pixels.
struct Scale {
    double lo;
    double hi;
    double from;
    double to;
    double operator()(double v) const {
        return hi == lo ? from : from + (v - lo) * (to - from) / (hi - lo);
    }
};

}  // namespace ylmsim
