#!/usr/bin/env bash
# Tests of what is installed, a function each; CMakeLists.txt says what the variables hold.
set -euo pipefail
prefix=$WORK/moved/prefix  # not the place it was installed to: what is installed can be moved
recording=$WORK/room.zelta

fail() {
    echo "$*" >&2
    exit 1
}

# expect PATTERN COMMAND...: the command succeeds, and what it prints matches
expect() {
    local pattern=$1 output
    shift
    output=$("$@" 2>&1) || fail "failed: $*"$'\n'"$output"
    grep -qE -- "$pattern" <<<"$output" || fail "no \"$pattern\" from: $*"$'\n'"$output"
}

# refuse PATTERN COMMAND...: the command ends with exit code 1 and says why
refuse() {
    local pattern=$1 output code=0
    shift
    output=$("$@" 2>&1) || code=$?
    [ "$code" = 1 ] || fail "exit code $code: $*"$'\n'"$output"
    grep -qE -- "$pattern" <<<"$output" || fail "no \"$pattern\" from: $*"$'\n'"$output"
}

strict=(-Wall -Wextra -pedantic -Werror)
host_says='^frame 2: 100.0 % of the pixels valid, mean distance 1\.6[0-9]+ m'
live_says='^frame 19: 38528 points, the nearest 1\.30[0-9] m ahead'

# live_with PROGRAM [FOLDER OF LIBRARIES]
live_with() {
    expect "$live_says" env ${2:+LD_LIBRARY_PATH=$2} "$1" "$WORK/points.ply"
    grep -q '^element vertex 38528$' "$WORK/points.ply" || fail "no points"
}

Install() {
    rm -rf "$WORK"
    mkdir -p "$WORK/moved"
    "$CMAKE" --install "$BUILD" --prefix "$WORK/prefix" >"$WORK/install.log"
    mv "$WORK/prefix" "$prefix"
    # The installed command finds the installed plug-in and the point spread function beside it.
    expect '3 frames' "$prefix/bin/qor" simulate --scene room --exposures 400,1600 --frames 3 --out "$recording"
    expect '3 frames' "$prefix/bin/qor" run "$recording" --out "$WORK/run"
}

IsComplete() {
    local file
    for file in bin/qor lib/libqor.so lib/libqor.so.0 "lib/libqor.so.$VERSION" lib/libqor.a lib/libqor_descriptors.a \
        lib/libzelta.a include/qor/QorPlugin.h include/qor/QorDefinitions.h include/zelta/zelta.h \
        lib/cmake/Qor/QorConfig.cmake lib/cmake/zelta/zeltaConfig.cmake lib/pkgconfig/qor.pc \
        lib/pkgconfig/qor-descriptors.pc lib/pkgconfig/zelta.pc share/qor/straylight_psf.f32 \
        share/man/man1/qor.1 share/man/man1/qor-run.1 share/bash-completion/completions/qor \
        share/zsh/site-functions/_qor share/fish/vendor_completions.d/qor.fish share/doc/qor/LICENSE \
        share/doc/qor/NOTICE share/doc/zelta/LICENSE; do
        [ -e "$prefix/$file" ] || fail "$file is not installed"
    done
    [ "$(readlink "$prefix/lib/libqor.so")" = libqor.so.0 ] || fail "libqor.so leads elsewhere"
    # Where a path begins; a short one may be a part of another, as /qor is of share/qor.
    if grep -rlIE "(^|[^])}[:alnum:]_./-])($SOURCE|$BUILD)(/|[^[:alnum:]_.-]|\$)" "$prefix"; then
        fail "a file names the folder of the build"
    fi
}

ConsistsOfComponents() {
    local component
    for component in plugin command development static zelta python; do
        rm -rf "$WORK/component"
        "$CMAKE" --install "$BUILD" --prefix "$WORK/component" --component "$component" >"$WORK/component.log"
        (cd "$WORK/component" && find . -type f -o -type l) >>"$WORK/components.txt"
    done
    # Each file belongs to one of them.
    diff <(sort "$WORK/components.txt") <(cd "$prefix" && find . -type f -o -type l | sort) ||
        fail "the components are not the whole"
}

