// Raw measurements as the engine sees them: which are live, the timers each armed, the report
// sequence each is at, and which one the provider's scan results go to.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "chaos/Checker.h"

namespace ylmsim::chaos {

class RawModel {
  public:
    std::optional<Violation> step(const Step& s, bool started, const StepView& v);

  private:
    using Key = std::pair<size_t, int32_t>;  // client, meas_id
    struct Live {
        bool connected = false;
        int32_t sampling = 0;  // timer ids (0: none)
        int32_t reporting = 0;
        uint32_t nextSeq = 1;
        bool batchOpen = false;
    };

    std::optional<Violation> start(const Step& s, bool started, const StepView& v);
    // Takes the measurements out; their timers must be exactly the ones the step removed.
    std::optional<Violation> stop(const std::vector<Key>& keys, const StepView& v);
    std::optional<Violation> timersAndSamples(const StepView& v, bool startedScan);
    std::optional<Violation> reports(const Step& s, const StepView& v);

    std::map<Key, Live> live;
    // The measurement whose scan the provider calls back: the latest to start a scan, until any
    // measurement stops.
    std::optional<Key> target;
};

}  // namespace ylmsim::chaos
