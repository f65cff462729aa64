#!/bin/sh
# /init of the testbed VM (busybox sh). Brings up simulated radios with real access points and
# stations, runs the simulator's live scenarios against them and writes everything to the 9p
# share, then powers off. The host side (run.sh) judges the results.
#
# Radios (hwsim gives radio N the MAC 02:00:00:00:0N:00; all share one simulated medium):
#   wlan0  station -> testbed-2g, P2P on (p2p-dev-wlan0, group owner p2p-wlan0-0)
#   wlan1  station -> testbed-5g        wlan2  station -> testbed-he (SAE)
#   wlan3  AP testbed-2g (2437)         wlan4  AP testbed-5g (5180)    wlan5  AP testbed-he (5745)
#   wlan6  soft AP testbed-softap (2462), moved to its own network namespace and renamed wlan0
#          there, its control socket in /data/vendor/wifi/hostapd/ctrl
#   wlan7  a second AP of testbed-2g (2462), switched on by a scenario's world changes
#   wlan8  AP testbed-6g (5975, HE, SAE), started by its scenario under a regulatory domain that
#          lets access points start on 6 GHz (Canada's)
PATH=/usr/sbin:/usr/bin:/sbin:/bin
export PATH

SHARE=/mnt/share
OUT=$SHARE/out
LOGS=$OUT/logs
CONF=/testbed/conf
SOFTAP_CTRL=/data/vendor/wifi/hostapd/ctrl
RADIOS=9
# Capture mode (run.sh --capture) makes the genuine replies of tests/fixtures/real-daemons again,
# on six radios as they were made.
CAPTURE=0
AP_BSSIDS="02:00:00:00:03:00 02:00:00:00:04:00 02:00:00:00:05:00 02:00:00:00:06:00"

now() { cut -d' ' -f1 /proc/uptime; }
secs() { cut -d. -f1 /proc/uptime; }
log() { echo "[$(now)] $*" | tee -a "$OUT/vm.log"; }

# wait_for SECONDS DESCRIPTION COMMAND...: polls COMMAND until it succeeds.
wait_for() {
  limit=$(($(secs) + $1))
  what=$2
  shift 2
  until "$@" >/dev/null 2>&1; do
    if [ "$(secs)" -ge "$limit" ]; then
      log "timeout: $what"
      return 1
    fi
    sleep 0.2
  done
  log "ok: $what"
}

ap_enabled() { hostapd_cli -i "$1" status | grep -qx 'state=ENABLED'; }
# hostapd_cli exactly as the plug-in runs it on a handset.
softap_cli() { hostapd_cli -p "$SOFTAP_CTRL" -s "$SOFTAP_CTRL" -i wlan0 "$@"; }
softap_enabled() { softap_cli STATUS | grep -qx 'state=ENABLED'; }
softap_disabled() { ! softap_enabled; }
sta_completed() { wpa_cli -i "$1" status | grep -qx 'wpa_state=COMPLETED'; }
has_netdev() { [ -e "/sys/class/net/$1" ]; }
ns_has_netdev() { ip link show "$1"; }

# scan_fresh IFACE SINCE: every access point of the testbed was seen by IFACE's scans at or
# after SINCE (seconds of uptime).
scan_fresh() {
  elapsed=$(($(secs) - $2))
  for bssid in $AP_BSSIDS; do
    age=$(wpa_cli -i "$1" bss "$bssid" | sed -n 's/^age=//p')
    [ -n "$age" ] && [ "$age" -le "$elapsed" ] || return 1
  done
}

scan_and_wait() {
  since=$(secs)
  wpa_cli -i "$1" scan >/dev/null
  wait_for 40 "$1 scan refreshed every access point" scan_fresh "$1" "$since"
}

# capture NAME COMMAND...: the command's unedited output into truth/NAME.txt.
capture() {
  name=$1
  shift
  "$@" >"$OUT/truth/$name.txt" 2>&1
  log "captured $name.txt (rc=$?): $*"
}

# The soft AP's side, run through `unshare -n` in a fresh network namespace.
softap_main() {
  echo $$ >/run/softap.pid
  limit=$(($(secs) + 30))
  until ns_has_netdev wlan6 >/dev/null 2>&1; do
    [ "$(secs)" -ge "$limit" ] && exit 1
    sleep 0.1
  done
  ip link set lo up
  ip link set wlan6 name wlan0
  mkdir -p "$SOFTAP_CTRL"
  exec hostapd -d -t -f "$LOGS/hostapd-softap.log" "$CONF/hostapd-softap.conf"
}

