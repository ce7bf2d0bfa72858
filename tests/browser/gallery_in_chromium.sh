#!/usr/bin/env bash
# The gallery page opened in headless Chromium: a screenshot is taken, every image loads
# (naturalWidth above zero) and none lacks alt text. Also the e-paper gallery, whose images must
# be 1-bit greyscale PNGs.
#   gallery_in_chromium.sh PLUVO_WIDGET SAMPLES_DIR WORK_DIR
set -euo pipefail
cli=$1 samples=$2 work=$3
rm -rf "$work" && mkdir -p "$work"

browser=$(command -v chromium || command -v chromium-browser || true)
if [[ -z "$browser" ]]; then
  if [[ -n "${CI:-}" ]]; then echo "FAIL: chromium is not installed (scripts/setup installs it)"; exit 1; fi
  echo "SKIP: chromium is not installed; run scripts/setup to test the gallery in a browser"
  exit 77
fi

now=2026-10-29T20:00:00Z
"$cli" snapshot build "$samples/rainy-week.json" --days 5 --now "$now" -o "$work/snapshot.json"
"$cli" --now "$now" --time-zone America/Chicago gallery -o "$work/color" \
  --snapshot "$work/snapshot.json" --state "$samples/activity/before-rain-hourly.json" >/dev/null
"$cli" --now "$now" --time-zone America/Chicago gallery -o "$work/eink" --profile eink \
  --snapshot "$work/snapshot.json" >/dev/null

chrome() {
  "$browser" --headless --no-sandbox --disable-gpu --disable-background-networking \
    --disable-component-update --disable-sync --no-first-run --user-data-dir="$work/profile" \
    --virtual-time-budget=5000 "$@" 2>>"$work/chromium.log"
}

failures=0
for page in color eink; do
  dir="$work/$page"
  # The page as given, plus a script that writes what it finds into the DOM once all has loaded.
  sed 's|</body>|<script>addEventListener("load",()=>{const imgs=[...document.images];\
const broken=imgs.filter(i=>!(i.complete\&\&i.naturalWidth>0)).map(i=>i.getAttribute("src"));\
const noAlt=imgs.filter(i=>!(i.getAttribute("alt")\|\|"").trim()).map(i=>i.getAttribute("src"));\
const p=document.createElement("pre");p.id="check";\
p.textContent="CHECK images="+imgs.length+" broken="+broken.join(",")+" noalt="+noAlt.join(",")+" END";\
document.body.append(p);});</script></body>|' "$dir/index.html" >"$dir/check.html"
  chrome --window-size=1100,2200 --screenshot="$work/$page.png" "file://$dir/index.html" >/dev/null
  chrome --dump-dom "file://$dir/check.html" >"$work/$page.dom"
  line=$(grep -o '<pre id="check">CHECK [^<]*END' "$work/$page.dom" | sed 's/^<pre id="check">//' || true)
  echo "$page: ${line:-no result from the page}"
  if [[ -s "$work/$page.png" ]]; then
    echo "$page: screenshot $work/$page.png ($(stat -c %s "$work/$page.png") bytes)"
  else
    echo "FAIL: $page: no screenshot"; failures=$((failures + 1))
  fi
  [[ "$line" == "CHECK images=10 broken= noalt= END" ]] || { echo "FAIL: $page: $line"; failures=$((failures + 1)); }
done

# An e-paper image: PNG, 1-bit greyscale (IHDR bit depth 1, colour type 0).
for image in "$work/eink/PluvoCurrentSmallWidget.png" "$work/eink/activity-lock.png"; do
  header=$(od -An -tu1 -j24 -N2 "$image" | tr -s ' ')
  [[ "$header" == " 1 0" ]] || { echo "FAIL: $image is not 1-bit greyscale (depth, type:$header)"; failures=$((failures + 1)); }
done

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
exit $((failures > 0))
