#!/usr/bin/env bash
# The programs as a user or a distribution gets them: `cmake --install` into a temporary prefix,
# and the .deb (cpack) unpacked with dpkg-deb -x. Each tree is then run with the source and build
# trees hidden (an empty folder mounted over each, in a mount namespace of its own): --version,
# --help and the man page of every installed program, a gallery with every image drawn, the installed Info.plist (and the user's, which wins),
# the man page, the bash completion and the user unit's ExecStart.
#   installed_programs.sh SOURCE_DIR BUILD_DIR VERSION
set -euo pipefail
source_dir=$(realpath "$1") build=$(realpath "$2") version=$3
work=$(mktemp -d /tmp/pluvo-install-test.XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" --strip >"$work/install.log"
(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/package" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log"; exit 1; }
deb=$(ls "$work"/package/*.deb)
dpkg-deb -x "$deb" "$work/deb"

# Runs in the namespace where neither tree is reachable: $1 the prefix, $2 the folder to work in.
check_tree() {
  local prefix=$1 scratch=$2 failures=0
  check() { if eval "$2"; then echo "ok: $1"; else echo "FAIL: $1"; failures=$((failures + 1)); fi; }
  local cli=$prefix/bin/pluvo-widget
  export HOME=$scratch/home XDG_CONFIG_HOME=$scratch/config TZ=America/Chicago
  mkdir -p "$HOME" "$XDG_CONFIG_HOME"
  local storage=(--container "$scratch/container" --caches "$scratch/caches")

  local program name
  for program in "$prefix"/bin/*; do
    name=$(basename "$program")
    check "$name --version is the project's" '[[ $("$program" --version) == "$name $VERSION" ]]'
    check "$name --help" '"$program" --help >/dev/null'
    check "$name has its man page" '[[ -s "$prefix/share/man/man1/$name.1.gz" ]]'
  done
  check "pluvo-widget --help lists the commands" '"$cli" --help | grep -q "^  status "'
  "$cli" "${storage[@]}" --now 2026-10-29T20:00:00Z gallery -o "$scratch/gallery" \
    >"$scratch/gallery.out" 2>"$scratch/gallery.err" || true
  local images
  images=$(grep -o 'src="[^"]*"' "$scratch/gallery/index.html" 2>/dev/null | sed 's/src="//;s/"$//' || true)
  check "the gallery names ten images" '[[ $(wc -w <<<"$images") == 10 ]]'
  local image
  for image in $images; do
    check "$image is a whole PNG" \
      '[[ $(head -c 8 "$scratch/gallery/$image" | od -An -tx1 | tr -d " ") == 89504e470d0a1a0a ]]'
  done
  # No user file: the installed Info.plist names the local forecast service.
  "$cli" "${storage[@]}" refresh --location Austin --lat 30.27 --lon -97.74 >/dev/null 2>"$scratch/refresh.err" || true
  check "the installed Info.plist is read" 'grep -q "http://127.0.0.1:8470/" "$scratch/refresh.err"'
  mkdir -p "$XDG_CONFIG_HOME/pluvo"
  printf '%s\n' '<?xml version="1.0" encoding="UTF-8"?>' '<plist version="1.0"><dict>' \
    '<key>PluvoAPIBaseURL</key><string>http://127.0.0.1:9/user</string></dict></plist>' \
    >"$XDG_CONFIG_HOME/pluvo/Info.plist"
  "$cli" "${storage[@]}" refresh --location Austin --lat 30.27 --lon -97.74 >/dev/null 2>"$scratch/refresh.err" || true
  check "the user's Info.plist wins" 'grep -q "http://127.0.0.1:9/user/" "$scratch/refresh.err"'
  check "the man page is there" 'zcat "$prefix/share/man/man1/pluvo-widget.1.gz" | grep -q "^\.SH COMMANDS"'
  check "completion lists the commands" '(source "$prefix/share/bash-completion/completions/pluvo-widget"
    COMP_WORDS=(pluvo-widget "st"); COMP_CWORD=1; _pluvo_widget; [[ "${COMPREPLY[*]}" == "status" ]])'
  check "the host's unit starts the installed program" \
    'grep -qx "ExecStart=$INSTALLED_BIN/pluvo-widget host --out %S/pluvo-widgets" \
       "$prefix/lib/systemd/user/pluvo-widget-host.service"'
  local unit
  for unit in "$prefix"/lib/systemd/user/*.service; do
    check "$(basename "$unit") names only installed programs" \
      '! grep "^Exec" "$unit" | grep -v "=$INSTALLED_BIN/pluvo-\\|/bin/kill"'
  done
  return $((failures > 0))
}

# An empty folder over the source and build trees (and over their parent when they share one).
hide_and_check() {  # prefix scratch installed_bin
  mkdir -p "$2"
  unshare --mount --map-root-user bash -c "
    set -euo pipefail
    mount -t tmpfs none '$source_dir'
    [[ '$build' == '$source_dir'/* ]] || mount -t tmpfs none '$build'
    VERSION='$version' INSTALLED_BIN='$3'
    $(declare -f check_tree)
    check_tree '$1' '$2'"
}

failures=0
if ! unshare --mount --map-root-user true 2>/dev/null; then
  echo "SKIP: no mount namespace here (unshare --mount --map-root-user) to hide the source tree"
  exit 77
fi
echo "== cmake --install --prefix $work/prefix"
hide_and_check "$work/prefix" "$work/run-prefix" "$work/prefix/bin" || failures=$((failures + 1))
echo "== $(basename "$deb") unpacked"
hide_and_check "$work/deb/usr" "$work/run-deb" /usr/bin || failures=$((failures + 1))
echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
exit $((failures > 0))
