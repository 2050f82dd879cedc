# shellcheck shell=bash disable=SC2154
# Step swift: the bridge to the speech analyzer compiled, held against its header, and run.

# findSwift: a compiler of 6.0 or newer on PATH, or one fetched to swiftFolder. Sets where it has its
# libraries.
findSwift() {
    local version
    version=$(swiftc --version 2>/dev/null | sed -n 's/.*Swift version \([0-9]*\).*/\1/p') || version=
    if [ "${version:-0}" -ge 6 ]; then
        swiftFolder=
        swiftLibraries=$(swiftc -print-target-info |
            python3 -c 'import json, sys; print(json.load(sys.stdin)["paths"]["runtimeResourcePath"])')
    else
        swiftFolder=$work/swift
        scripts/fetch-swift "$swiftFolder" ||
            fail "there is no swiftc of 6.0 or newer, and none could be fetched"
        swiftLibraries=$swiftFolder/root/usr/libexec/swift/lib/swift
    fi
    export swiftFolder swiftLibraries
}

swiftFrontend() {
    if [ -z "$swiftFolder" ]; then
        swiftc -frontend -resource-dir "$swiftLibraries" "$@"
    else
        "$swiftFolder/bin/swift-frontend" -frontend -resource-dir "$swiftLibraries" \
            -sdk "$swiftFolder/root" "$@"
    fi
}

# runWithSwift PROGRAM ARGUMENT...: one that is linked with the compiler's libraries.
runWithSwift() {
    if [ -z "$swiftFolder" ]; then
        LD_LIBRARY_PATH=$swiftLibraries/linux timeout 300 "$@"
    else
        timeout 300 "$swiftFolder/bin/run" "$@"
    fi
}

# compileSwift ARGUMENT...: in Swift 6 mode, which is the stricter one, unless told otherwise.
compileSwift() {
    swiftFrontend -swift-version 6 -parse-as-library -warnings-as-errors \
        -module-cache-path "$work/bridge/cache" "$@"
}

# compileSwiftForMac ARGUMENT...: the same for macOS itself, so that newer symbols must be guarded.
compileSwiftForMac() {
    compileSwift -target arm64-apple-macos15.0 -disable-objc-interop -I "$work/bridge/mac" \
        -disable-implicit-string-processing-module-import "$@"
}

# makeMacModules: the compiler's own modules are there for this machine alone, but their interfaces
# say for which macOS everything is. Function bodies are of no use here and take ten times as long.
makeMacModules() {
    local module interface
    mkdir -p "$work/bridge/mac"
    for module in Swift _Concurrency SwiftOnoneSupport Synchronization; do
        interface=$(find "$swiftLibraries/linux/$module.swiftmodule" -name '*.swiftinterface' \
            ! -name '*.private.*' -print -quit) || return 1
        sed -e '/^import Glibc$/d' -e '/^\/\/ swift-module-flags:/ {
            s/ -target [^ ]*/ -target arm64-apple-macos15.0/
            s/$/ -Onone -disable-availability-checking -experimental-skip-all-function-bodies/
        }' "$interface" >"$work/bridge/mac/$module.swiftinterface" || return 1
        # shellcheck disable=SC2046
        swiftFrontend -compile-module-from-interface -module-name $module \
            $([ $module != Swift ] || echo -parse-stdlib) -target arm64-apple-macos15.0 \
            -module-cache-path "$work/bridge/cache" -I "$work/bridge/mac" \
            -disable-objc-interop -suppress-warnings \
            "$work/bridge/mac/$module.swiftinterface" \
            -o "$work/bridge/mac/$module.swiftmodule" || return 1
    done
    for module in Foundation CoreMedia AVFAudio Speech; do
        compileSwiftForMac -emit-module -module-name $module "$checks/Swift/$module"/*.swift \
            -o "$work/bridge/mac/$module.swiftmodule" || return 1
    done
}

# compileBridgeForMac BRIDGE FOLDER: what the oldest system lacks is imported weakly, for otherwise the
# program would not start there.
compileBridgeForMac() {
    compileSwiftForMac -c -module-name tapwell_analyzer "$1"/*.swift -o "$2/AnalyzerBridge.mac" || return 1
    llvm-nm-14 -m "$2/AnalyzerBridge.mac" | awk '/\(undefined\).* _\$s6Speech/ {
            if (/weak external/) ++weak
            else { print "not weak:", $NF; ++strong }
        }
        END { exit strong || !weak }'
}

# comparePrototypes HEADER GENERATED FOLDER: the bridge's functions as it has them, and as the C header
# says. One after the other, types that differ are an error. Swift knows handles as pointers.
comparePrototypes() {
    {
        sed '/^#pragma once/d; /^typedef struct /d; s/Tapwell\(Transcriber\|Analyzer\)\*/void*/g' "$1"
        sed -n 's/^SWIFT_EXTERN \(.*)\) SWIFT_NOEXCEPT.*;$/\1;/p' "$2"
    } | sed 's/\bBOOL\b/bool/g' >"$3/prototypes.h"
    if [ "$(grep -c '^SWIFT_EXTERN .*tapwell' "$2")" != "$(grep -c 'tapwell[A-Z].*(' "$1")" ]; then
        echo "the bridge has other functions than $1"
        return 1
    fi
    clang-14 -x c -std=c17 -fsyntax-only -Werror -Wno-nullability-completeness "$3/prototypes.h"
}

