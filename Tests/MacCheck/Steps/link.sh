# shellcheck shell=bash disable=SC2154
# Step link: the program with the bridge in it.

# swiftListing FOLDER: what the libraries below the Swift files export, as SystemLibraries.txt has it:
# the compiler's own for this machine, and the fakes compiled for macOS.
swiftListing() {
    local library module
    for library in swiftCore swift_Concurrency swiftSynchronization swiftSwiftOnoneSupport; do
        llvm-nm-14 -D --defined-only --format=just-symbols "$swiftLibraries/linux/lib$library.so" |
            sed "s/@.*//; s/^/lib$library: /" || return 1
    done
    for module in Foundation AVFAudio Speech; do
        compileSwiftForMac -c -module-name $module "$checks/Swift/$module"/*.swift \
            -o "$1/$module.o" || return 1
        llvm-nm-14 --extern-only --defined-only --format=just-symbols "$1/$module.o" |
            sed "s/^_/$module: /"
    done
}

# linkWithBridge BRIDGE FOLDER: the program of step program, with the bridge in the place of what
# stands for it there, against stubs of the libraries below both.
linkWithBridge() {
    local libraries
    cp -R "$sdk" "$2/sdk"
    mkdir "$2/sdk/usr/lib/swift"
    cp "$checks/SystemLibraries.txt" "$2/listing"
    swiftListing "$2" >>"$2/listing" || return 1
    python3 "$checks/make_stubs.py" "$2/sdk" "$2/listing" "$work/libc++.symbols" || return 1
    mapfile -d '' libraries < <(find "$work/program/Sources" -name 'lib*.a' \
        ! -name libtapwell_analyzer.a -print0)
    clang++-19 -target arm64-apple-macos15.0 -isysroot "$2/sdk" -mlinker-version=705 \
        --ld-path=/usr/bin/ld64.lld-19 -nostdlib -lSystem -lc++ -lobjc -L"$2/sdk/usr/lib/swift" \
        -Wl,-undefined,dynamic_lookup "$work/program/Sources/CMakeFiles/tapwell.dir/Tapwell/main.cpp.o" \
        "$1" "${libraries[@]}" -framework CoreFoundation -framework Foundation \
        -framework CoreAudio -framework AVFAudio -framework AVFoundation -framework CoreMedia \
        -framework Speech -o "$2/tapwell"
}

# checkLinked PROGRAM: nothing is undefined that the libraries lack, and all Swift of Speech is weak.
# What the standard library leaves its callers to compile is missing here alone, where it has no
# function bodies; on a Mac it is in the object.
checkLinked() {
    llvm-nm-14 -m "$1" | awk '!/\(undefined\)/ { next }
        / _\$s6Speech.*\(from Speech\)/ {
            if (/weak external/) ++weak
            else { print "not weak:", $0; ++wrong }
        }
        /dynamically looked up/ {
            if (/ _\$s(s|S|15Synchronization)/ || /weak external _swift_/) ++inlined
            else { print "undefined:", $0; ++wrong }
        }
        END {
            if (wrong || !weak) exit 1
            print "linked with the analyzer:", weak, "symbols of its Swift, all weak;", inlined + 0,
                "that the standard library has its callers compile"
        }'
}

checkLink() {
    local bridge=$work/bridge/objects/AnalyzerBridge.mac
    [ -e "$work/program/tapwell" ] || fail "step link needs the program of step program"
    [ -e "$bridge" ] || fail "step link needs the object of step swift"
    findSwift
    rm -rf "$work/link"
    mkdir -p "$work/link"
    linkWithBridge "$bridge" "$work/link" && checkLinked "$work/link/tapwell"
}
