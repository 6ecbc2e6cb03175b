#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and checks that a desktop
# would find everything: the programs, the desktop entry, the metainfo and
# the icon in every hicolor size.
set -euo pipefail
build=$1
prefix=$2
rm -rf "$prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

fail=0
expect() {
    if [[ ! -e "$prefix/$1" ]]; then
        echo "missing: $1"
        fail=1
    fi
}
expect_exec() {
    expect "$1"
    if [[ -e "$prefix/$1" && ! -x "$prefix/$1" ]]; then
        echo "not executable: $1"
        fail=1
    fi
}
expect_exec bin/zelto-profiler
expect_exec bin/zelto-target-sim
expect_exec bin/zelto-capture
expect share/applications/org.zelto.Profiler.desktop
expect share/metainfo/org.zelto.Profiler.metainfo.xml
for size in 16 32 48 64 128; do
    expect share/icons/hicolor/${size}x${size}/apps/org.zelto.Profiler.png
done

desktop="$prefix/share/applications/org.zelto.Profiler.desktop"
if [[ -e "$desktop" ]]; then
    grep -qx 'Exec=zelto-profiler' "$desktop" || { echo "desktop entry does not start zelto-profiler"; fail=1; }
    grep -qx 'Icon=org.zelto.Profiler' "$desktop" || { echo "desktop entry names another icon"; fail=1; }
fi
if [[ $fail -eq 0 ]]; then
    echo "install layout: 10 of 10 files in place"
fi
exit $fail
