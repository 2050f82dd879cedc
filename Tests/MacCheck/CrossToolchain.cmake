# Builds for macOS on Linux with clang and LLVM's linker. TAPWELL_MAC_SDK is the folder that
# scripts/check-macos puts together: C headers, this folder's declarations, and stubs of the
# system's libraries.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 24.0)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAPWELL_MAC_SDK)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(llvm /usr/lib/llvm-19/bin)
set(target arm64-apple-macos15.0)
foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${llvm}/clang++)
  set(CMAKE_${language}_COMPILER_TARGET ${target})
endforeach()
set(CMAKE_C_COMPILER ${llvm}/clang)
set(CMAKE_AR /usr/bin/llvm-ar-14)
set(CMAKE_RANLIB /usr/bin/llvm-ranlib-14)
set(CMAKE_INSTALL_NAME_TOOL /usr/bin/llvm-install-name-tool-14)
set(CMAKE_OSX_SYSROOT ${TAPWELL_MAC_SDK})

set(cxx_headers "-nostdinc++ -isystem /usr/lib/llvm-19/include/c++/v1")
set(CMAKE_CXX_FLAGS_INIT "${cxx_headers}")
set(CMAKE_OBJCXX_FLAGS_INIT "${cxx_headers}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-mlinker-version=705 --ld-path=/usr/bin/ld64.lld-19 -nostdlib -lSystem -lc++ -lobjc")
