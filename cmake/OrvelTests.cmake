# One GoogleTest binary per subsystem (orvel/<subsystem>/*_test.cpp), plus the
# checks on the shipped artefacts: exported symbols and the installed package.
if(CMAKE_CROSSCOMPILING OR NOT EXISTS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/libgtest.a)
  # Cross builds compile GoogleTest from Debian's sources with the target compiler.
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  set(ORVEL_GTEST_MAIN gtest_main)
  set(ORVEL_GMOCK gmock)
else()
  find_package(GTest REQUIRED)
  set(ORVEL_GTEST_MAIN GTest::gtest_main)
  set(ORVEL_GMOCK GTest::gmock)
endif()
include(GoogleTest)

file(GLOB _orvel_subsystems LIST_DIRECTORIES true ${PROJECT_SOURCE_DIR}/orvel/*)
foreach(dir ${_orvel_subsystems})
  file(GLOB _tests CONFIGURE_DEPENDS ${dir}/*_test.cpp)
  if(_tests)
    get_filename_component(sub ${dir} NAME)
    add_executable(orvel_${sub}_test ${_tests})
    target_link_libraries(orvel_${sub}_test PRIVATE orvel_testlib ${ORVEL_GMOCK} ${ORVEL_GTEST_MAIN})
    orvel_warnings(orvel_${sub}_test)
    gtest_discover_tests(orvel_${sub}_test DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  endif()
endforeach()

# Checks on the shipped shared object and on the installed package, for every
# target (clients under the emulator) and under the sanitizers.
if(NOT ORVEL_STATIC)
  add_test(NAME orvel.exported_symbols
    COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:orvel> -DNM=${CMAKE_NM} -DSTRIP=${CMAKE_STRIP}
            -DWORK=${PROJECT_BINARY_DIR} -P ${PROJECT_SOURCE_DIR}/cmake/CheckExports.cmake)
  set(_orvel_client_flags "")
  if(ORVEL_SANITIZE)
    set(_orvel_client_flags "-fsanitize=${ORVEL_SANITIZE} -fno-sanitize-recover=all")
  endif()
  set(_orvel_toolchain "")
  if(CMAKE_TOOLCHAIN_FILE)
    # Given relative to the directory cmake ran in (the source tree, by the scripts).
    get_filename_component(_orvel_toolchain "${CMAKE_TOOLCHAIN_FILE}" ABSOLUTE BASE_DIR ${PROJECT_SOURCE_DIR})
  endif()
  add_test(NAME orvel.installed_package
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DBUILD=${PROJECT_BINARY_DIR}
            -DGENERATOR=${CMAKE_GENERATOR} -DCXX=${CMAKE_CXX_COMPILER} -DTOOLCHAIN=${_orvel_toolchain}
            "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}" "-DFLAGS=${_orvel_client_flags}"
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckConsumer.cmake)
endif()
