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

# The helper as its unit starts it: the program is where the unit says, and serves a socket that it inherits.
set(units "${work}/prefix/lib/systemd/user")
set(unit io.tolvane.Marlet.Helper)
file(STRINGS "${units}/${unit}.service" start REGEX "^ExecStart=")
string(REGEX REPLACE "ExecStart=\"(.*)\"" "\\1" helper "${start}")
if(NOT helper STREQUAL "${work}/prefix/bin/MarletHelper")
  message(FATAL_ERROR "The unit starts ${helper}.")
endif()
find_program(SYSTEMD_ANALYZE systemd-analyze)
if(SYSTEMD_ANALYZE)
  set(ENV{XDG_RUNTIME_DIR} "${work}")
  run("${SYSTEMD_ANALYZE}" --user verify "${units}/${unit}.socket" "${units}/${unit}.service")
endif()

# It ends with its input, and that with the client.
run(sh -c "
  cd '${work}'; rm -f input; mkfifo input
  '${helper}' --socket helper.sock --until-input-ends < input & helper=$!
  exec 3> input
  tries=0
  until '${work}/build/workspace' helper.sock 2>/dev/null; do
    tries=$((tries + 1)); [ $tries -lt 300 ] || exit 1; sleep 0.1
  done
  exec 3>&-; wait $helper")
