# The tests that need no audio server of their own: all but those of the Linux host and those from end
# to end. GoogleTest is what a Mac does not have by itself.
find_package(GTest QUIET)
if(NOT GTest_FOUND)
  message(STATUS "Tests: no GoogleTest (brew install googletest), hence none")
  return()
endif()
include(GoogleTest)

# tapwell_test(<name> <folder> <libraries...>): as on Linux, with what of the helpers it uses.
function(tapwell_test name folder)
  file(GLOB test_sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  add_executable(${name} ${test_sources})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE tapwell_options GTest::gmock_main ${ARGN})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 LABELS ${name})
endfunction()

tapwell_test(mix-bus-math-tests RecorderMixBus RecorderMixBus)
tapwell_test(platform-tests Platform tapwell_platform tapwell_simulated)
tapwell_test(posix-tests Platform/Posix tapwell_posix)
tapwell_test(recorder-tests Tapwell tapwell_core tapwell_simulated tapwell_macos)
target_sources(recorder-tests PRIVATE Support/macOS/HostConverters.cpp
  Support/TemporaryDirectory.cpp Support/ToneAnalysis.cpp)
