#!/usr/bin/env bash
# Shows a Pluvo widget on a desktop panel: prints the widget's picture and its spoken text as a
# tooltip in the form xfce4-genmon-plugin reads; the panel runs it again at each period.
#
#   contrib/show-on-panel.sh [DIR] [KIND]
#     DIR   the host's --out folder (default ~/.local/state/pluvo-widgets)
#     KIND  the widget kind (default PluvoCurrentSmallWidget)
#
# For xfce4-genmon-plugin set the command to this script with a period of 60 s; for a web
# dashboard, serve DIR (e.g. `python3 -m http.server -d DIR 8080 --bind 127.0.0.1`) and point an
# <img> at KIND.png: the host replaces each file atomically, so a reader never sees half an image.
set -euo pipefail
dir=${1:-${XDG_STATE_HOME:-$HOME/.local/state}/pluvo-widgets}
kind=${2:-PluvoCurrentSmallWidget}
entry="$dir/$kind.json"
[[ -r "$entry" ]] || { echo "<txt>no widget yet</txt><tool>$entry is missing: is the host running? (systemctl --user status pluvo-widget-host)</tool>"; exit 0; }
text=$(python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["accessibilityText"])' "$entry")
echo "<img>$dir/$kind.png</img>"
echo "<tool>$text</tool>"
echo "<click>xdg-open $dir/$kind.png</click>"