mount_all() {
  mount -t proc proc /proc
  mount -t sysfs sysfs /sys
  mount -t devtmpfs devtmpfs /dev
  mount -t tmpfs tmpfs /tmp
  mount -t tmpfs tmpfs /run
  modprobe virtio_pci && modprobe virtio_rng && modprobe 9pnet_virtio && modprobe 9p &&
    mount -t 9p -o trans=virtio,version=9p2000.L,msize=262144 share "$SHARE"
}

start_radios() {
  modprobe mac80211_hwsim radios=$RADIOS || return 1
  wait_for 20 "hwsim radios" has_netdev wlan$((RADIOS - 1)) || return 1
  iw reg set US
  [ "$CAPTURE" -eq 0 ] || return 0 # the captures were made without the soft AP
  # unshare execs the shell, so the pid it writes is the namespace holder; the radio moves only
  # once the namespace exists.
  unshare -n /init softap &
  wait_for 10 "soft AP namespace" test -s /run/softap.pid || return 1
  phy=$(cat /sys/class/net/wlan6/phy80211/name)
  iw phy "$phy" set netns "$(cat /run/softap.pid)" || return 1
  log "soft AP radio $phy moved to namespace of pid $(cat /run/softap.pid)"
}

# The station the plug-in talks to, at debug level so that its log shows every command it got.
# A restart (a world change) appends to the same log.
start_sta0() {
  wpa_supplicant -B -d -t -D nl80211 -i wlan0 -c "$CONF/wpa_supplicant-sta.conf" \
    -P /run/wpa_supplicant-wlan0.pid -f "$LOGS/wpa_supplicant-wlan0.log"
}

# An access point of its own process, so that it can come and go alone: hostapd-NAME.conf.
start_ap() {
  hostapd -B -t -P "/run/hostapd-$1.pid" -f "$LOGS/hostapd-$1.log" "$CONF/hostapd-$1.conf" &&
    wait_for 30 "AP $1 ENABLED" ap_enabled "$(sed -n 's/^interface=//p' "$CONF/hostapd-$1.conf")"
}

start_daemons() {
  hostapd -B -t -P /run/hostapd.pid -f "$LOGS/hostapd.log" \
    "$CONF/hostapd-2g.conf" "$CONF/hostapd-5g.conf" "$CONF/hostapd-he.conf" || return 1
  start_sta0 || return 1
  wpa_supplicant -B -t -D nl80211 -i wlan1 -c "$CONF/wpa_supplicant-sta5.conf" \
    -f "$LOGS/wpa_supplicant-wlan1.log" || return 1
  wpa_supplicant -B -t -D nl80211 -i wlan2 -c "$CONF/wpa_supplicant-sta-he.conf" \
    -f "$LOGS/wpa_supplicant-wlan2.log" || return 1
  for ap in wlan3 wlan4 wlan5; do wait_for 30 "AP $ap ENABLED" ap_enabled $ap || return 1; done
  if [ "$CAPTURE" -eq 1 ]; then
    # The captures show the stations before any P2P group exists.
    for sta in wlan0 wlan1 wlan2; do wait_for 60 "STA $sta COMPLETED" sta_completed $sta || return 1; done
    return 0
  fi
  wait_for 30 "soft AP wlan0 ENABLED at $SOFTAP_CTRL" softap_enabled || return 1
  # The group owner first: wpa_supplicant holds station scans back for about 10 s after a group
  # starts without a client, and that wait then overlaps the other stations' connecting.
  wait_for 60 "STA wlan0 COMPLETED" sta_completed wlan0 || return 1
  capture p2p-group-add wpa_cli -i wlan0 p2p_group_add
  wait_for 30 "P2P GO p2p-wlan0-0 COMPLETED" sta_completed p2p-wlan0-0 || return 1
  for sta in wlan1 wlan2; do
    wait_for 60 "STA $sta COMPLETED" sta_completed $sta || return 1
  done
}

# What the daemons say, for the host-side checks to compare the plug-in's reports with: before
# the scenarios (tag "pre") and after each one (tagged with its name).
capture_truth() {
  tag=$1
  capture "$tag-sta-status" wpa_cli -i wlan0 status
  capture "$tag-sta-signal-poll" wpa_cli -i wlan0 signal_poll
  capture "$tag-sta-scan-results" wpa_cli -i wlan0 scan_results
  awk 'NR > 1 { print $1 }' "$OUT/truth/$tag-sta-scan-results.txt" | while read -r bssid; do
    capture "$tag-sta-bss-$bssid" wpa_cli -i wlan0 bss "$bssid"
  done
  capture "$tag-softap-status" softap_cli STATUS
  capture "$tag-p2p-status" wpa_cli -i p2p-wlan0-0 status
  for ap in wlan3 wlan4 wlan5; do capture "$tag-ap-status-$ap" hostapd_cli -i $ap status; done
}

