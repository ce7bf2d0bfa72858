#!/usr/bin/env bash
# Each panel snippet in contrib/ runs the command it configures: waybar's prints one line of JSON
# with text, tooltip, class and percentage; polybar's and i3blocks' print one line of text; the
# xfce generic monitor script prints its <img> and <tool> tags. Everything reads a temporary
# storage holding a stored snapshot (XDG_DATA_HOME), never the user's.
#   panel_snippets.sh SOURCE_DIR PLUVO_WIDGET
set -euo pipefail
source_dir=$1 cli=$(realpath "$2")
work=$(mktemp -d /tmp/pluvo-panels.XXXXXX)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_DATA_HOME=$work/data XDG_CACHE_HOME=$work/cache \
  XDG_STATE_HOME=$work/state XDG_CONFIG_HOME=$work/config PATH="$work/bin:$PATH"
mkdir -p "$work/bin" "$HOME" && ln -s "$cli" "$work/bin/pluvo-widget"
container=$XDG_DATA_HOME/pluvo/AppGroup/group.app.pluvo.shared
mkdir -p "$container"
pluvo-widget --now 2026-10-29T20:00:00Z snapshot build "$source_dir/samples/rainy-week.json" \
  -o "$container/pluvo-widget-snapshot.json" 2>/dev/null

failures=0
check() { if eval "$2"; then echo "ok: $1"; else echo "FAIL: $1"; failures=$((failures + 1)); fi; }
# The command a snippet configures: the value of its KEY line, unquoted.
configured() { sed -n "s/^ *\"\{0,1\}$2\"\{0,1\} *[=:] *\"\{0,1\}\([^\"]*\)\"\{0,1\},\{0,1\}$/\1/p" "$1"; }

waybar=$(configured "$source_dir/contrib/waybar-pluvo.jsonc" exec)
out=$(bash -c "$waybar" 2>/dev/null)
check "waybar: $waybar prints JSON with the four keys" 'python3 -c "
import json, sys
v = json.loads(sys.argv[1])
assert set(v) >= {\"text\", \"tooltip\", \"class\", \"percentage\"}, v
assert v[\"class\"] in (\"rain\", \"dry\", \"stale\") and \"Galveston\" in v[\"text\"], v
assert isinstance(v[\"percentage\"], int) and v[\"tooltip\"], v
" "$out"'
for snippet in polybar-pluvo.ini:exec i3blocks-pluvo.conf:command; do
  command=$(configured "$source_dir/contrib/${snippet%%:*}" "${snippet#*:}")
  out=$(bash -c "$command" 2>/dev/null)
  check "${snippet%%:*}: $command prints one line" '[[ $(wc -l <<<"$out") == 1 && $out == "Galveston, TX "* ]]'
done

out=$("$source_dir/contrib/show-on-panel.sh")
check "xfce: show-on-panel.sh without a host says so" 'grep -q "<txt>no widget yet</txt>" <<<"$out"'
pluvo-widget --now 2026-10-29T20:00:00Z host --out "$XDG_STATE_HOME/pluvo-widgets" --once 2>/dev/null
out=$("$source_dir/contrib/show-on-panel.sh")
check "xfce: show-on-panel.sh shows the host's picture" \
  'grep -q "<img>$XDG_STATE_HOME/pluvo-widgets/PluvoCurrentSmallWidget.png</img>" <<<"$out" && grep -q "<tool>Pluvo, Galveston" <<<"$out"'
echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
exit $((failures > 0))
