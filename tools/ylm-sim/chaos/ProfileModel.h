// Quality profiles as the engine sees them: the registry of profiles the contract says the
// indications make, and so the registrations with the quality service and their removals each
// step must bring, in order, and the messages each delivery of the service must bring.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "chaos/Availability.h"
#include "chaos/Checker.h"

namespace ylmsim::chaos {

class ProfileModel {
  public:
    std::optional<Violation> step(const Step& s, const StepView& v);
    size_t stateRegistrations() const { return wifiState.size(); }

  private:
    struct Key {
        size_t client;
        uint64_t measId;
        int32_t profile;
        bool operator<(const Key& o) const {
            return std::tie(client, measId, profile) < std::tie(o.client, o.measId, o.profile);
        }
        bool operator==(const Key& o) const { return !(*this < o) && !(o < *this); }
    };
    struct Entry {
        int state = 1;                // 1 created, 2 started
        bool cas = false;             // built while the decision engine was there
        const void* proxy = nullptr;  // known once it registered
        _CQEClientOverrides overrides{1, 1};
        std::string operatorName;
        uint64_t measId = 0;  // the measurement id its messages carry
    };
    struct Registration {
        Key key;
        const void* proxy;
        std::string name;  // empty: the default profile's (no name)
        int32_t profile;
        uint64_t measId;
        size_t client;
    };

    // The operations of the contract, each taking the quality-service calls it must make from
    // the step's calls in order.
    void init(size_t client, const dsd_wqe_profile_init_ind_msg_v01& ind, const StepView& v);
    void mask(size_t client, const dsd_wqe_profile_type_ind_msg_v01& ind);
    void createDefault(size_t client);
    bool start(const Key& key);
    void destroy(const Key& key);
    void stopAll(size_t client);
    void deregister(const Entry& e, const Key& key);

    const emu::CasCall* take(emu::CasCall::Kind kind, const std::string& what);
    void fail(const std::string& invariant, const std::string& detail);

    std::optional<Violation> deliveries(const Step& s, const StepView& v);

    std::map<Key, Entry> entries;
    std::vector<Registration> live;  // notification registrations, in order
    std::vector<size_t> wifiState;   // client of each Wi-Fi state registration, in order
    Availability availability;
    const StepView* view = nullptr;
    size_t next = 0;  // the step's next quality-service call
    std::optional<Violation> bad;
};

}  // namespace ylmsim::chaos
