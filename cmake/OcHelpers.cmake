# One helper per kind of target, so every target is small and its dependencies explicit.
# Every target lists its sources (paths relative to its folder) and the targets it uses.

function(oc_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                                             -Wnon-virtual-dtor)
    if(OC_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

# Stops the configuration when a target lists no sources.
function(oc_require_sources name)
  if(NOT ARGN)
    message(FATAL_ERROR "${name}: no SOURCES listed")
  endif()
endfunction()

# oc_add_library(name [STATIC] SOURCES src... DEPS dep... [PRIVATE_DEPS dep...])
# Builds the shared (default) or static library `name`. Include paths are rooted at the
# repository root.
function(oc_add_library name)
  cmake_parse_arguments(A "STATIC" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  oc_require_sources(${name} ${A_SOURCES})
  set(srcs ${A_SOURCES})
  if(A_STATIC)
    add_library(${name} STATIC ${srcs})
  else()
    add_library(${name} SHARED ${srcs})
  endif()
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                            $<INSTALL_INTERFACE:include>)
  target_link_libraries(${name} PUBLIC ${A_DEPS} PRIVATE ${A_PRIVATE_DEPS})
  if(NOT A_STATIC AND NOT OC_FUZZ)
    # A shared library must resolve every symbol itself: a dependency pointing the
    # wrong way fails to link. (Not in the clang fuzz build, whose sanitizer runtime
    # lives in the executable.)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
  oc_warnings(${name})
endfunction()

# oc_add_program(name SOURCES src... DEPS dep...): a program.
function(oc_add_program name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  oc_require_sources(${name} ${A_SOURCES})
  add_executable(${name} ${A_SOURCES})
  target_link_libraries(${name} PRIVATE ${A_DEPS})
  oc_warnings(${name})
endfunction()

# oc_add_test(name SOURCES src... DEPS dep...): one GoogleTest program, registered with ctest
# test by test.
function(oc_add_test name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  oc_require_sources(${name} ${A_SOURCES})
  add_executable(${name} ${A_SOURCES})
  target_link_libraries(${name} PRIVATE ${A_DEPS} GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE OC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  oc_warnings(${name})
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
endfunction()

# oc_add_bench(name DEPS dep...): one Google Benchmark program from one source file.
function(oc_add_bench name source)
  cmake_parse_arguments(A "" "" "DEPS" ${ARGN})
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE ${A_DEPS} benchmark::benchmark)
  oc_warnings(${name})
endfunction()

# oc_add_module_part(name SOURCES src... DEPS dep...): one folder of the module as an object
# library; oc/CMakeLists.txt links every part into the one shared library `oc`.
function(oc_add_module_part name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  oc_require_sources(${name} ${A_SOURCES})
  add_library(${name} OBJECT ${A_SOURCES})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(${name} PUBLIC ${A_DEPS})
  oc_warnings(${name})
  set_property(GLOBAL APPEND PROPERTY OC_MODULE_PARTS ${name})
endfunction()
