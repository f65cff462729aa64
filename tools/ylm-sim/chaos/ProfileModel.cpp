#include "chaos/ProfileModel.h"

#include <algorithm>
#include <cstring>

#include "reading/PluginReading.h"

namespace ylmsim::chaos {
namespace {

constexpr int32_t kFirstProfile = 4;
constexpr int32_t kLastProfile = 42;
constexpr int32_t kFirstDynamic = 36;

// The name a profile registers under: none for the default profile, one shared by the dynamic
// ones.
std::string nameOf(int32_t p) {
    return p == 0 ? "" : p < kFirstDynamic ? "profile" + std::to_string(p) : "dynamic";
}

std::string profileText(int32_t p) {
    return p == 0 ? "the default profile" : "profile " + std::to_string(p);
}

bool sameValues(const emu::CasCall& c, _CQEClientOverrides ov, const std::string& op) {
    return c.overrides.rssiHigh == ov.rssiHigh && c.overrides.rssiLow == ov.rssiLow &&
           c.operatorName == op;
}

}  // namespace

std::optional<Violation> ProfileModel::step(const Step& s, const StepView& v) {
    view = &v;
    next = 0;
    bad.reset();
    switch (s.kind) {
        case StepKind::ProfileInit:
            init(s.dsd, s.init, v);
            break;
        case StepKind::ProfileMask:
            mask(s.dsd, s.mask);
            break;
        case StepKind::DefaultProfile:
            createDefault(s.dsd);
            break;
        case StepKind::StopAll:
            stopAll(s.dsd);
            break;
        default:
            break;
    }
    if (!bad && next < v.cas.size()) {
        const auto& c = *v.cas[next];
        fail("quality-service-calls", std::string("an unexpected ") + emu::casCallName(c.kind) +
                                          (c.nameNull ? "" : " \"" + c.name + "\""));
    }
    if (!bad && s.kind != StepKind::ProfileInit && !v.lookups.empty()) {
        fail("operator-lookup", "an operator look-up outside a profile initialisation");
    }
    if (!bad) {
        bad = deliveries(s, v);
    }
    return bad;
}

void ProfileModel::fail(const std::string& invariant, const std::string& detail) {
    if (!bad) {
        bad = Violation{invariant, detail};
    }
}

const emu::CasCall* ProfileModel::take(emu::CasCall::Kind kind, const std::string& what) {
    if (bad) {
        return nullptr;
    }
    if (next >= view->cas.size()) {
        fail("quality-service-calls", std::string("no ") + emu::casCallName(kind) + " for " + what);
        return nullptr;
    }
    const emu::CasCall* c = view->cas[next++];
    if (c->kind != kind) {
        fail("quality-service-calls", std::string(emu::casCallName(c->kind)) + " where " + what +
                                          " makes " + emu::casCallName(kind));
        return nullptr;
    }
    return c;
}

void ProfileModel::init(size_t client, const dsd_wqe_profile_init_ind_msg_v01& ind,
                        const StepView& v) {
    const int32_t p = ind.profile_type;
    const uint64_t id = ind.meas_id_valid != 0 ? ind.meas_id : 0;
    const bool valid = static_cast<uint32_t>(p) - static_cast<uint32_t>(kFirstProfile) <
                       static_cast<uint32_t>(kLastProfile - kFirstProfile + 1);
    const bool asks = valid && entries.count({client, id, p}) == 0 && ind.iccid_valid != 0;
    if (v.lookups.size() != (asks ? 1U : 0U)) {
        fail("operator-lookup", std::to_string(v.lookups.size()) + " operator look-ups for " +
                                    "an initialisation of profile " + std::to_string(p));
        return;
    }
    if (!valid || entries.count({client, id, p}) != 0) {
        return;
    }
    Entry e;
    e.overrides.rssiHigh = ind.rssi_high_valid != 0 ? ind.rssi_high : 1;
    e.overrides.rssiLow = ind.rssi_low_valid != 0 ? ind.rssi_low : 1;
    e.operatorName = "ROW";
    if (asks) {
        const auto& ops = emu::Engine::instance().operators;
        const auto it = ops.find(v.lookups[0]);
        if (it == ops.end()) {
            return;  // "ERROR": nothing is created
        }
        e.operatorName = it->second;
    }
    e.cas = emu::Engine::instance().decisionEnginePresent;
    e.measId = ind.meas_id;
    // Created under the id field as it stands; an entry already there is kept.
    entries.emplace(Key{client, ind.meas_id, p}, e);
}

void ProfileModel::mask(size_t client, const dsd_wqe_profile_type_ind_msg_v01& ind) {
    // The look-up uses 0 for an id not marked valid; the start and the stop use the field.
    const uint64_t id = ind.meas_id_valid != 0 ? ind.meas_id : 0;
    auto one = [&](int32_t p, int bit) {
        const auto found = entries.find({client, id, p});
        if (((ind.profile_type_mask >> bit) & 1U) == 0) {
            if (found != entries.end()) {
                destroy({client, ind.meas_id, p});
            }
            return true;
        }
        if (found == entries.end()) {
            return false;  // not yet initialised: the rest of the mask is abandoned
        }
        if (found->second.state == 1) {
            start({client, ind.meas_id, p});
        }
        return true;
    };
    for (int32_t p = kFirstDynamic; p <= kLastProfile; ++p) {
        if (!one(p, p - 33)) {
            return;
        }
    }
    for (int32_t p = kFirstProfile; p < kFirstDynamic; ++p) {
        if (!one(p, p + 28)) {
            return;
        }
    }
}

void ProfileModel::createDefault(size_t client) {
    // A new request and proxy every time, which follows Wi-Fi state for good when the decision
    // engine is there; the registry keeps the entry it has, and the live one registers again.
    const bool cas = emu::Engine::instance().decisionEnginePresent;
    const void* fresh = nullptr;
    if (cas) {
        const emu::CasCall* c =
            take(emu::CasCall::RegisterWifiState, "the default profile's new proxy");
        if (c == nullptr) {
            return;
        }
        fresh = c->ctx;
        wifiState.push_back(client);
    }
    const Key key{client, 0, 0};
    if (entries.count(key) == 0) {
        Entry e;
        e.cas = cas;
        e.proxy = fresh;
        e.operatorName = "ROW";
        entries.emplace(key, e);
    }
    start(key);
}

bool ProfileModel::start(const Key& key) {
    const auto it = entries.find(key);
    if (it == entries.end()) {
        return false;  // "Unable to start the request"
    }
    Entry& e = it->second;
    if (e.state == 2 && key.profile != 0) {
        return true;  // a started numbered or dynamic profile is never registered twice
    }
    if (!e.cas) {
        entries.erase(it);  // "CAS is NULL": the entry goes
        return false;
    }
    const std::string what = "the start of " + profileText(key.profile);
    const emu::CasCall* c = take(emu::CasCall::RegisterWifiNotification, what);
    if (c == nullptr) {
        return false;
    }
    const std::string name = nameOf(key.profile);
    if (c->nameNull != name.empty() || c->name != name) {
        fail("registration-name", what + " registered as \"" + c->name + "\"");
    }
    if (c->client.type != 2 || c->client.ctx != c->ctx ||
        !sameValues(*c, e.overrides, e.operatorName)) {
        fail("registration-values", what +
                                        " registered another client record, RSSI overrides "
                                        "or operator than the profile's");
    }
    for (const auto& r : live) {
        if (r.proxy == c->ctx && !(r.key == key)) {
            fail("registration-proxy", what + " registered the proxy of " + profileText(r.profile) +
                                           " (client " + std::to_string(r.client) + ")");
        }
    }
    if (e.proxy != nullptr && e.proxy != c->ctx) {
        fail("registration-proxy", what + " registered another proxy than its own");
    }
    e.proxy = c->ctx;
    live.push_back({key, c->ctx, name, key.profile, e.measId, key.client});
    e.state = 2;
    return true;
}

void ProfileModel::destroy(const Key& key) {
    const auto it = entries.find(key);
    if (it == entries.end()) {
        return;
    }
    const Entry e = it->second;
    entries.erase(it);
    deregister(e, key);
}

void ProfileModel::stopAll(size_t client) {
    // In the registry's order; the default profile stays.
    std::vector<std::pair<Key, Entry>> stopped;
    for (auto it = entries.begin(); it != entries.end();) {
        if (it->first.client == client && it->first.profile != 0) {
            stopped.emplace_back(*it);
            it = entries.erase(it);
        } else {
            ++it;
        }
    }
    for (const auto& [key, e] : stopped) {
        deregister(e, key);
    }
}

void ProfileModel::deregister(const Entry& e, const Key& key) {
    if (!e.cas) {
        return;  // nothing was registered: "CAS is NULL"
    }
    const std::string what = "the stop of " + profileText(key.profile);
    const emu::CasCall* c = take(key.profile == 0 ? emu::CasCall::DeregisterWlanNetConfig
                                                  : emu::CasCall::DeregisterNoninternet,
                                 what);
    if (c == nullptr) {
        return;
    }
    if (c->name != nameOf(key.profile) || c->client.type != 2 ||
        !sameValues(*c, e.overrides, e.operatorName)) {
        fail("deregistration-values", what +
                                          " took back another name, client record, RSSI "
                                          "overrides or operator than it registered");
    }
    if (e.proxy != nullptr && c->client.ctx != e.proxy) {
        fail("deregistration-proxy", what + " took back another proxy's registration");
    }
    // A profile stopped before it started takes back nothing it had; it must not take back
    // another's.
    for (auto r = live.begin(); r != live.end();) {
        if (r->proxy != c->client.ctx) {
            ++r;
        } else if (r->key == key) {
            r = live.erase(r);
        } else {
            fail("deregistration-proxy",
                 what + " took back the registration of " + profileText(r->profile));
            return;
        }
    }
}

std::optional<Violation> ProfileModel::deliveries(const Step& s, const StepView& v) {
    struct Want {
        emu::DsdOp op;
        size_t client;
        const Registration* reg;
    };
    std::vector<Want> want;
    const auto& cfg = s.cas;
    if (s.kind == StepKind::CasVerdict || s.kind == StepKind::NetConfig) {
        for (const auto& r : live) {
            if (s.nameNull ? !r.name.empty() : r.name != s.text) {
                continue;
            }
            const bool station = cfg.netType == 1 || cfg.netType == 254;
            if (!r.name.empty() || station) {
                want.push_back({emu::DsdOp::WqeProfileStatus, r.client, &r});
            }
            if (r.name.empty()) {
                want.push_back({emu::DsdOp::WifiAvailableStatus, r.client, &r});
            }
        }
    } else if (s.kind == StepKind::WifiState) {
        for (size_t client : wifiState) {
            want.push_back({emu::DsdOp::NotifyDataSettings, client, nullptr});
        }
    }
    size_t k = 0;
    for (size_t i = 0; i < v.messages.size(); ++i) {
        const auto& msg = *v.messages[i];
        if (msg.op == emu::DsdOp::WifiMeasurementReport) {
            continue;
        }
        const std::string which = std::string(emu::dsdOpName(msg.op)) + " to client " +
                                  std::to_string(v.messageClients[i]);
        if (k >= want.size() || want[k].op != msg.op || want[k].client != v.messageClients[i]) {
            return Violation{"delivery-messages", which + " is not what the step's " +
                                                      (want.empty() ? std::string("(no)")
                                                                    : std::to_string(want.size())) +
                                                      " live registrations call for"};
        }
        const Want& w = want[k++];
        bool ok = true;
        if (msg.op == emu::DsdOp::WqeProfileStatus) {
            const auto m = msg.as<dsd_set_wqe_profile_quality_status_req_msg_v01>();
            const bool named = !w.reg->name.empty();
            const bool pass = named ? cfg.isActive != 0
                                    : cfg.state == 1 && cfg.netFlag != 0 && cfg.stationFlag != 0;
            ok = m.profile_type == w.reg->profile && m.quality_status == (pass ? 0 : 1) &&
                 m.status_code_valid == (named ? 1 : 0) &&
                 m.status_code == (named && !pass ? reading::verdictStatusCode(cfg.reason) : 0) &&
                 m.meas_id == w.reg->measId && m.meas_id_valid == (w.reg->measId != 0 ? 1 : 0);
        } else if (msg.op == emu::DsdOp::WifiAvailableStatus) {
            const auto m = msg.as<dsd_wlan_available_req_msg_v01>();
            const int32_t t = cfg.netType;
            std::string why = "its network type";
            ok = m.wlan_type_valid == 1 &&
                 (t == 1 || t == 254 ? m.wlan_type == 2
                  : t == 100         ? m.wlan_type == 3
                  : t == 101         ? m.wlan_type <= 1
                                     : std::count(msg.bytes.begin(), msg.bytes.end(), 0) ==
                                   static_cast<long>(msg.bytes.size()) - 1) &&
                 availability.check(w.reg->proxy, cfg, m, why);
            if (!ok) {
                std::string detail = which;
                detail.append(" does not carry ")
                    .append(why)
                    .append(" as the service's record and the proxy's remembered SSIDs call for");
                return Violation{"delivery-content", detail};
            }
        } else {
            const auto m = msg.as<dsd_notify_data_settings_req_msg_v01>();
            ok = m.wifi_state == (s.flag ? 1 : 0);
        }
        if (!ok) {
            return Violation{"delivery-content", which +
                                                     " does not carry what its profile and "
                                                     "the service's record say"};
        }
    }
    if (k != want.size()) {
        return Violation{"delivery-messages", std::to_string(k) + " messages for " +
                                                  std::to_string(want.size()) +
                                                  " that the live registrations call for"};
    }
    return std::nullopt;
}

}  // namespace ylmsim::chaos