# World changes, each run by a scenario's "# world SECONDS: ACTION ARGS" line. Each waits until
# the daemons show the change, so the next one starts from it.
world_ap_off() {
  for ap in "$@"; do
    hostapd_cli -i "$ap" disable >/dev/null
    wait_for 20 "$ap DISABLED" sh -c "hostapd_cli -i $ap status | grep -qx state=DISABLED"
  done
}
world_softap_off() {
  softap_cli DISABLE >/dev/null
  wait_for 20 "soft AP DISABLED" softap_disabled
}
world_ap_on() {
  hostapd_cli -i "$1" enable >/dev/null
  wait_for 30 "$1 ENABLED" ap_enabled "$1"
}
world_ap_start() { start_ap "$1"; }
# TX power of a radio in mBm: hwsim's signal strength follows the sender's power.
world_txpower() { iw dev "$1" set txpower fixed "$2"; }
# The regulatory domain the user sets. The kernel only intersects it with the country element a
# station picked up, until every radio is idle (no access point beaconing, no station connected)
# and it has gone back to the user's setting; so the scenario stops those first.
world_reg() {
  wait_for 20 "regulatory domain $1" sh -c "iw reg set $1; iw reg get | grep -q '^country $1:'"
}
world_sta_disconnect() {
  for sta in "$@"; do
    wpa_cli -i "$sta" disconnect >/dev/null
    wait_for 20 "STA $sta DISCONNECTED" sh -c "wpa_cli -i $sta status | grep -qx wpa_state=DISCONNECTED"
  done
}
world_sta_kill() {
  pid=$(cat /run/wpa_supplicant-wlan0.pid)
  kill "$pid"
  wait_for 20 "wpa_supplicant of wlan0 gone" sh -c "! kill -0 $pid"
}
world_sta_start() {
  start_sta0 && wait_for 60 "STA wlan0 COMPLETED" sta_completed wlan0
}
world_roam() {
  wpa_cli -i wlan0 roam "$1" >/dev/null
  wait_for 30 "wlan0 on $1" sh -c "wpa_cli -i wlan0 status | grep -qx bssid=$1"
}

# The world a scenario starts from: its "# setup: ACTION ARGS" lines, done before it starts.
setup_world() {
  sed -n 's/^# setup: *\([^#]*\).*/\1/p' "$1" | while read -r action args; do
    log "setup: $action $args"
    # shellcheck disable=SC2086 # the arguments are words of the scenario's line
    "world_$action" $args || log "setup: $action $args did not complete"
  done
}

# run_world YAML START: the scenario's world changes in order, each at its second after START
# (uptime) or as soon as the one before is done.
run_world() {
  sed -n 's/^# world \([0-9][0-9]*\): *\([^#]*\).*/\1 \2/p' "$1" | while read -r when action args; do
    until awk -v now="$(now)" -v start="$2" -v when="$when" 'BEGIN { exit !(now >= start + when) }'; do
      sleep 0.1
    done
    log "world: $action $args"
    # shellcheck disable=SC2086 # the arguments are words of the scenario's line
    "world_$action" $args || log "world: $action $args did not complete"
  done
}

