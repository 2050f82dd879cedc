# shellcheck shell=bash disable=SC2154
# Step calls: the host's files, run against fakes of the system.

# What the tests of the calls are made of: the host, what of the recorder drives it, and the fakes
# below.
callSources() {
    printf '%s\n' Sources/Platform/macOS/*.{cpp,mm} Sources/Platform/{Posix,Resampling}/*.cpp \
        Sources/Platform/Simulated/SimulatedStandardStreams.cpp \
        Sources/Platform/{AudioFormat,AudioFormatDescription,BlockBuffer,MediaTime}.cpp \
        Sources/Platform/{MonoPcm,PcmBuffer,SampleBuffer}.cpp Sources/Tapwell/Diagnostics/TextFormat.cpp \
        Sources/Tapwell/Capture/{CoreAudioRecordingUtils,SystemAudioTapSession,UUID}.cpp \
        "$checks"/{Fakes,Calls}/*.{cpp,mm}
}

# compileCall INCLUDES FOLDER SOURCE: an object with sanitizers. Objective-C is compiled for the runtime
# among the fakes.
compileCall() {
    local object language="-x c++"
    object=$2/$(basename "${3%.*}").o
    [[ $3 != *.mm ]] || language="-x objective-c++ -fobjc-arc -fobjc-runtime=gnustep-1.9
        -fobjc-legacy-dispatch -fobjc-exceptions"
    # shellcheck disable=SC2086
    ${CMAKE_CXX_COMPILER_LAUNCHER:-} clang++-14 $language -std=c++20 -O0 -g1 -fblocks $warnings \
        -fsanitize=address,undefined -fno-sanitize-recover=all -I"$1" -I"$checks" \
        -iframework "$checks/Declarations" -isystem "$checks/Shims" -c "$3" -o "$object"
}

# linkAndRunCalls FOLDER: the tests, of the objects in FOLDER.
linkAndRunCalls() {
    clang++-14 -fuse-ld=lld-19 -fsanitize=address,undefined "$1"/*.o -o "$1/mac-call-tests" \
        -lgtest -lgmock -lgtest_main -lBlocksRuntime || return 1
    ASAN_OPTIONS=detect_leaks=1 "$1/mac-call-tests" --gtest_brief=1
}

checkCalls() {
    rm -rf "$work/calls"
    mkdir -p "$work/calls"
    callSources | inParallel compileCall Sources "$work/calls" || return 1
    linkAndRunCalls "$work/calls"
}
