#!/usr/bin/env bash
# scripts/demo in a scratch TMPDIR: both host rounds (recovered, then refreshed from the stub
# server), five widget and five Live Activity images, a gallery page, nothing outside TMPDIR.
#   demo_script.sh SOURCE_DIR BUILD_DIR WORK_DIR
set -euo pipefail
source_dir=$1 build=$2 work=$3
rm -rf "$work" && mkdir -p "$work/tmp" "$work/home"
output=$(HOME="$work/home" XDG_DATA_HOME="$work/home/data" TMPDIR="$work/tmp" \
  "$source_dir/scripts/demo" "$build")
echo "$output"
demo=$(ls -d "$work"/tmp/pluvo-demo-*)
failures=0
check() { if eval "$2"; then :; else echo "FAIL: $1"; failures=$((failures + 1)); fi; }
check "recovered in round 4" 'grep -q "^4\..*snapshot recovered" <<<"$output"'
check "refreshed in round 5" 'grep -q "^5\..*snapshot refreshed" <<<"$output"'
check "five widget images" '[[ $(ls "$demo"/widgets/*.png | wc -l) == 5 ]]'
check "five activity images" '[[ $(ls "$demo"/activity/*.png | wc -l) == 5 ]]'
check "the gallery's path printed" 'grep -q "$demo/gallery/index.html" <<<"$output" && [[ -s "$demo/gallery/index.html" ]]'
check "the home folder untouched" '[[ -z "$(ls -A "$work/home")" ]]'
echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
exit $((failures > 0))
