# What every target of the tree is compiled with; tapwell_options adds the tree's headers.
add_library(tapwell_flags INTERFACE)
add_library(tapwell_options INTERFACE)
target_include_directories(tapwell_options INTERFACE ${PROJECT_SOURCE_DIR}/Sources)
target_link_libraries(tapwell_options INTERFACE tapwell_flags)
target_compile_options(tapwell_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  # The same samples on every compiler and host: a product and a sum are never fused.
  -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(tapwell_flags INTERFACE -Wthread-safety)
endif()

if(TAPWELL_SANITIZER)
  target_compile_options(tapwell_flags INTERFACE
    -fsanitize=${TAPWELL_SANITIZER} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tapwell_flags INTERFACE -fsanitize=${TAPWELL_SANITIZER})
endif()
