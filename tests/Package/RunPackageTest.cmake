# Installs the build into a folder of its own, builds the client against it and runs the client.
set(work "${BUILD}/package-test")
file(REMOVE_RECURSE "${work}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed with ${status}:\n${output}")
  endif()
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${work}/prefix")
run("${CMAKE_COMMAND}" -S "${CLIENT}" -B "${work}/build" -G Ninja "-DCMAKE_CXX_COMPILER=${COMPILER}"
  "-DCMAKE_PREFIX_PATH=${work}/prefix")
run("${CMAKE_COMMAND}" --build "${work}/build")
run("${work}/build/client")
