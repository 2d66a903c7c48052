# One helper per kind of target, so every target is small and its dependencies explicit.
# Sources are the .cpp files of the target's folder (not its subfolders).

function(oc_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                                             -Wnon-virtual-dtor -Wno-unused-parameter)
    if(OC_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

# oc_add_library(name [STATIC] DEPS dep... [PRIVATE_DEPS dep...])
# Builds the shared (default) or static library `name` from the .cpp files of the
# current folder. Include paths are rooted at the repository root.
function(oc_add_library name)
  cmake_parse_arguments(A "STATIC" "" "DEPS;PRIVATE_DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
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

# oc_add_program(name DEPS dep...): a program from the .cpp files of the current folder.
function(oc_add_program name)
  cmake_parse_arguments(A "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_executable(${name} ${srcs})
  target_link_libraries(${name} PRIVATE ${A_DEPS})
  oc_warnings(${name})
endfunction()

# oc_add_test(name DEPS dep...): one GoogleTest program from the .cpp files of the
# current folder, registered with ctest test by test.
function(oc_add_test name)
  cmake_parse_arguments(A "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT srcs)
    return()
  endif()
  add_executable(${name} ${srcs})
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

# oc_add_module_part(name DEPS dep...): the .cpp files of one folder of the module as an
# object library; oc/CMakeLists.txt links every part into the one shared library `oc`.
function(oc_add_module_part name)
  cmake_parse_arguments(A "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(${name} OBJECT ${srcs})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(${name} PUBLIC ${A_DEPS})
  oc_warnings(${name})
  set_property(GLOBAL APPEND PROPERTY OC_MODULE_PARTS ${name})
endfunction()