# compileBridge BRIDGE HEADER FOLDER: an object of the bridge, whose sources lie in the first folder, in
# Swift 5 mode as CMake asks for it.
compileBridge() {
    local ours=(-module-name tapwell_analyzer -I "$work/bridge/modules" "$1"/*.swift)
    compileSwift -typecheck "${ours[@]}" || return 1
    compileBridgeForMac "$1" "$3" || return 1
    compileSwift -c -swift-version 5 "${ours[@]}" -o "$3/AnalyzerBridge.o" \
        -emit-objc-header-path "$3/generated.h" || return 1
    comparePrototypes "$2" "$3/generated.h" "$3"
}

# linkAndRunBridge FOLDER: the tests, of the objects in FOLDER.
linkAndRunBridge() {
    clang++-14 -fsanitize=address,undefined "$1"/*.o "$swiftLibraries"/linux/*/swiftrt.o \
        -L"$swiftLibraries/linux" -lswiftCore -lswift_Concurrency -lswiftSynchronization \
        -lswiftSwiftOnoneSupport -lFoundation -lFoundationEssentials -Wl,--allow-shlib-undefined \
        -lgtest -lgmock -lgtest_main -o "$1/bridge-tests" || return 1
    ASAN_OPTIONS=detect_leaks=1 runWithSwift "$1/bridge-tests" --gtest_brief=1 --gtest_fail_fast
}

checkSwift() {
    local objects=$work/bridge/objects module
    findSwift
    rm -rf "$work/bridge"
    mkdir -p "$objects" "$work/bridge/modules"
    # What stands for the system's modules; the others come with the compiler.
    for module in CoreMedia AVFAudio Speech; do
        compileSwift -c -module-name $module -I "$work/bridge/modules" \
            "$checks/Swift/$module"/*.swift -o "$objects/$module.o" \
            -emit-module -emit-module-path "$work/bridge/modules/$module.swiftmodule" || return 1
    done
    makeMacModules || return 1
    compileBridge Sources/Platform/macOS/WithAnalyzer \
        Sources/Platform/macOS/AnalyzerBridge.h "$objects" || return 1
    printf '%s\n' "$checks"/Swift/*.cpp Sources/Platform/macOS/System{Analyzer,Transcriber}.cpp \
        Sources/Platform/{AudioFormat,MonoPcm,PcmBuffer}.cpp |
        inParallel compileCall Sources "$objects" || return 1
    linkAndRunBridge "$objects"
}
