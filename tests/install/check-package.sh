#!/usr/bin/env bash
# Checks the Debian package as a user's machine would meet it: the programs,
# desktop entry, metainfo and icons are inside; the programs are optimised
# builds without debug sections; every shared library the programs load is
# found, and comes from a package that the declared Depends pull in.
#   tests/install/check-package.sh PACKAGE.deb
set -euo pipefail
deb=$1
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"

fail=0
complain() { echo "package: $*"; fail=1; }

programs=(zelto-profiler zelto-target-sim zelto-capture)
for p in "${programs[@]}"; do
    [[ -x "$root/usr/bin/$p" ]] || complain "usr/bin/$p missing or not executable"
done
for f in share/applications/org.zelto.Profiler.desktop share/metainfo/org.zelto.Profiler.metainfo.xml; do
    [[ -e "$root/usr/$f" ]] || complain "usr/$f missing"
done
for size in 16 32 48 64 128; do
    [[ -e "$root/usr/share/icons/hicolor/${size}x${size}/apps/org.zelto.Profiler.png" ]] ||
        complain "icon ${size}x${size} missing"
done

# The closure of the declared Depends over the packages installed here.
declare -A closure=()
pending=$(dpkg-deb -f "$deb" Depends | tr ',|' '\n\n' | sed 's/(.*)//; s/:.*//; s/ //g' | grep -v '^$')
while [[ -n "$pending" ]]; do
    next=""
    for pkg in $pending; do
        [[ -n "${closure[$pkg]:-}" ]] && continue
        closure[$pkg]=1
        next+=" $(dpkg-query -W -f='${Depends},${Pre-Depends}\n' "$pkg" 2>/dev/null |
                  tr ',|' '\n\n' | sed 's/(.*)//; s/:.*//; s/ //g' | grep -v '^$' || true)"
    done
    pending=$next
done

for p in "${programs[@]}"; do
    bin="$root/usr/bin/$p"
    [[ -x "$bin" ]] || continue
    if readelf -S "$bin" | grep -q '\.debug_info'; then
        complain "$p carries debug sections (not an optimised build)"
    fi
    while read -r lib; do
        complain "$p: library not found: $lib"
    done < <(ldd "$bin" | awk '/not found/ {print $1}')
    while read -r path; do
        owner=$(dpkg-query -S "$path" 2>/dev/null | head -n1 | cut -d: -f1 || true)
        [[ -z "$owner" ]] && owner=$(dpkg-query -S "$(readlink -f "$path")" 2>/dev/null | head -n1 | cut -d: -f1 || true)
        if [[ -z "$owner" ]]; then
            complain "$p: $path belongs to no package"
        elif [[ -z "${closure[$owner]:-}" ]]; then
            complain "$p: $path comes from $owner, which the Depends do not pull in"
        fi
    done < <(ldd "$bin" | awk '$3 ~ /^\// {print $3}')
done

# desktop-file-validate exits 0 on some errors: any remark at all fails the check.
remarks=$(desktop-file-validate "$root/usr/share/applications/org.zelto.Profiler.desktop" 2>&1 || true)
[[ -z "$remarks" ]] || complain "desktop entry: $remarks"
appstreamcli validate --no-net --strict "$root/usr/share/metainfo/org.zelto.Profiler.metainfo.xml" >/dev/null ||
    complain "metainfo does not validate"

[[ $fail -eq 0 ]] && echo "package: $(basename "$deb") complete, $(( ${#closure[@]} )) packages in its dependency closure"
exit $fail