run_scenarios() {
  if [ -f "$SHARE/in/env" ]; then
    # shellcheck disable=SC1091 # written by run.sh
    . "$SHARE/in/env"
  fi
  for yaml in "$SHARE"/in/scenarios/*.yaml; do
    [ -e "$yaml" ] || continue
    name=$(basename "$yaml" .yaml)
    # Whatever the scenario before changed, the station is back on its network first.
    wait_for 90 "STA wlan0 COMPLETED" sta_completed wlan0
    setup_world "$yaml"
    log "scenario $name: start"
    start=$(now)
    run_world "$yaml" "$start" &
    world=$!
    # --record keeps what the run met; the host plays it back and must get the same messages.
    LD_LIBRARY_PATH=/opt/ylm timeout 180 /opt/ylm/ylm-sim "$yaml" --json --live --log-level 1 \
      --lib /opt/ylm/libylm.so --ctrl-dir /var/run/wpa_supplicant --iface wlan0 \
      --p2p-iface p2p-wlan0-0 --record "$OUT/scenarios/$name.recorded.yaml" \
      --reply-log "$OUT/scenarios/$name.replies" \
      >"$OUT/scenarios/$name.jsonl" 2>"$OUT/scenarios/$name.stderr"
    rc=$?
    echo "$rc" >"$OUT/scenarios/$name.rc"
    log "scenario $name: exit $rc, $(wc -l <"$OUT/scenarios/$name.jsonl") DSD messages"
    wait "$world"
    # Right away, before any other scan can refresh the station's view of the access points.
    grep -q '^# judge: truth' "$yaml" && capture_truth "$name"
  done
}

# The genuine replies that tests/fixtures/real-daemons holds, made again by the same commands in
# the same order, into fixtures/ of the share.
capture_fixtures() {
  fx=$OUT/fixtures
  mkdir -p "$fx"
  c() { # NAME COMMAND...
    name=$1
    shift
    "$@" >"$fx/$name.txt" 2>&1
    log "captured $name.txt (rc=$?, $(wc -c <"$fx/$name.txt") bytes): $*"
  }
  c sta-status wpa_cli -i wlan0 status
  c sta-status-verbose wpa_cli -i wlan0 status verbose
  c sta-signal-poll wpa_cli -i wlan0 signal_poll
  since=$(secs)
  c sta-scan wpa_cli -i wlan0 scan
  AP_BSSIDS="02:00:00:00:03:00 02:00:00:00:04:00 02:00:00:00:05:00"
  wait_for 40 "wlan0 scan refreshed every access point" scan_fresh wlan0 "$since" || return 1
  c sta-scan-results wpa_cli -i wlan0 scan_results
  c sta-bss-ap2g wpa_cli -i wlan0 bss 02:00:00:00:03:00
  c sta-bss-ap5g wpa_cli -i wlan0 bss 02:00:00:00:04:00
  c sta-bss-aphe wpa_cli -i wlan0 bss 02:00:00:00:05:00
  c sta5-status wpa_cli -i wlan1 status
  c sta5-signal-poll wpa_cli -i wlan1 signal_poll
  c sta5-bss-ap5g wpa_cli -i wlan1 bss 02:00:00:00:04:00
  c sta-he-status wpa_cli -i wlan2 status
  c sta-he-signal-poll wpa_cli -i wlan2 signal_poll
  c sta-he-bss-aphe wpa_cli -i wlan2 bss 02:00:00:00:05:00
  c hostapd-status hostapd_cli -i wlan3 status
  c hostapd-5g-status hostapd_cli -i wlan4 status
  c hostapd-he-status hostapd_cli -i wlan5 status
  c hostapd-all-sta hostapd_cli -i wlan3 all_sta
  c hostapd-he-all-sta hostapd_cli -i wlan5 all_sta
  c p2p-group-add wpa_cli -i wlan0 p2p_group_add
  wait_for 30 "P2P GO p2p-wlan0-0 COMPLETED" sta_completed p2p-wlan0-0 || return 1
  c p2p-status wpa_cli -i p2p-wlan0-0 status
  c p2p-dev-status wpa_cli -i p2p-dev-wlan0 status
  c sta-status-with-p2p wpa_cli -i wlan0 status
  since=$(secs)
  wpa_cli -i wlan1 scan >/dev/null
  AP_BSSIDS="06:00:00:00:00:00"
  wait_for 40 "wlan1 scan saw the group owner" scan_fresh wlan1 "$since" || return 1
  c sta5-scan-results-with-p2p wpa_cli -i wlan1 scan_results
  c sta5-bss-p2p-go wpa_cli -i wlan1 bss 06:00:00:00:00:00
}

finish() {
  dmesg >"$LOGS/dmesg.txt"
  iw dev >"$LOGS/iw-dev.txt" 2>&1
  iw reg get >"$LOGS/iw-reg.txt" 2>&1
  uname -a >"$LOGS/versions.txt"
  wpa_supplicant -v | head -1 >>"$LOGS/versions.txt"
  hostapd -v 2>&1 | head -1 >>"$LOGS/versions.txt"
  echo "$1" >"$OUT/result"
  log "result: $1; poweroff at $(now)s"
  sync
  poweroff -f
}

main() {
  if ! mount_all; then
    echo "testbed-init: cannot mount the share"
    poweroff -f
  fi
  mkdir -p "$LOGS" "$OUT/truth" "$OUT/scenarios"
  if [ -e "$SHARE/in/capture" ]; then
    CAPTURE=1
    RADIOS=6
  fi
  log "testbed up; kernel $(uname -r)"
  start_radios || finish "FAIL: radios"
  start_daemons || finish "FAIL: daemons"
  if [ "$CAPTURE" -eq 1 ]; then
    capture_fixtures || finish "FAIL: captures"
    finish "DONE"
  fi
  scan_and_wait wlan0 || finish "FAIL: scan"
  capture_truth pre
  run_scenarios
  finish "DONE"
}

case "$1" in
softap) softap_main ;;
*) main ;;
esac
