// ylm-sim --svg: the run as one self-contained SVG timeline, 1200 px wide. Every plotted point
// carries its values as data-* attributes (data-kind names what it is), equal to the fields that
// --json prints for the same message, so that a checker can hold the picture to the messages.
#pragma once

#include <string>

#include "picture/RunPicture.h"

namespace ylmsim {

struct PictureHeading {
    std::string title;  // the scenario's name
    std::string mode;   // how it ran, and the clock the time axis counts
};

std::string drawRunPicture(const RunPicture& picture, const PictureHeading& heading);

// The picture of the run the engine has recorded so far, written to path; false with the reason
// in error.
bool writeRunPicture(const std::string& path, const PictureHeading& heading,
                     const SignalPollTap& tap, size_t clients, std::string& error);

}  // namespace ylmsim
