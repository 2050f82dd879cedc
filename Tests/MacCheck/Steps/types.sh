# shellcheck shell=bash disable=SC2154
# Step types: the sources against the declarations.

# typeCheck FILE: with the second compiler, for this machine, against the declarations.
typeCheck() {
    local language="-x c++"
    [[ $1 != *.mm ]] || language="-x objective-c++ -fobjc-arc"
    # shellcheck disable=SC2086
    clang++-14 $language -std=c++20 -fobjc-runtime=macosx-15.0 -fblocks $warnings -ISources \
        -iframework "$checks/Declarations" -isystem "$checks/Shims" -fsyntax-only "$1"
}

checkTypes() {
    local files
    mapfile -t files < <(find Sources/Platform/macOS -name '*.mm' -o -path '*/macOS/*' -name '*.cpp' |
        sort)
    printf '%s\n' "${files[@]}" | inParallel typeCheck || return 1
    echo "${#files[@]} files agree with the declarations"
}
