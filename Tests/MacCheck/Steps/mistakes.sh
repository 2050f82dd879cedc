# shellcheck shell=bash disable=SC2154
# Step mistakes: a test of the other steps by the mistakes of Mistakes.txt.

# noticed CHECK FILE TREE: whether the check finds something wrong in the file, which lies in TREE.
noticed() {
    local tree=$3 file=$3/Platform/$2
    # The seam's constants are held against the system's in one source.
    [[ $2 != *.h ]] || file=$tree/Platform/macOS/PlatformConstants.cpp
    case $1 in
    types) ! (cd "$tree/.." && typeCheck "$file") ;;
    # What this machine's own headers hide from the other check.
    darwin) typeCheck "$file" && ! (cd "$tree/.." && darwinCheck "$file") ;;
    calls)
        cp -R "$work/calls" "$tree/../calls"
        compileCall "$tree" "$tree/../calls" "$file" && ! linkAndRunCalls "$tree/../calls"
        ;;
    swift)
        cp -R "$work/bridge/objects" "$tree/../bridge"
        ! { compileBridge "${file%/*}" "$tree/Platform/macOS/AnalyzerBridge.h" "$tree/../bridge" &&
            linkAndRunBridge "$tree/../bridge"; }
        ;;
    link)
        mkdir "$tree/../link"
        compileBridgeForMac "${file%/*}" "$tree/../link" &&
            linkWithBridge "$tree/../link/AnalyzerBridge.mac" "$tree/../link" &&
            ! checkLinked "$tree/../link/tapwell"
        ;;
    esac
}

# tryMistake KIND|CHECK|FILE|EXPRESSION: says how it went; fails when the check has not done its work.
tryMistake() {
    local kind check file expression folder outcome=0
    IFS='|' read -r kind check file expression <<<"$1"
    folder=$work/mistakes/${kind// /-}
    mkdir -p "$folder"
    cp -R Sources "$folder/Sources"
    sed -i "$expression" "$folder/Sources/Platform/$file"
    if [ -n "$expression" ] && cmp -s "Sources/Platform/$file" "$folder/Sources/Platform/$file"; then
        echo "$kind: $file has changed, and the mistake can no longer be made"
        return 1
    fi
    noticed "$check" "$file" "$folder/Sources" >"$folder.log" 2>&1 || outcome=$?
    rm -rf "$folder"
    if [ -z "$expression" ]; then
        [ $outcome != 0 ] && echo "$kind: left in peace by $check" && return 0
        echo "$kind: but $check finds something; see $folder.log"
        return 1
    fi
    [ $outcome = 0 ] && echo "$kind: noticed by $check" && return 0
    echo "$kind: NOT noticed by $check; see $folder.log"
    return 1
}

checkMistakes() {
    [ -e "$sdk/complete" ] || fail "step mistakes needs the headers of step program"
    ls "$work"/calls/*.o >/dev/null 2>&1 || fail "step mistakes needs the objects of step calls"
    ls "$work"/bridge/objects/*.o >/dev/null 2>&1 || fail "step mistakes needs the objects of step swift"
    findSwift
    rm -rf "$work/mistakes"
    mkdir -p "$work/mistakes"
    grep -v '^#' "$checks/Mistakes.txt" | inParallel tryMistake
}
