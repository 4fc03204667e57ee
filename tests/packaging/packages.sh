#!/usr/bin/env bash
# What a user does with the Debian packages, in a bare Debian 12 as root, where they lie in FOLDER: install, use, remove.
# Prints each command with its seconds. scripts/check-packages makes the root and runs this in it.
#   packages.sh FOLDER
set -euo pipefail
folder=$1
log=$(mktemp)

fail() {
    echo "$*" >&2
    exit 1
}

# run COMMAND...: prints it and how long it took; its output is shown if it fails.
run() {
    local began=${EPOCHREALTIME/[.,]/} tenths
    "$@" >"$log" 2>&1 || { cat "$log" && fail "failed: $*"; }
    tenths=$(((${EPOCHREALTIME/[.,]/} - began + 50000) / 100000))
    printf '%4d.%d s  %s\n' $((tenths / 10)) $((tenths % 10)) "$*"
}

# says PATTERN: what the last command printed matches
says() { grep -qE -- "$1" "$log" || { cat "$log" && fail "no \"$1\""; }; }

# Everything that packages bring, by name.
installed_files() { find /usr /etc /opt -xdev | sort; }

installs() { run apt-get install -y --no-install-recommends "$@"; }

purges() {
    run apt-get purge -y "$@"
    run apt-get autoremove -y --purge
}

use_the_command() {
    run qor --version
    says '^plug-in: Qor Distance Image .*/libqor\.so\.0$'
    run qor simulate --scene room --exposures 400,1600 --frames 3 --out room.zelta
    run qor run room.zelta --out room
    says '3 frames'
    run qor report room.zelta --out report.html
    run qor export room/result.zelta --format npz,ply --out export
    local file
    for file in room/result.zelta report.html; do
        [ -s "$file" ] || fail "no $file"
    done
    bash -n /usr/share/bash-completion/completions/qor
}

compile_hosts() {
    local example=/usr/share/doc/qor-dev/examples
    # shellcheck disable=SC2046
    run cc -std=c11 -Wall -Wextra -pedantic -Werror $example/host.c $(pkg-config --cflags qor) -o host
    run ./host "$(pkg-config --variable=plugin qor)" room.zelta
    says '^frame 2: 100\.0 % of the pixels valid'
    run cmake -S $example -B hosts -DEXAMPLES_STATIC=ON
    run cmake --build hosts
    run hosts/host "$(head -n 1 hosts/plugin.txt)" room.zelta
    says '^frame 2: 100\.0 % of the pixels valid'
    local live
    for live in live live_static; do
        run "hosts/$live" points.ply
        says '^frame 19: 38528 points'
    done
}

check_texts() {
    local page warnings
    for page in /usr/share/man/man1/qor*.1.gz; do
        warnings=$(man --warnings -l "$page" 2>&1 >/dev/null) || fail "$page: $warnings"
        [ -z "$warnings" ] || fail "$page: $warnings"
    done
    zsh -n /usr/share/zsh/vendor-completions/_qor
    fish --no-execute /usr/share/fish/vendor_completions.d/qor.fish
}

cd "$(mktemp -d)"
run apt-get update
installed_files >before

echo "-- the command"
installs "$folder"/libqor0_*.deb "$folder"/qor_*.deb
use_the_command

echo "-- removed"
purges libqor0 qor
installed_files >after
diff before after || fail "the packages leave something or take something along"

echo "-- hosts"
installs "$folder"/{libqor0,qor-dev,zelta-dev}_*.deb gcc libc6-dev pkg-config
installs cmake g++ make libhwy-dev
compile_hosts

echo "-- manual pages and completions"
installs "$folder"/qor_*.deb man-db zsh fish
check_texts

echo "-- removed"
run apt-get purge -y libqor0 qor qor-dev zelta-dev
left=$(find /usr /etc /opt /var/lib/dpkg -xdev \( -name '*qor*' -o -name '*zelta*' \))
[ -z "$left" ] || fail "left: $left"
