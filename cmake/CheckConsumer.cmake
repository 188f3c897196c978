# Installs the build into a scratch prefix and builds, out of tree, three
# clients against the installed package alone: the minimal consumer through
# find_package and through pkg-config (no LD_LIBRARY_PATH: the rpath the
# README shows), and the -O0 client that derives every public polymorphic
# base. Each is then run (under EMULATOR when cross-compiling).
#   -DSOURCE -DBUILD -DGENERATOR -DCXX [-DTOOLCHAIN] [-DEMULATOR] [-DFLAGS]
set(work ${BUILD}/consumer-check)
set(prefix ${work}/prefix)
file(REMOVE_RECURSE ${work})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()
set(emulator ${EMULATOR})
separate_arguments(flags UNIX_COMMAND "${FLAGS}")

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
file(GLOB_RECURSE config ${prefix}/orvelConfig.cmake)
get_filename_component(config_dir "${config}" DIRECTORY)
set(configure_args -G ${GENERATOR} -Dorvel_DIR=${config_dir} "-DCMAKE_CXX_FLAGS=${FLAGS}")
if(TOOLCHAIN)
  list(APPEND configure_args -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()

foreach(project consumer client)
  run(${CMAKE_COMMAND} -S ${SOURCE}/examples/${project} -B ${work}/${project} ${configure_args})
  run(${CMAKE_COMMAND} --build ${work}/${project})
  run(${emulator} ${work}/${project}/orvel-${project})
  message(STATUS "find_package ${project}: ${last_output}")
endforeach()

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(GLOB pcdir ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
  set(ENV{PKG_CONFIG_PATH} "${pcdir}")
  run(${PKG_CONFIG} --cflags --libs orvel)
  string(STRIP "${last_output}" pc_flags)
  run(${PKG_CONFIG} --variable=libdir orvel)
  string(STRIP "${last_output}" libdir)
  separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
  run(${CXX} -std=c++17 ${flags} ${SOURCE}/examples/consumer/main.cpp ${pc_flags} -Wl,-rpath,${libdir}
      -o ${work}/pc-consumer)
  run(${emulator} ${work}/pc-consumer)
  message(STATUS "pkg-config consumer: ${last_output}")
endif()
