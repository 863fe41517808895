# marlet_module(NAME PUBLIC_HEADERS … INTERNAL_HEADERS … SOURCES … DEPENDS … PRIVATE_DEPENDS …)
#
# A module is a static library. Its headers are included as "NAME/File.h" through a folder that holds this module
# alone, so a source reaches the headers of the modules it links and of no others.

include(GNUInstallDirs)

function(marlet_include_root name)
  set(root "${CMAKE_BINARY_DIR}/include/${name}")
  file(MAKE_DIRECTORY "${root}")
  file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${root}/${name}" SYMBOLIC)
  set(MARLET_INCLUDE_ROOT "${root}" PARENT_SCOPE)
endfunction()

# Every target shares one precompiled header, made by MarletBase's own build; the tests share a larger one.
function(marlet_use_precompiled_header target)
  if(TARGET MarletPrecompiled)
    target_link_libraries(${target} PRIVATE MarletPrecompiledUsage)
    target_precompile_headers(${target} REUSE_FROM MarletPrecompiled)
  endif()
endfunction()

function(marlet_use_test_precompiled_header target)
  if(TARGET MarletTestPrecompiled)
    target_link_libraries(${target} PRIVATE MarletPrecompiledUsage GTest::gmock)
    target_precompile_headers(${target} REUSE_FROM MarletTestPrecompiled)
  endif()
endfunction()

function(marlet_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PUBLIC_HEADERS;INTERNAL_HEADERS;SOURCES;DEPENDS;PRIVATE_DEPENDS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "marlet_module(${name}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  marlet_include_root(${name})
  list(TRANSFORM arg_PUBLIC_HEADERS PREPEND "${MARLET_INCLUDE_ROOT}/${name}/" OUTPUT_VARIABLE public_headers)

  add_library(${name} STATIC ${arg_SOURCES} ${arg_INTERNAL_HEADERS})
  add_library(Marlet::${name} ALIAS ${name})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${MARLET_INCLUDE_ROOT}" FILES ${public_headers})
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE ${arg_PRIVATE_DEPENDS})
  marlet_use_precompiled_header(${name})

  set(depends ${arg_DEPENDS} ${arg_PRIVATE_DEPENDS})
  list(FILTER depends EXCLUDE REGEX "::")
  list(JOIN depends " " depends)
  set_property(GLOBAL APPEND_STRING PROPERTY MARLET_LAYERS "${name}: ${depends}\n")

  # find_package(Marlet) offers MarletKit as Marlet::Kit.
  string(REGEX REPLACE "^Marlet" "" export_name ${name})
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${export_name})
  install(TARGETS ${name} EXPORT MarletTargets FILE_SET HEADERS)
endfunction()

# Writes down which modules each module names, for the layering check.
function(marlet_write_layers)
  get_property(layers GLOBAL PROPERTY MARLET_LAYERS)
  file(WRITE "${CMAKE_BINARY_DIR}/modules.txt" "${layers}")
endfunction()

# marlet_test(NAME SOURCES … DEPENDS …): one executable of GoogleTest tests for one module.
function(marlet_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} TestSupport GTest::gmock GTest::gtest_main)
  marlet_use_test_precompiled_header(${name})
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