IsFoundByCMake() {
    "$CMAKE" -S "$SOURCE/examples" -B "$WORK/cmake" -G "$GENERATOR" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_C_FLAGS="${strict[*]}" -DCMAKE_CXX_FLAGS="${strict[*]}" -DCMAKE_PREFIX_PATH="$prefix" \
        -DEXAMPLES_STATIC=ON >"$WORK/cmake.log"
    "$CMAKE" --build "$WORK/cmake" >>"$WORK/cmake.log" || fail "$(cat "$WORK/cmake.log")"
    local plugin
    while read -r plugin; do
        expect "$host_says" "$WORK/cmake/host" "$plugin" "$recording"
    done <"$WORK/cmake/plugin.txt"
    live_with "$WORK/cmake/live"
    live_with "$WORK/cmake/live_static"
}

IsFoundByPkgConfig() {
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    # The data library's flags say which language its headers are in.
    # shellcheck disable=SC2046
    "$CC" -std=c11 "${strict[@]}" "$SOURCE/examples/host.c" $(pkg-config --cflags qor) -o "$WORK/host-pc"
    # shellcheck disable=SC2046
    "$CXX" "${strict[@]}" "$SOURCE/examples/live.cpp" $(pkg-config --cflags --libs qor qor-descriptors zelta) -pthread \
        -o "$WORK/live-pc"
    expect "$host_says" "$WORK/host-pc" "$(pkg-config --variable=plugin qor)" "$recording"
    live_with "$WORK/live-pc" "$prefix/lib"
    expect "^$VERSION\$" pkg-config --modversion qor
}

IsUsedByAPlainCompiler() {
    "$CC" -std=c11 "${strict[@]}" -I "$prefix/include/qor" "$SOURCE/examples/host.c" -o "$WORK/host-cc" -ldl
    expect "$host_says" "$WORK/host-cc" "$prefix/lib/libqor.so.0" "$recording"
    # Linked to the plug-in, and with the definitions alone.
    cat >"$WORK/definition.c" <<'EOC'
#include <QorDefinitions.h>
#include <stdio.h>
int main(void) {
    const void* definition = NULL;
    zelta_size_t size = 0;
    zeltaGet_QorDistanceImageIFInput(&definition, &size);
    printf("%u bytes for %u\n", size, (unsigned)sizeof(QorDistanceImageIFInput));
    return definition == NULL;
}
EOC
    local library
    for library in -lqor -lqor_descriptors; do
        "$CC" -std=c11 "${strict[@]}" -I "$prefix/include/qor" "$WORK/definition.c" -L "$prefix/lib" "$library" \
            -o "$WORK/definition"
        expect '^[0-9]+ bytes for [0-9]+$' env LD_LIBRARY_PATH="$prefix/lib" "$WORK/definition"
    done
}

TheHeadersAreTakenByEveryStandard() {
    local header standard
    for header in QorPlugin QorDefinitions; do
        printf '#include <%s.h>\n#include <%s.h>\n' $header $header >"$WORK/$header.c"
        for standard in c99 c11 c17; do
            "$CC" -std=$standard "${strict[@]}" -fsyntax-only -I "$prefix/include/qor" "$WORK/$header.c"
        done
        for standard in c++11 c++14 c++17 c++20; do
            "$CXX" -std=$standard "${strict[@]}" -fsyntax-only -x c++ -I "$prefix/include/qor" "$WORK/$header.c"
        done
    done
}

HostsSayWhatIsWrong() {
    local host=$WORK/host-faults plugin=$prefix/lib/libqor.so.0
    "$CC" -std=c11 "${strict[@]}" -I "$prefix/include/qor" "$SOURCE/examples/host.c" -o "$host" -ldl
    refuse 'No such file' "$host" "$plugin" "$WORK/nothing.zelta"
    refuse 'Cannot open the plug-in' "$host" "$WORK/nothing.so" "$recording"
    refuse 'no function createAlgo' "$host" libm.so.6 "$recording"
    head -c 700000 "$recording" >"$WORK/cut.zelta"
    refuse 'ends inside of a packet' "$host" "$plugin" "$WORK/cut.zelta"
    refuse 'no recording, or it is damaged' "$host" "$plugin" "$SOURCE/LICENSE"
    : >"$WORK/empty.zelta"
    refuse 'no frame' "$host" "$plugin" "$WORK/empty.zelta"
    # The calibration without its auxiliary parameters, which are moved to another channel.
    LC_ALL=C sed 's/\x9a\x0c\x00\x00/\x9b\x0c\x00\x00/' "$recording" >"$WORK/other.zelta"
    refuse 'Packet 0 is refused: .*channel 3226' "$host" "$plugin" "$WORK/other.zelta"
}

"$1"
