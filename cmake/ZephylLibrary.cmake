# zephyl_library(<folder> SOURCES ... [DEPS ...] [PRIVATE_DEPS ...])
# Declares the library zephyl_<folder>; its DEPS are the architecture.
function(zephyl_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(zephyl_${folder} STATIC ${ARG_SOURCES})
  target_include_directories(zephyl_${folder} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(zephyl_${folder} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
endfunction()

# zephyl_test(<folder> SOURCES ... [DEPS ...])
# One test program per folder; each TEST becomes its own CTest case.
function(zephyl_test folder)
  if(NOT ZEPHYL_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(zephyl_${folder}_tests ${ARG_SOURCES})
  target_link_libraries(zephyl_${folder}_tests PRIVATE zephyl_${folder} ${ARG_DEPS}
                        GTest::gmock GTest::gtest_main)
  target_compile_definitions(zephyl_${folder}_tests PRIVATE
    ZEPHYL_SHARED_TESTDATA="${PROJECT_SOURCE_DIR}/../shared/testdata")
  gtest_discover_tests(zephyl_${folder}_tests DISCOVERY_TIMEOUT 60
                       PROPERTIES ENVIRONMENT "ZEPHYL_LOG=")
endfunction()
