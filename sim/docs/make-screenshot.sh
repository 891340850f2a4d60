#!/usr/bin/env bash
# Makes sim/docs/vcd-programming-enable.png: GTKWave (under Xvfb) showing the
# first Programming Enable instruction of a zindle run on the virtual target,
# with a marker at each of its four bytes labelled "to chip / from chip".
# Needs gtkwave, xvfb and imagemagick; not run by CI.
#
#   sim/docs/make-screenshot.sh BUILD
set -euo pipefail

build="$(cd "${1:?usage: $0 BUILD}" && pwd)"
docs="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
work="$(mktemp -d)"
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
cd "$work"

"$build/sim/vtarget" --deterministic --chip mega8 --trace run.trace --vcd run.vcd -- \
  "$build/zindle" +mega8 -p/dev/parport0 >/dev/null

# The instruction ends at the trace's time stamp; its 32 bits start at the
# SCK rising edges before it: 32nd, 24th, 16th and 8th from its end.
python3 - <<'EOF' >view.tcl
import re
trace = open("run.trace").read()
m = re.search(r"^\s*(\d+)\.(\d+) isp (AC 53 .. ..) -> (.. .. .. ..)", trace, re.M)
end = int(m.group(1)) * 1000 + int(m.group(2))
to_chip, from_chip = m.group(3).split(), m.group(4).split()
ids, sck, t, rises = {}, None, 0, []
for line in open("run.vcd"):
    w = line.split()
    if w[:1] == ["$var"]:
        ids[w[3]] = w[4]
    elif line.startswith("#"):
        t = int(line[1:])
    elif t and line[0] == "1" and ids.get(line[1:].strip()) == "sck" and t <= end:
        rises.append(t)
rises = rises[-32:]
half = (rises[1] - rises[0]) // 2
print("gtkwave::addSignalsFromList {isp.sck isp.mosi isp.miso isp.reset}")
print("gtkwave::setZoomRangeTimes %d %d" % (rises[0] - 3 * half, end + 3 * half))
for i in range(4):
    print('gtkwave::setNamedMarker %s %d "%s / %s"' % ("ABCD"[i], rises[8 * i] - half, to_chip[i], from_chip[i]))
EOF

Xvfb :77 -screen 0 1400x240x24 >/dev/null 2>&1 &
sleep 1
DISPLAY=:77 gtkwave --rcvar 'splash_disable 1' --rcvar 'hide_sst 1' --rcvar 'initial_window_x 1400' --rcvar 'initial_window_y 240' \
  --script=view.tcl run.vcd >/dev/null 2>&1 &
sleep 4
DISPLAY=:77 import -window root "$docs/vcd-programming-enable.png"
echo "wrote $docs/vcd-programming-enable.png"
