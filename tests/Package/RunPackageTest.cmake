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

# Each shell finds its completion script by itself.
foreach(script "bash:bash-completion/completions/marlet" "zsh:zsh/site-functions/_marlet"
    "fish:fish/vendor_completions.d/marlet.fish")
  string(REPLACE ":" ";" script "${script}")
  list(GET script 0 shell)
  list(GET script 1 file)
  execute_process(COMMAND "${work}/prefix/bin/marlet" completion ${shell} OUTPUT_FILE "${work}/completion")
  run("${CMAKE_COMMAND}" -E compare_files "${work}/completion" "${work}/prefix/share/${file}")
endforeach()
